#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>

#include "vorn/stat/traffic_flow_record.h"

namespace Vorn {

enum class SentAs { V5, V9 };

// A flow as compare sees it, in 80 bytes with no padding, so that its bytes
// are its value: a fingerprint hashes them and a spill file stores them.
// What the version does not carry and the ignored fields are zero.
struct ComparedFlow {
    uint64_t address[3][2];  // s_addr, d_addr, nexthop_addr: high, low (IPv4: the value in the high word)
    uint32_t d_pkt, d_oct, src_as, dst_as;
    uint16_t sport, dport, iface, oface;
    uint8_t family[3];  // 4 or 6
    uint8_t tcp_flags, proto, tos, src_mask, dst_mask;
};
static_assert(sizeof(ComparedFlow) == 80 && std::has_unique_object_representations_v<ComparedFlow>);

// The names of the fields that a version carries and compare looks at.
std::vector<std::string> compared_fields(SentAs sent_as);

struct ComparedField;  // one of the fields of a flow that compare looks at

// Flows projected onto what a version carries, less the ignored fields, and
// shown as compare's report shows them.
class FlowView {
public:
    FlowView(SentAs sent_as, const std::vector<std::string>& ignored);

    // False for a flow that the version skips (v5: one with an IPv6 address).
    bool carries(const TrafficFlowRecord& flow) const;
    ComparedFlow project(const TrafficFlowRecord& flow) const;

    // The shown fields as a JSON object; the identity as one of its own.
    nlohmann::json object(const ComparedFlow& flow) const;
    nlohmann::json identity(const ComparedFlow& flow) const;
    // "d_oct sent 1000 stored 1001, ..."; empty when equal.
    std::string differences(const ComparedFlow& sent, const ComparedFlow& stored) const;
    size_t difference_count(const ComparedFlow& sent, const ComparedFlow& stored) const;

private:
    SentAs sent_as_;
    std::vector<const ComparedField*> shown_;
    std::vector<const ComparedField*> hidden_;
};

// 64-bit fingerprints: of the whole flow, and of its identity (addresses,
// ports and protocol), which pairs a missing flow with a stored one that
// differs from it. Two flows that differ share one with odds of 2^-64.
uint64_t fingerprint(const ComparedFlow& flow);
uint64_t identity_fingerprint(const ComparedFlow& flow);

}  // namespace Vorn
