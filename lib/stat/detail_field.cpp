#include "vorn/stat/detail_field.h"

#include <cstdlib>

namespace Vorn {

using M = DetailMember;

namespace {

const DetailField detail_fields[] = {
    {4, 1, M::proto},
    {5, 1, M::tos},
    {55, 1, M::tos},
    {6, 1, M::tcp_flags},
    {9, 1, M::src_mask},
    {29, 1, M::src_mask},
    {13, 1, M::dst_mask},
    {30, 1, M::dst_mask},
    {7, 2, M::sport},
    {10, 2, M::iface},
    {11, 2, M::dport},
    {14, 2, M::oface},
    {16, 2, M::src_as},
    {17, 2, M::dst_as},
    {1, 4, M::d_oct},
    {23, 4, M::d_oct},
    {2, 4, M::d_pkt},
    {24, 4, M::d_pkt},
    {8, 4, M::s_addr},
    {12, 4, M::d_addr},
    {15, 4, M::nexthop_addr},
    {16, 4, M::src_as},
    {17, 4, M::dst_as},
    {21, 4, M::ts_last},
    {22, 4, M::ts_first},
    {100, 4, M::slink_id},
    {101, 4, M::account_id},
    {102, 4, M::ip},
    {103, 4, M::tclass},
    {104, 4, M::timestamp},
    {105, 4, M::router_ip_netflow_from},
    {27, 16, M::s_addr},
    {28, 16, M::d_addr},
    {62, 16, M::nexthop_addr},
    {150, 16, M::ip},
    {151, 16, M::router_ip_netflow_from},
};

}  // namespace

const DetailField* find_detail_field(uint8_t size, uint8_t id) {
    for (const DetailField& field : detail_fields)
        if (field.size == size && field.id == id) return &field;
    return nullptr;
}

const DetailField& detail_field_of(DetailMember member, uint8_t size) {
    for (const DetailField& field : detail_fields)
        if (field.member == member && field.size == size) return field;
    std::abort();  // a writer asking for a size the table does not have
}

void store_detail_value(const DetailField& field, const unsigned char* value, TrafficStat& out) {
    using LittleEndian::load16;
    using LittleEndian::load32;
    const auto address = [&](IP_address& a) {
        if (field.size == 16)
            DetailValue::set_v6(a, value);
        else
            DetailValue::set_v4(a, value);
    };
    const auto as_number = [&]() { return field.size == 2 ? uint32_t(load16(value)) : load32(value); };
    switch (field.member) {
    case M::s_addr: address(out.s_addr); break;
    case M::d_addr: address(out.d_addr); break;
    case M::nexthop_addr: address(out.nexthop_addr); break;
    case M::iface: out.iface = load16(value); break;
    case M::oface: out.oface = load16(value); break;
    case M::d_pkt: out.d_pkt = load32(value); break;
    case M::d_oct: out.d_oct = load32(value); break;
    case M::ts_first: out.ts_first = load32(value); break;
    case M::ts_last: out.ts_last = load32(value); break;
    case M::sport: out.sport = load16(value); break;
    case M::dport: out.dport = load16(value); break;
    case M::tcp_flags: out.tcp_flags = value[0]; break;
    case M::proto: out.proto = value[0]; break;
    case M::tos: out.tos = value[0]; break;
    case M::src_as: out.src_as = as_number(); break;
    case M::dst_as: out.dst_as = as_number(); break;
    case M::src_mask: out.src_mask = value[0]; break;
    case M::dst_mask: out.dst_mask = value[0]; break;
    case M::slink_id: out.slink_id = load32(value); break;
    case M::account_id: out.account_id = load32(value); break;
    case M::ip: address(out.ip); break;
    case M::tclass: out.tclass = load32(value); break;
    case M::timestamp: out.timestamp = static_cast<int32_t>(load32(value)); break;
    case M::router_ip_netflow_from: address(out.router_ip_netflow_from); break;
    }
}


void fetch_detail_value(const DetailField& field, const TrafficStat& in, unsigned char* value) {
    using LittleEndian::store16;
    using LittleEndian::store32;
    const auto address = [&](const IP_address& a) {
        if (field.size == 16) {
            LittleEndian::store64(value, static_cast<uint64_t>(a.to_low()));
            LittleEndian::store64(value + 8, static_cast<uint64_t>(a.to_high()));
        } else {
            store32(value, a.to_int());
        }
    };
    const auto as_number = [&](uint32_t v) {
        if (field.size == 2)
            store16(value, static_cast<uint16_t>(v));
        else
            store32(value, v);
    };
    switch (field.member) {
    case M::s_addr: address(in.s_addr); break;
    case M::d_addr: address(in.d_addr); break;
    case M::nexthop_addr: address(in.nexthop_addr); break;
    case M::iface: store16(value, in.iface); break;
    case M::oface: store16(value, in.oface); break;
    case M::d_pkt: store32(value, in.d_pkt); break;
    case M::d_oct: store32(value, in.d_oct); break;
    case M::ts_first: store32(value, in.ts_first); break;
    case M::ts_last: store32(value, in.ts_last); break;
    case M::sport: store16(value, in.sport); break;
    case M::dport: store16(value, in.dport); break;
    case M::tcp_flags: value[0] = in.tcp_flags; break;
    case M::proto: value[0] = in.proto; break;
    case M::tos: value[0] = in.tos; break;
    case M::src_as: as_number(in.src_as); break;
    case M::dst_as: as_number(in.dst_as); break;
    case M::src_mask: value[0] = in.src_mask; break;
    case M::dst_mask: value[0] = in.dst_mask; break;
    case M::slink_id: store32(value, in.slink_id); break;
    case M::account_id: store32(value, in.account_id); break;
    case M::ip: address(in.ip); break;
    case M::tclass: store32(value, in.tclass); break;
    case M::timestamp: store32(value, static_cast<uint32_t>(in.timestamp)); break;
    case M::router_ip_netflow_from: address(in.router_ip_netflow_from); break;
    }
}

}  // namespace Vorn
