#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace StrellTest {

// Reads a NetFlow v5 datagram as a collector would: big-endian, by offset.
inline uint32_t be(const std::vector<uint8_t>& bytes, size_t offset, size_t width) {
    uint32_t value = 0;
    for (size_t i = 0; i < width; ++i) value = value << 8 | bytes.at(offset + i);
    return value;
}

struct V5Header {
    uint32_t version, count, sys_uptime, unix_secs, unix_nsecs, flow_sequence, engine;
};

inline V5Header v5_header(const std::vector<uint8_t>& d) {
    return {be(d, 0, 2), be(d, 2, 2), be(d, 4, 4), be(d, 8, 4), be(d, 12, 4), be(d, 16, 4), be(d, 20, 4)};
}

inline std::vector<uint8_t> v5_record(const std::vector<uint8_t>& d, size_t index) {
    const size_t start = 24 + 48 * index;
    return std::vector<uint8_t>(d.begin() + static_cast<long>(start), d.begin() + static_cast<long>(start + 48));
}

// "0a 00 00 01" form, for readable expectations.
inline std::string hex(const std::vector<uint8_t>& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (uint8_t b : bytes) {
        if (!text.empty()) text += ' ';
        text += digits[b >> 4];
        text += digits[b & 15];
    }
    return text;
}

// The record fields' widths in wire order: a record read from raw bytes goes
// out with each field's bytes reversed.
inline const std::vector<size_t>& v5_field_widths() {
    static const std::vector<size_t> widths = {4, 4, 4, 2, 2, 4, 4, 4, 4, 2, 2, 1, 1, 1, 1, 2, 2, 1, 1, 2};
    return widths;
}

inline std::vector<uint8_t> reverse_each_field(const std::vector<uint8_t>& raw) {
    std::vector<uint8_t> out;
    size_t offset = 0;
    for (size_t width : v5_field_widths()) {
        for (size_t i = width; i-- > 0;) out.push_back(raw.at(offset + i));
        offset += width;
    }
    return out;
}

}  // namespace StrellTest
