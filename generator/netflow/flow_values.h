#pragma once

#include "vorn/stat/detailed_info_file_parser.h"
#include "vorn/stat/traffic_flow_record.h"
#include "vorn/stat/traffic_member.h"

namespace Strell {

// Where the packets take a flow's values from, member by member, each as a
// TrafficFlowRecord holds it (an address as an IP_address): get<member>().
// The packets encode either kind through the same code.

// A flow that the reader has decoded.
class FlowRecordValues {
public:
    explicit FlowRecordValues(const Vorn::TrafficFlowRecord& flow) : flow_(flow) {}

    template <Vorn::TrafficMember m>
    auto get() const {
        return Vorn::member_of<m>(flow_);
    }

private:
    const Vorn::TrafficFlowRecord& flow_;
};

// A detail-file record whose plan is direct, read where it lies; v6 is the
// family of its addresses.
template <bool v6>
class DetailFlowValues {
public:
    explicit DetailFlowValues(const Vorn::DetailFlow& flow) : bytes_(flow.bytes), plan_(*flow.plan) {}

    template <Vorn::TrafficMember m>
    auto get() const {
        return plan_.flow_value<m, v6>(bytes_);
    }

private:
    const unsigned char* bytes_;
    const Vorn::DetailRecordPlan& plan_;
};

}  // namespace Strell
