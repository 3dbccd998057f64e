#pragma once

#include <cstddef>
#include <cstdint>

#include "vorn/util/byte_order.h"
#include "vorn/stat/traffic_stat.h"

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

// The fields of an old-format record that the reader takes, from its 76
// bytes on disk; the billing ones only when billing is set. Interfaces,
// switching times, AS numbers and masks are not among them: those fields of
// out keep what they held.
inline void old_record_to_stat(const unsigned char* bytes, TrafficStat& out, bool billing) {
    using R = RawFileRecord;
    if (billing) {
        out.slink_id = load_le<uint32_t>(bytes + offsetof(R, slink_id));
        out.account_id = load_le<uint32_t>(bytes + offsetof(R, account_id));
        out.tclass = load_le<uint32_t>(bytes + offsetof(R, tclass));
        out.timestamp = static_cast<int32_t>(load_le<uint32_t>(bytes + offsetof(R, timestamp)));
    }
    out.s_addr.from_int(static_cast<int>(load_le<uint32_t>(bytes + offsetof(R, s_addr))));
    out.d_addr.from_int(static_cast<int>(load_le<uint32_t>(bytes + offsetof(R, d_addr))));
    out.nexthop_addr.from_int(static_cast<int>(load_le<uint32_t>(bytes + offsetof(R, nexthop_addr))));
    out.d_pkt = load_le<uint32_t>(bytes + offsetof(R, d_pkt));
    out.d_oct = load_le<uint32_t>(bytes + offsetof(R, d_oct));
    out.sport = load_le<uint16_t>(bytes + offsetof(R, sport));
    out.dport = load_le<uint16_t>(bytes + offsetof(R, dport));
    out.tcp_flags = bytes[offsetof(R, tcp_flags)];
    out.proto = bytes[offsetof(R, proto)];
    out.tos = bytes[offsetof(R, tos)];
}

}  // namespace Vorn
