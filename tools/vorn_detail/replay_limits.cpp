#include "tools/vorn_detail/replay_limits.h"

#include <ostream>

namespace Vorn {

namespace {

constexpr size_t positions_named = 3;

const char* family_name(const IP_address& a) { return a.family() == IP_address::IPv6 ? "IPv6" : "IPv4"; }

}  // namespace

const char* const v9_replay_ends =
    "a v9 replay ends there (strell prints \"Incorrect netflow data\" and exits with status 1, "
    "the datagram being filled unsent)";

std::string v9_mixed_families(const TrafficFlowRecord& flow) {
    if (one_address_family(flow)) return std::string();
    const bool destination = flow.d_addr.family() != flow.s_addr.family();
    const bool next_hop = flow.nexthop_addr.family() != flow.s_addr.family();
    const IP_address& other = destination ? flow.d_addr : flow.nexthop_addr;
    return std::string("an ") + family_name(flow.s_addr) + " source and an " + family_name(other) + " " +
           (destination && next_hop ? "destination and next hop" : destination ? "destination" : "next hop");
}

void ReplayLimits::Kind::add(unsigned long position) {
    if (++count <= positions_named) first.push_back(position);
}

void ReplayLimits::check(const TrafficFlowRecord& flow, unsigned long position) {
    std::string mixed = v9_mixed_families(flow);
    if (!mixed.empty()) {
        if (v9_.count == 0) v9_first_ = std::move(mixed);
        v9_.add(position);
    }
    if (has_ipv6_address(flow)) v5_.add(position);
}

// "lines 3, 7, 9 and 2 more"
std::string ReplayLimits::positions(const Kind& kind) const {
    std::string text = unit_ + (kind.count > 1 ? "s " : " ");
    for (size_t i = 0; i < kind.first.size(); ++i) {
        const bool last = i + 1 == kind.first.size() && kind.count == kind.first.size();
        text += (i == 0 ? "" : last ? " and " : ", ") + std::to_string(kind.first[i]);
    }
    if (kind.count > kind.first.size()) text += " and " + std::to_string(kind.count - kind.first.size()) + " more";
    return text;
}

void ReplayLimits::tell(std::ostream& err) const {
    if (v9_.count > 0) {
        err << "vorn-detail: " << unit_ << " " << v9_.first[0] << " has " << v9_first_ << ": " << v9_replay_ends
            << "\n";
        if (v9_.count > 1)
            err << "vorn-detail: records that mix address families, which v9 cannot send: " << v9_.count << " ("
                << positions(v9_) << ")\n";
    }
    if (v5_.count > 0)
        err << "vorn-detail: a v5 replay skips, without a word, each record with an IPv6 address ("
            << v5_.count << ": " << positions(v5_) << ")\n";
}

}  // namespace Vorn
