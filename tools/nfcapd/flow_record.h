#pragma once

#include <cstddef>
#include <string>

#include "tools/nfcapd/nfdump_view.h"
#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// Record type of a flow in an nfcapd file (nfdump 1.7's V3 record).
constexpr uint16_t flow_record_type = 11;

// Turns the V3 flow records of an nfcapd file into traffic records, with the
// fields that 'nfdump -o json' shows of each mapped as the JSON import maps
// them.
class FlowRecordDecoder {
public:
    // The size bytes of a record of type 11, header included. out is set
    // afresh for a flow (partly when the record is bad); is_flow is false for
    // an event (NSEL/NEL), which nfdump shows as an EVENT and the import
    // skips. An empty text, or what is wrong with the record.
    std::string decode(const unsigned char* record, size_t size, TrafficStat& out, bool& is_flow);

private:
    NfdumpClock clock_;
};

}  // namespace Vorn
