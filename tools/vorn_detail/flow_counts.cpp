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

FlowCounts::FlowCounts(unsigned long flows) : keys_(slots_for(flows)), counts_(keys_.size()) {}

size_t FlowCounts::find(uint64_t fingerprint) const {
    const uint64_t key = key_of(fingerprint);
    size_t slot = static_cast<size_t>(key % keys_.size());
    while (keys_[slot] != key && keys_[slot] != 0) slot = slot + 1 == keys_.size() ? 0 : slot + 1;
    return slot;
}

void FlowCounts::add(uint64_t fingerprint) {
    const size_t slot = find(fingerprint);
    keys_[slot] = key_of(fingerprint);
    ++counts_[slot];
}

bool FlowCounts::take(uint64_t fingerprint) {
    const size_t slot = find(fingerprint);
    if (counts_[slot] == 0) return false;
    --counts_[slot];
    return true;
}

}  // namespace Vorn
