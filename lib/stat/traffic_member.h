#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// The fields of a TrafficStat by name, so that tables can say which one they
// mean: the flow part (a TrafficFlowRecord) first, then the billing part.
// login is not among them: no file or export carries it.
enum class TrafficMember : uint8_t {
    s_addr,
    d_addr,
    nexthop_addr,
    iface,
    oface,
    d_pkt,
    d_oct,
    ts_first,
    ts_last,
    sport,
    dport,
    tcp_flags,
    proto,
    tos,
    src_as,
    dst_as,
    src_mask,
    dst_mask,
    slink_id,
    account_id,
    ip,
    tclass,
    timestamp,
    router_ip_netflow_from,
};
constexpr size_t traffic_member_count = 24;
// What follows the last member, for ranges of them.
constexpr TrafficMember members_end = static_cast<TrafficMember>(traffic_member_count);

// A member's name, which is also its key in TrafficStat::to_str_json.
constexpr const char* member_name(TrafficMember m) {
    constexpr const char* names[] = {
        "s_addr",   "d_addr",    "nexthop_addr", "iface",  "oface",      "d_pkt",     "d_oct",
        "ts_first", "ts_last",   "sport",        "dport",  "tcp_flags",  "proto",     "tos",
        "src_as",   "dst_as",    "src_mask",     "dst_mask", "slink_id", "account_id", "ip",
        "tclass",   "timestamp", "router_ip_netflow_from",
    };
    return names[static_cast<size_t>(m)];
}

constexpr bool is_billing(TrafficMember m) { return m >= TrafficMember::slink_id; }

constexpr bool is_address(TrafficMember m) {
    return m == TrafficMember::s_addr || m == TrafficMember::d_addr || m == TrafficMember::nexthop_addr ||
           m == TrafficMember::ip || m == TrafficMember::router_ip_netflow_from;
}

// The field a member names, of a TrafficStat or (for the flow part) of a
// TrafficFlowRecord, const or not.
template <TrafficMember m, typename Record>
constexpr auto& member_of(Record& r) {
    using M = TrafficMember;
    if constexpr (m == M::s_addr) return r.s_addr;
    else if constexpr (m == M::d_addr) return r.d_addr;
    else if constexpr (m == M::nexthop_addr) return r.nexthop_addr;
    else if constexpr (m == M::iface) return r.iface;
    else if constexpr (m == M::oface) return r.oface;
    else if constexpr (m == M::d_pkt) return r.d_pkt;
    else if constexpr (m == M::d_oct) return r.d_oct;
    else if constexpr (m == M::ts_first) return r.ts_first;
    else if constexpr (m == M::ts_last) return r.ts_last;
    else if constexpr (m == M::sport) return r.sport;
    else if constexpr (m == M::dport) return r.dport;
    else if constexpr (m == M::tcp_flags) return r.tcp_flags;
    else if constexpr (m == M::proto) return r.proto;
    else if constexpr (m == M::tos) return r.tos;
    else if constexpr (m == M::src_as) return r.src_as;
    else if constexpr (m == M::dst_as) return r.dst_as;
    else if constexpr (m == M::src_mask) return r.src_mask;
    else if constexpr (m == M::dst_mask) return r.dst_mask;
    else if constexpr (m == M::slink_id) return r.slink_id;
    else if constexpr (m == M::account_id) return r.account_id;
    else if constexpr (m == M::ip) return r.ip;
    else if constexpr (m == M::tclass) return r.tclass;
    else if constexpr (m == M::timestamp) return r.timestamp;
    else return r.router_ip_netflow_from;
}

// The type a member holds (IP_address for an address).
template <TrafficMember m>
using member_type = std::remove_reference_t<decltype(member_of<m>(std::declval<TrafficStat&>()))>;

// visit(std::integral_constant<TrafficMember, m>) for every member from
// first up to (not including) last, in order, unrolled.
template <TrafficMember first, TrafficMember last, typename Visit>
constexpr void for_each_member(Visit&& visit) {
    if constexpr (first != last) {
        visit(std::integral_constant<TrafficMember, first>());
        for_each_member<static_cast<TrafficMember>(static_cast<size_t>(first) + 1), last>(visit);
    }
}

// The same for a member known only at run time.
template <typename Visit>
void with_member(TrafficMember m, Visit&& visit) {
    for_each_member<TrafficMember::s_addr, members_end>([&](auto member) {
        if (member() == m) visit(member);
    });
}

}  // namespace Vorn
