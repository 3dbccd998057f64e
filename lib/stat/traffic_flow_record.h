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

}  // namespace Vorn
