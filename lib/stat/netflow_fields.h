#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "vorn/stat/traffic_member.h"

namespace Vorn {

// NetFlow v9 field type numbers, by their standard names. strell exports
// under them and the new detail-file format uses them as field ids.
namespace NetflowType {
enum Type : uint16_t {
    IN_BYTES = 1,
    IN_PKTS = 2,
    PROTOCOL = 4,
    SRC_TOS = 5,
    TCP_FLAGS = 6,
    L4_SRC_PORT = 7,
    IPV4_SRC_ADDR = 8,
    SRC_MASK = 9,
    INPUT_SNMP = 10,
    L4_DST_PORT = 11,
    IPV4_DST_ADDR = 12,
    DST_MASK = 13,
    OUTPUT_SNMP = 14,
    IPV4_NEXT_HOP = 15,
    SRC_AS = 16,
    DST_AS = 17,
    LAST_SWITCHED = 21,
    FIRST_SWITCHED = 22,
    OUT_BYTES = 23,
    OUT_PKTS = 24,
    IPV6_SRC_ADDR = 27,
    IPV6_DST_ADDR = 28,
    IPV6_SRC_MASK = 29,
    IPV6_DST_MASK = 30,
    DST_TOS = 55,
    IPV6_NEXT_HOP = 62,
};
}  // namespace NetflowType

// One field type: how wide its value is and which field of a flow it
// carries.
struct NetflowField {
    NetflowType::Type type;
    uint8_t width;          // in bytes; AS numbers are 4 wide, as strell exports them
    TrafficMember member;
    bool in_v5;             // a v5 record carries it, in its member's place
};

// Every field type the system knows. The rows that a v5 record carries come
// first, in the order in which a v5 packet lays a field list over its
// record: where two name the same member, the later one wins.
inline constexpr NetflowField netflow_fields[] = {
    {NetflowType::IPV4_SRC_ADDR, 4, TrafficMember::s_addr, true},
    {NetflowType::IPV4_DST_ADDR, 4, TrafficMember::d_addr, true},
    {NetflowType::IPV4_NEXT_HOP, 4, TrafficMember::nexthop_addr, true},
    {NetflowType::INPUT_SNMP, 2, TrafficMember::iface, true},
    {NetflowType::OUTPUT_SNMP, 2, TrafficMember::oface, true},
    {NetflowType::IN_PKTS, 4, TrafficMember::d_pkt, true},
    {NetflowType::OUT_PKTS, 4, TrafficMember::d_pkt, true},
    {NetflowType::IN_BYTES, 4, TrafficMember::d_oct, true},
    {NetflowType::OUT_BYTES, 4, TrafficMember::d_oct, true},
    {NetflowType::FIRST_SWITCHED, 4, TrafficMember::ts_first, true},
    {NetflowType::LAST_SWITCHED, 4, TrafficMember::ts_last, true},
    {NetflowType::L4_SRC_PORT, 2, TrafficMember::sport, true},
    {NetflowType::L4_DST_PORT, 2, TrafficMember::dport, true},
    {NetflowType::TCP_FLAGS, 1, TrafficMember::tcp_flags, true},
    {NetflowType::PROTOCOL, 1, TrafficMember::proto, true},
    {NetflowType::SRC_TOS, 1, TrafficMember::tos, true},
    {NetflowType::DST_TOS, 1, TrafficMember::tos, true},
    {NetflowType::SRC_AS, 4, TrafficMember::src_as, true},
    {NetflowType::DST_AS, 4, TrafficMember::dst_as, true},
    {NetflowType::SRC_MASK, 1, TrafficMember::src_mask, true},
    {NetflowType::DST_MASK, 1, TrafficMember::dst_mask, true},
    {NetflowType::IPV6_SRC_ADDR, 16, TrafficMember::s_addr, false},
    {NetflowType::IPV6_DST_ADDR, 16, TrafficMember::d_addr, false},
    {NetflowType::IPV6_NEXT_HOP, 16, TrafficMember::nexthop_addr, false},
    {NetflowType::IPV6_SRC_MASK, 1, TrafficMember::src_mask, false},
    {NetflowType::IPV6_DST_MASK, 1, TrafficMember::dst_mask, false},
};

constexpr const NetflowField& netflow_field(NetflowType::Type type) {
    for (const NetflowField& field : netflow_fields)
        if (field.type == type) return field;
    return netflow_fields[0];  // unreachable for the types above
}

// The type of an address member in a family: 8, 12, 15 for IPv4, 27, 28, 62
// for IPv6.
constexpr NetflowType::Type address_type(TrafficMember member, bool v6) {
    for (const NetflowField& field : netflow_fields)
        if (field.member == member && field.width == (v6 ? 16 : 4)) return field.type;
    return NetflowType::IPV4_SRC_ADDR;  // unreachable for the flow's three addresses
}

// The fields of a replayed flow in a v9 record, in record order: templates
// 256 (IPv4 flows) and 257 (IPv6 flows). An IPv6 flow has the IPv6 types of
// its addresses, each 16 wide. The next hop is type 62 in both families,
// 4 wide in an IPv4 flow: the templates have always been so; type 15 is
// used only by the command line's "-N". Bytes go before packets, and the
// type of service before the flags and the protocol.
inline constexpr NetflowType::Type v9_flow_types[] = {
    NetflowType::IPV4_SRC_ADDR, NetflowType::IPV4_DST_ADDR, NetflowType::IPV6_NEXT_HOP, NetflowType::L4_SRC_PORT,
    NetflowType::L4_DST_PORT,   NetflowType::SRC_AS,        NetflowType::DST_AS,        NetflowType::INPUT_SNMP,
    NetflowType::OUTPUT_SNMP,   NetflowType::IN_BYTES,      NetflowType::IN_PKTS,       NetflowType::SRC_TOS,
    NetflowType::TCP_FLAGS,     NetflowType::PROTOCOL,
};
constexpr size_t v9_flow_field_count = std::size(v9_flow_types);

// The type and the width of the i-th field of a replayed flow of a family.
constexpr NetflowType::Type v9_flow_type(size_t i, bool v6) {
    const NetflowField& field = netflow_field(v9_flow_types[i]);
    return v6 && is_address(field.member) ? address_type(field.member, true) : field.type;
}
constexpr uint8_t v9_flow_width(size_t i, bool v6) {
    const NetflowField& field = netflow_field(v9_flow_types[i]);
    return is_address(field.member) ? (v6 ? 16 : 4) : field.width;
}

// Bytes of a replayed flow's v9 record: 39 for IPv4, 75 for IPv6.
constexpr uint32_t v9_flow_length(bool v6) {
    uint32_t total = 0;
    for (size_t i = 0; i < v9_flow_field_count; ++i) total += v9_flow_width(i, v6);
    return total;
}

static_assert(v9_flow_length(false) == 39 && v9_flow_length(true) == 75, "the record sizes of templates 256 and 257");

constexpr bool carried_in_v5(TrafficMember member) {
    for (const NetflowField& field : netflow_fields)
        if (field.in_v5 && field.member == member) return true;
    return false;
}

constexpr bool carried_in_v9(TrafficMember member) {
    for (const NetflowType::Type type : v9_flow_types)
        if (netflow_field(type).member == member) return true;
    return false;
}

}  // namespace Vorn
