#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vorn {

// How many times each flow of a detail file was sent, by fingerprint, in one
// flat table of open addressing: 12 bytes a slot, one and a half slots a flow.
class FlowCounts {
public:
    // Room for that many flows, distinct or not; a Failure above 2^32 - 1.
    explicit FlowCounts(unsigned long flows);
    void add(uint64_t fingerprint);
    // True, taking one away, while a flow of that fingerprint is left.
    bool take(uint64_t fingerprint);

private:
    // The slot holding fingerprint, or the empty one where it would go.
    size_t find(uint64_t fingerprint) const;

    std::vector<uint64_t> keys_;  // 0: an empty slot
    std::vector<uint32_t> counts_;
};

}  // namespace Vorn
