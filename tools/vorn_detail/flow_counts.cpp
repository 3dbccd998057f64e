#include "tools/vorn_detail/flow_counts.h"

#include <limits>
#include <string>

#include "tools/vorn_detail/failure.h"

namespace Vorn {

namespace {

// 0 marks an empty slot; the fingerprint 0 shares a key with 1.
uint64_t key_of(uint64_t fingerprint) { return fingerprint == 0 ? 1 : fingerprint; }

size_t slots_for(unsigned long flows) {
    if (flows > std::numeric_limits<uint32_t>::max())
        throw Failure("a detail file of " + std::to_string(flows) + " flows is more than compare counts (4294967295)");
    // Filled to two thirds at most, with one slot always empty.
    return flows + flows / 2 + 1;
}

}  // namespace

FlowCounts::FlowCounts(unsigned long flows) : slots_(slots_for(flows)) {}

FlowCounts::Slot& FlowCounts::find(uint64_t fingerprint) {
    const uint64_t key = key_of(fingerprint);
    size_t slot = static_cast<size_t>(key % slots_.size());
    while (slots_[slot].key() != key && slots_[slot].key() != 0) slot = slot + 1 == slots_.size() ? 0 : slot + 1;
    return slots_[slot];
}

void FlowCounts::add(uint64_t fingerprint) {
    Slot& slot = find(fingerprint);
    const uint64_t key = key_of(fingerprint);
    slot.key_low = static_cast<uint32_t>(key);
    slot.key_high = static_cast<uint32_t>(key >> 32);
    ++slot.count;
}

void FlowCounts::prefetch(uint64_t fingerprint) const {
    __builtin_prefetch(&slots_[static_cast<size_t>(key_of(fingerprint) % slots_.size())]);
}

bool FlowCounts::take(uint64_t fingerprint) {
    Slot& slot = find(fingerprint);
    if (slot.count == 0) return false;
    --slot.count;
    return true;
}

}  // namespace Vorn
