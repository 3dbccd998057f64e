#include "vorn/stat/detail_record_plan.h"

#include <algorithm>

namespace Vorn {

void DetailRecordPlan::build(const std::vector<uint8_t>& field_ids, const int16_t (&field_sizes)[256]) {
    std::fill(std::begin(at_), std::end(at_), absent);
    std::fill(std::begin(size_), std::end(size_), 0);
    block_ = not_whole;
    every_flow_member_ = plain_flow_ = every_billing_member_ = direct_ = v6_flow_ = false;

    uint32_t offset = 0;
    for (const uint8_t id : field_ids) {
        const int16_t size = field_sizes[id];
        const DetailField* field = size < 0 ? nullptr : find_detail_field(static_cast<uint8_t>(size), id);
        // A data id described again and again can outgrow the offsets; such
        // a record is read field by field like one with an unknown field.
        if (field == nullptr || offset >= absent) return;
        at_[index(field->member)] = static_cast<uint16_t>(offset);
        size_[index(field->member)] = field->size;
        offset += field->size;
    }
    block_ = 1 + offset;

    const auto flow_end = std::begin(at_) + index(M::slink_id);
    const auto present = [](uint16_t at) { return at != absent; };
    every_flow_member_ = std::all_of(std::begin(at_), flow_end, present);
    every_billing_member_ = std::all_of(flow_end, std::end(at_), present);
    const auto size = [this](M m) { return size_[index(m)]; };
    const bool four_byte_as = size(M::src_as) == 4 && size(M::dst_as) == 4;
    const uint8_t address_size = size(M::s_addr);
    const bool one_family = size(M::d_addr) == address_size && size(M::nexthop_addr) == address_size;
    plain_flow_ = every_flow_member_ && four_byte_as && one_family && address_size == 4;
    direct_ = every_flow_member_ && four_byte_as && one_family;
    v6_flow_ = direct_ && address_size == 16;
}

}  // namespace Vorn
