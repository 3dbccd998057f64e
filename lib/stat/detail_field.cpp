#include "vorn/stat/detail_field.h"

#include <array>
#include <cstdlib>

#include "vorn/stat/netflow_fields.h"

namespace Vorn {

namespace {

using M = TrafficMember;

// What the file format adds to the NetFlow field types: AS numbers at 2
// bytes, and the billing part of a record under ids of its own.
constexpr DetailField file_fields[] = {
    {NetflowType::SRC_AS, 2, M::src_as},
    {NetflowType::DST_AS, 2, M::dst_as},
    {100, 4, M::slink_id},
    {101, 4, M::account_id},
    {102, 4, M::ip},
    {103, 4, M::tclass},
    {104, 4, M::timestamp},
    {105, 4, M::router_ip_netflow_from},
    {150, 16, M::ip},
    {151, 16, M::router_ip_netflow_from},
};

constexpr auto detail_fields = [] {
    std::array<DetailField, std::size(netflow_fields) + std::size(file_fields)> all{};
    size_t n = 0;
    for (const NetflowField& field : netflow_fields)
        all[n++] = DetailField{static_cast<uint8_t>(field.type), field.width, field.member};
    for (const DetailField& field : file_fields) all[n++] = field;
    return all;
}();

}  // namespace

const DetailField* find_detail_field(uint8_t size, uint8_t id) {
    for (const DetailField& field : detail_fields)
        if (field.size == size && field.id == id) return &field;
    return nullptr;
}

const DetailField& detail_field_of(TrafficMember member, uint8_t size) {
    for (const DetailField& field : detail_fields)
        if (field.member == member && field.size == size) return field;
    std::abort();  // a writer asking for a size the table does not have
}

void decode_detail_field(const DetailField& field, const unsigned char* value, TrafficStat& out) {
    with_member(field.member, [&](auto m) { decode_detail_value(member_of<m()>(out), value, field.size); });
}

}  // namespace Vorn
