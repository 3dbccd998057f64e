#pragma once

#include "stat/raw_file_record.h"
#include "stat/traffic_stat.h"

namespace Vorn {

// Reader of the billing core's detailed statistics files.
class DetailedInfoFileParser {
public:
    using RawFileRecord = Vorn::RawFileRecord;

    // Old-format files carry no interfaces, switching times, AS numbers or
    // masks: those fields of out keep what they held.
    static void RawFileRecord_to_TrafficStat(const RawFileRecord& raw, TrafficStat& out);
};

}  // namespace Vorn
