#pragma once

#include <cstddef>
#include <vector>

#include "tools/vorn_detail/compared_flow.h"

namespace Vorn {

// Flows that compare sets aside on disk rather than in memory, in the order
// they come, to be read back by index or in order: an unnamed temporary file
// in $TMPDIR (or /tmp), made at the first flow, which no way out of the
// program can leave behind.
class FlowSpill {
public:
    FlowSpill() = default;
    ~FlowSpill();
    FlowSpill(const FlowSpill&) = delete;
    FlowSpill& operator=(const FlowSpill&) = delete;

    void append(const ComparedFlow& flow);
    unsigned long size() const { return size_; }
    ComparedFlow at(unsigned long index);
    // visit(flow, index) for every flow in order.
    template <typename Visit>
    void for_each(Visit visit) {
        for (unsigned long start = 0; start < size_; start += block_flows) {
            read_block(start);
            for (size_t i = 0; i < block_.size(); ++i) visit(block_[i], start + i);
        }
    }

private:
    void open();
    void flush();
    void read(void* into, size_t bytes, unsigned long index);
    void read_block(unsigned long start);

    static constexpr unsigned long block_flows = 4096;
    int fd_ = -1;
    unsigned long size_ = 0;
    std::vector<ComparedFlow> pending_;  // appended, not written yet
    std::vector<ComparedFlow> block_;    // read by for_each
};

}  // namespace Vorn
