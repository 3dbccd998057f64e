#include "vorn/stat/detail_encoder.h"

#include <array>
#include <cstddef>
#include <iterator>
#include <utility>

#include "vorn/stat/detail_field.h"
#include "vorn/util/byte_order.h"
#include "vorn/stat/raw_file_record.h"

namespace Vorn {

namespace {

using M = TrafficMember;

// New-format layout. Every record holds the same fields in this order, each
// at the width given here; the five addresses are written as 4 or 16 bytes
// each by their own family, and the data id tells which: 1 + one bit per
// IPv6 address (bit 0 s_addr, 1 d_addr, 2 nexthop_addr, 3 ip,
// 4 router_ip_netflow_from). So all-IPv4 records use data id 1 and all-IPv6
// ones data id 32. The ids come from the reader's table.
struct Column {
    M member;
    uint8_t size;  // for an address, its IPv4 size
};

constexpr Column columns[] = {
    {M::s_addr, 4},   {M::d_addr, 4},     {M::nexthop_addr, 4}, {M::sport, 2},      {M::dport, 2},
    {M::iface, 2},    {M::oface, 2},      {M::d_pkt, 4},        {M::d_oct, 4},      {M::ts_first, 4},
    {M::ts_last, 4},  {M::tcp_flags, 1},  {M::proto, 1},        {M::tos, 1},        {M::src_as, 4},
    {M::dst_as, 4},   {M::src_mask, 1},   {M::dst_mask, 1},     {M::slink_id, 4},   {M::account_id, 4},
    {M::ip, 4},       {M::tclass, 4},     {M::timestamp, 4},    {M::router_ip_netflow_from, 4},
};
constexpr int address_combinations = 32;

bool is_v6(const IP_address& address) { return address.family() == IP_address::IPv6; }

const IP_address& address_of(const TrafficStat& record, M member) {
    const IP_address* address = nullptr;
    with_member(member, [&](auto m) {
        if constexpr (is_address(m())) address = &member_of<m()>(record);
    });
    return *address;
}

uint8_t data_id(const TrafficStat& record) {
    unsigned mask = 0;
    unsigned bit = 0;
    for (const Column& column : columns) {
        if (!is_address(column.member)) continue;
        if (is_v6(address_of(record, column.member))) mask |= 1u << bit;
        ++bit;
    }
    return static_cast<uint8_t>(1 + mask);
}

// The fields of the records of one data id, in column order, and their
// bytes with the id's. Made once for every id: the table of fields is
// searched, not indexed, and an import writes millions of records.
struct RecordPlan {
    const DetailField* fields[std::size(columns)];
    size_t size;
};

const RecordPlan& plan_of(uint8_t id) {
    static const auto plans = [] {
        std::array<RecordPlan, address_combinations> made{};
        for (unsigned mask = 0; mask < address_combinations; ++mask) {
            RecordPlan& plan = made[mask];
            plan.size = 1;
            unsigned bit = 0;
            for (size_t i = 0; i < std::size(columns); ++i) {
                const Column& column = columns[i];
                const bool wide = is_address(column.member) && ((mask >> bit++) & 1u) != 0;
                plan.fields[i] = &detail_field_of(column.member, wide ? 16 : column.size);
                plan.size += plan.fields[i]->size;
            }
        }
        return made;
    }();
    return plans[id - 1u];
}

// Each column's member is known at compile time: a record is written with no
// dispatch on the member and at widths the compiler sees, which is most of an
// import's time otherwise. The widths are the plan's (an address 16 bytes
// where the data id's bit says so).
template <size_t I>
unsigned char* encode_column(const TrafficStat& record, unsigned mask, unsigned& bit, unsigned char* at) {
    constexpr Column column = columns[I];
    uint8_t size = column.size;
    if constexpr (is_address(column.member)) {
        if (((mask >> bit++) & 1u) != 0) size = 16;
    }
    encode_detail_value(member_of<column.member>(record), at, size);
    return at + size;
}

template <size_t... I>
void encode_columns(const TrafficStat& record, unsigned mask, unsigned char* at, std::index_sequence<I...>) {
    unsigned bit = 0;
    ((at = encode_column<I>(record, mask, bit, at)), ...);
}

void append_new_record(const TrafficStat& record, std::vector<unsigned char>& out) {
    const uint8_t id = data_id(record);
    const size_t at = out.size();
    out.resize(at + plan_of(id).size);
    out[at] = id;
    encode_columns(record, id - 1u, out.data() + at + 1, std::make_index_sequence<std::size(columns)>());
}

void append_old_record(const TrafficStat& r, std::vector<unsigned char>& out) {
    using Raw = RawFileRecord;
    unsigned char p[sizeof(Raw)] = {};  // pads and reserved words stay zero
    store_le<uint32_t>(p + offsetof(Raw, version), 1);
    store_le<uint32_t>(p + offsetof(Raw, s_addr), r.s_addr.to_int());
    store_le<uint32_t>(p + offsetof(Raw, d_addr), r.d_addr.to_int());
    store_le<uint32_t>(p + offsetof(Raw, nexthop_addr), r.nexthop_addr.to_int());
    store_le<uint16_t>(p + offsetof(Raw, iface), r.iface);
    store_le<uint16_t>(p + offsetof(Raw, oface), r.oface);
    store_le<uint32_t>(p + offsetof(Raw, d_pkt), r.d_pkt);
    store_le<uint32_t>(p + offsetof(Raw, d_oct), r.d_oct);
    store_le<uint32_t>(p + offsetof(Raw, ts_first), r.ts_first);
    store_le<uint32_t>(p + offsetof(Raw, ts_last), r.ts_last);
    store_le<uint16_t>(p + offsetof(Raw, sport), r.sport);
    store_le<uint16_t>(p + offsetof(Raw, dport), r.dport);
    p[offsetof(Raw, tcp_flags)] = r.tcp_flags;
    p[offsetof(Raw, proto)] = r.proto;
    p[offsetof(Raw, tos)] = r.tos;
    // The record has 16 bits for AS numbers, like NetFlow v5.
    store_le<uint16_t>(p + offsetof(Raw, src_as), static_cast<uint16_t>(r.src_as));
    store_le<uint16_t>(p + offsetof(Raw, dst_as), static_cast<uint16_t>(r.dst_as));
    p[offsetof(Raw, src_mask)] = r.src_mask;
    p[offsetof(Raw, dst_mask)] = r.dst_mask;
    store_le<uint32_t>(p + offsetof(Raw, slink_id), r.slink_id);
    store_le<uint32_t>(p + offsetof(Raw, account_id), r.account_id);
    store_le<uint32_t>(p + offsetof(Raw, tclass), r.tclass);
    store_le<uint32_t>(p + offsetof(Raw, timestamp), static_cast<uint32_t>(r.timestamp));
    out.insert(out.end(), std::begin(p), std::end(p));
}

}  // namespace

std::vector<unsigned char> DetailEncoder::header() const {
    std::vector<unsigned char> out;
    if (format_ == DetailFormat::Old) return out;
    out.push_back(2);

    // Each address is declared at both its sizes, the IPv4 one first.
    std::vector<unsigned char> fields;
    for (const Column& column : columns) {
        const DetailField& field = detail_field_of(column.member, column.size);
        fields.insert(fields.end(), {field.id, field.size});
        if (is_address(column.member)) {
            const DetailField& v6 = detail_field_of(column.member, 16);
            fields.insert(fields.end(), {v6.id, v6.size});
        }
    }
    out.push_back(static_cast<unsigned char>(fields.size() / 2));
    out.insert(out.end(), fields.begin(), fields.end());

    out.push_back(address_combinations);
    for (unsigned id = 1; id <= address_combinations; ++id) {
        out.push_back(static_cast<unsigned char>(id));
        out.push_back(static_cast<unsigned char>(std::size(columns)));
        for (const DetailField* field : plan_of(static_cast<uint8_t>(id)).fields) out.push_back(field->id);
    }
    return out;
}

std::string DetailEncoder::refusal(const TrafficStat& record) const {
    if (format_ == DetailFormat::New) return std::string();
    const std::pair<const char*, const IP_address*> flow[] = {
        {"s_addr", &record.s_addr}, {"d_addr", &record.d_addr}, {"nexthop_addr", &record.nexthop_addr}};
    for (const auto& [key, address] : flow) {
        if (is_v6(*address))
            return std::string("key \"") + key + "\" holds an IPv6 address; the old format carries IPv4 flows only";
    }
    return std::string();
}

void DetailEncoder::append_record(const TrafficStat& record, std::vector<unsigned char>& out) const {
    if (format_ == DetailFormat::New)
        append_new_record(record, out);
    else
        append_old_record(record, out);
}

}  // namespace Vorn
