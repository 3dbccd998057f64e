#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "vorn/stat/traffic_flow_record.h"

namespace Vorn {

// What strell's replay does with a flow that its version cannot send as it
// stands. v9 sends a flow under an IPv4 or an IPv6 template: one whose three
// addresses are not all of one family ends the replay at that record
// ("Incorrect netflow data", exit status 1), the datagram being filled unsent.
// v5 carries IPv4 only and skips, without a word, a flow with an IPv6 address
// (has_ipv6_address).

// Empty when v9 can send the flow; otherwise how its families mix, e.g.
// "an IPv4 source and an IPv6 next hop".
std::string v9_mixed_families(const TrafficFlowRecord& flow);

// What v9 does at such a record, to follow its description.
extern const char* const v9_replay_ends;

// The flows of a file being written that a replay will not send, told on
// standard error once the file is complete: the first few by position and a
// count, so that a file of many says so in a few lines.
class ReplayLimits {
public:
    // unit names a position in messages: "line" or "flow".
    explicit ReplayLimits(std::string unit) : unit_(std::move(unit)) {}
    void check(const TrafficFlowRecord& flow, unsigned long position);
    void tell(std::ostream& err) const;

private:
    struct Kind {
        unsigned long count = 0;
        std::vector<unsigned long> first;
        void add(unsigned long position);
    };
    std::string positions(const Kind& kind) const;

    std::string unit_;
    Kind v9_, v5_;
    std::string v9_first_;  // how the first flow that ends a v9 replay mixes families
};

}  // namespace Vorn
