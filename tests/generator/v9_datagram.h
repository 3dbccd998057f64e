#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "v5_datagram.h"

namespace StrellTest {

// A NetFlow v9 datagram split as a collector splits it: header, then flowsets
// by their own length fields.
struct V9Flowset {
    uint32_t id;
    uint32_t length;
    std::vector<uint8_t> body;  // length - 4 bytes, padding included
};

struct V9Datagram {
    uint32_t version, count, sys_uptime, unix_secs, sequence, source_id;
    std::vector<V9Flowset> flowsets;
};

inline V9Datagram parse_v9(const std::vector<uint8_t>& d) {
    V9Datagram out{be(d, 0, 2), be(d, 2, 2), be(d, 4, 4), be(d, 8, 4), be(d, 12, 4), be(d, 16, 4), {}};
    size_t offset = 20;
    while (offset + 4 <= d.size()) {
        const uint32_t id = be(d, offset, 2);
        const uint32_t length = be(d, offset + 2, 2);
        if (length < 4 || offset + length > d.size()) break;
        out.flowsets.push_back(
            {id, length, std::vector<uint8_t>(d.begin() + static_cast<long>(offset + 4),
                                              d.begin() + static_cast<long>(offset + length))});
        offset += length;
    }
    return out;
}

}  // namespace StrellTest
