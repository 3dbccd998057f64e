#pragma once

#include <cstdint>

namespace Vorn {

// One record of the old detail-file format: 76 bytes, little-endian, read from
// disk as it stands. Bytes 4..51 follow the NetFlow v5 record layout.
#pragma pack(push, 1)
struct RawFileRecord {
    uint32_t version = 1;
    uint32_t s_addr;
    uint32_t d_addr;
    uint32_t nexthop_addr;
    uint16_t iface;
    uint16_t oface;
    uint32_t d_pkt;
    uint32_t d_oct;
    uint32_t ts_first;
    uint32_t ts_last;
    uint16_t sport;
    uint16_t dport;
    uint8_t pad1;
    uint8_t tcp_flags;
    uint8_t proto;
    uint8_t tos;
    uint16_t src_as;
    uint16_t dst_as;
    uint8_t src_mask;
    uint8_t dst_mask;
    uint16_t pad2;
    uint32_t slink_id = 0;
    uint32_t account_id = 0;
    uint32_t reserved1 = 0;
    uint32_t tclass = 0;
    int32_t timestamp = 0;
    uint32_t reserved2;
};
#pragma pack(pop)

static_assert(sizeof(RawFileRecord) == 76, "old-format records are 76 bytes on disk");

}  // namespace Vorn
