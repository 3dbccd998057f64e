#pragma once

#include <cstddef>
#include <cstdint>

#include "vorn/net/ip_address.h"
#include "vorn/stat/traffic_stat.h"

namespace StrellBench {

// A flow with every exported field set and varying with i, so that nothing
// in a benchmark loop works on constants.
inline Vorn::TrafficStat sample_flow(size_t i, bool v6 = false) {
    Vorn::TrafficStat flow;
    const auto n = static_cast<uint32_t>(i);
    if (v6) {
        flow.s_addr.from_int(0x20010db800000000L, static_cast<long>(n));
        flow.d_addr.from_int(0x20010db8ffff0000L, static_cast<long>(n * 7));
        flow.nexthop_addr.from_int(static_cast<long>(0xfe80000000000000UL), 1);
    } else {
        flow.s_addr.from_int(static_cast<int>(0x0a000000u | (n & 0xffffff)));
        flow.d_addr.from_int(static_cast<int>(0xc0000200u | (n & 0xff)));
        flow.nexthop_addr.from_int(static_cast<int>(0x0a0000feu));
    }
    flow.iface = static_cast<uint16_t>(1 + n % 8);
    flow.oface = static_cast<uint16_t>(1 + n % 6);
    flow.d_pkt = 1 + n % 100;
    flow.d_oct = 40 + (n % 1500) * 37;
    flow.ts_first = 3600000 + n;
    flow.ts_last = 3600100 + n;
    flow.sport = static_cast<uint16_t>(1024 + n % 60000);
    flow.dport = static_cast<uint16_t>(1 + n % 1024);
    flow.tcp_flags = static_cast<uint8_t>(n % 64);
    flow.proto = n % 3 == 0 ? 17 : 6;
    flow.tos = static_cast<uint8_t>(n % 4);
    flow.src_as = 64496 + n % 10;
    flow.dst_as = 64500 + n % 20;
    flow.src_mask = 16;
    flow.dst_mask = 24;
    flow.slink_id = 500 + n % 13;
    flow.account_id = 1000 + n % 97;
    flow.ip = flow.s_addr;
    flow.tclass = 1;
    flow.timestamp = static_cast<int32_t>(1700000000 + n / 1000);
    flow.router_ip_netflow_from.from_int(static_cast<int>(0x0a000001u));
    return flow;
}

}  // namespace StrellBench
