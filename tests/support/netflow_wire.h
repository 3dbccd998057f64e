#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "udp_receiver.h"

// Datagrams read as a collector reads them: big-endian numbers at offsets.
namespace StrellTest {

inline uint32_t be(const Datagram& d, size_t at, size_t width) {
    uint32_t value = 0;
    for (size_t i = 0; i < width; ++i) value = value << 8 | d.at(at + i);
    return value;
}

// Bytes [begin, end) in the "0a 00 00 01" form.
inline std::string hex(const Datagram& d, size_t begin = 0, size_t end = SIZE_MAX) {
    std::string text;
    char byte[4];
    for (size_t i = begin; i < std::min(end, d.size()); ++i) text += (std::snprintf(byte, 4, i > begin ? " %02x" : "%02x", d[i]), byte);
    return text;
}

// A flowset's body follows its 4-byte header and keeps its padding.
struct V9Flowset { uint32_t id; Datagram body; };

struct V9Datagram {
    uint32_t version, count, sys_uptime, unix_secs, sequence, source_id;
    std::vector<V9Flowset> flowsets;
};

// Flowsets are split by their own length fields.
inline V9Datagram parse_v9(const Datagram& d) {
    V9Datagram out{be(d, 0, 2), be(d, 2, 2), be(d, 4, 4), be(d, 8, 4), be(d, 12, 4), be(d, 16, 4), {}};
    for (size_t at = 20; at + 4 <= d.size();) {
        const uint32_t length = be(d, at + 2, 2);
        if (length < 4 || at + length > d.size()) break;
        const auto begin = d.begin() + static_cast<long>(at);
        out.flowsets.push_back({be(d, at, 2), Datagram(begin + 4, begin + length)});
        at += length;
    }
    return out;
}

}  // namespace StrellTest
