#pragma once

#include <cstdint>

#include "vorn/net/ip_address.h"

namespace Vorn {

// The NetFlow part of one flow, host byte order throughout.
struct TrafficFlowRecord {
    IP_address s_addr;
    IP_address d_addr;
    IP_address nexthop_addr;
    uint16_t iface = 0;
    uint16_t oface = 0;
    uint32_t d_pkt = 0;
    uint32_t d_oct = 0;
    uint32_t ts_first = 0;
    uint32_t ts_last = 0;
    uint16_t sport = 0;
    uint16_t dport = 0;
    uint8_t tcp_flags = 0;
    uint8_t proto = 0;
    uint8_t tos = 0;
    uint32_t src_as = 0;
    uint32_t dst_as = 0;
    uint8_t src_mask = 0;
    uint8_t dst_mask = 0;
};

// The family of the source address; the other two are not consulted.
IP_address::Family get_address_type(const TrafficFlowRecord& record);

// What the exports can carry of a flow's three addresses: a v5 record has
// room for IPv4 ones only, a v9 record's template is of one family.
inline bool has_ipv6_address(const TrafficFlowRecord& record) {
    return record.s_addr.family() == IP_address::IPv6 || record.d_addr.family() == IP_address::IPv6 ||
           record.nexthop_addr.family() == IP_address::IPv6;
}
inline bool one_address_family(const TrafficFlowRecord& record) {
    return record.d_addr.family() == record.s_addr.family() && record.nexthop_addr.family() == record.s_addr.family();
}

}  // namespace Vorn
