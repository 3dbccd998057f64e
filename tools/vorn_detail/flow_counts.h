#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Vorn {

// How many times each flow of a detail file was sent, by fingerprint, in one
// flat table of open addressing: 12 bytes a slot, one and a half slots a flow.
// A fingerprint and its count share a slot, so that a look-up in a table far
// larger than the caches waits for memory once.
class FlowCounts {
public:
    // Room for that many flows, distinct or not; a Failure above 2^32 - 1.
    explicit FlowCounts(unsigned long flows);
    void add(uint64_t fingerprint);
    // True, taking one away, while a flow of that fingerprint is left.
    bool take(uint64_t fingerprint);
    // Asks the memory for the slot where a look-up of fingerprint starts.
    void prefetch(uint64_t fingerprint) const;

private:
    // The key in two halves keeps a slot at 12 bytes, aligned to 4.
    struct Slot {
        uint32_t key_low = 0, key_high = 0;  // key 0: an empty slot
        uint32_t count = 0;
        uint64_t key() const { return uint64_t{key_high} << 32 | key_low; }
    };
    // The slot holding fingerprint, or the empty one where it would go.
    Slot& find(uint64_t fingerprint);

    std::vector<Slot> slots_;
};

// Hands each item pushed to use some pushes later, in the order pushed,
// the slot of its fingerprint asked for at its push: the look-ups of a pass
// over millions of flows then overlap rather than wait one after the other.
template <typename Item, typename Use>
class CountsAhead {
public:
    CountsAhead(const FlowCounts& counts, Use use) : counts_(counts), use_(std::move(use)) {}
    void push(uint64_t fingerprint, const Item& item) {
        counts_.prefetch(fingerprint);
        Item& slot = ring_[pushed_++ % ring_.size()];
        if (pushed_ > ring_.size()) use_(slot);
        slot = item;
    }
    // The items still held; at the end of the pass.
    void flush() {
        for (size_t i = pushed_ > ring_.size() ? pushed_ - ring_.size() : 0; i < pushed_; ++i) use_(ring_[i % ring_.size()]);
        pushed_ = 0;
    }

private:
    const FlowCounts& counts_;
    Use use_;
    std::array<Item, 16> ring_{};
    size_t pushed_ = 0;
};

}  // namespace Vorn
