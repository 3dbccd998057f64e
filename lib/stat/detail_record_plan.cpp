#include "vorn/stat/detail_record_plan.h"

#include <algorithm>

namespace Vorn {

void DetailRecordPlan::build(const std::vector<uint8_t>& field_ids, const int16_t (&field_sizes)[256]) {
    std::fill(std::begin(at_), std::end(at_), absent);
    v6_ = two_byte_as_ = 0;
    block_ = not_whole;
    every_flow_member_ = plain_flow_ = every_billing_member_ = false;

    uint32_t offset = 0;
    for (const uint8_t id : field_ids) {
        const int16_t size = field_sizes[id];
        const DetailField* field = size < 0 ? nullptr : find_detail_field(static_cast<uint8_t>(size), id);
        // A data id described again and again can outgrow the offsets; such
        // a record is read field by field like one with an unknown field.
        if (field == nullptr || offset >= absent) return;
        const M m = field->member;
        at_[index(m)] = static_cast<uint16_t>(offset);
        v6_ = field->size == 16 ? v6_ | bit(m) : v6_ & ~bit(m);
        two_byte_as_ = field->size == 2 && (m == M::src_as || m == M::dst_as) ? two_byte_as_ | bit(m) : two_byte_as_ & ~bit(m);
        offset += field->size;
    }
    block_ = 1 + offset;
    const auto billing = std::begin(at_) + index(M::slink_id);
    const auto present = [](uint16_t at) { return at != absent; };
    every_flow_member_ = std::all_of(std::begin(at_), billing, present);
    every_billing_member_ = std::all_of(billing, std::end(at_), present);
    const uint32_t flow_bits = bit(M::slink_id) - 1;
    plain_flow_ = every_flow_member_ && ((v6_ | two_byte_as_) & flow_bits) == 0;
}

}  // namespace Vorn
