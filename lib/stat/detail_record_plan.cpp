#include "stat/detail_record_plan.h"

#include <algorithm>

namespace Vorn {

void DetailRecordPlan::build(const std::vector<uint8_t>& field_ids, const int16_t (&field_sizes)[256]) {
    std::fill(std::begin(at_), std::end(at_), absent);
    v6_ = two_byte_as_ = 0;
    length_ = 0;
    whole_ = false;
    every_member_ = false;

    uint32_t offset = 0;
    for (const uint8_t id : field_ids) {
        const int16_t size = field_sizes[id];
        const DetailField* field = size < 0 ? nullptr : find_detail_field(static_cast<uint8_t>(size), id);
        if (field == nullptr) return;
        const M m = field->member;
        at_[index(m)] = static_cast<uint16_t>(offset);
        v6_ = field->size == 16 ? v6_ | bit(m) : v6_ & ~bit(m);
        two_byte_as_ = field->size == 2 && (m == M::src_as || m == M::dst_as) ? two_byte_as_ | bit(m) : two_byte_as_ & ~bit(m);
        offset += field->size;
    }
    length_ = offset;
    whole_ = true;
    every_member_ = std::none_of(std::begin(at_), std::end(at_), [](uint16_t at) { return at == absent; });
}

}  // namespace Vorn
