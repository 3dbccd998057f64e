#include "vorn/stat/traffic_flow_record.h"

#include "vorn/stat/traffic_stat.h"

namespace Vorn {

IP_address::Family get_address_type(const TrafficFlowRecord& record) { return record.s_addr.family(); }

IP_address::Family get_address_type(const TrafficStat& record) { return record.s_addr.family(); }

}  // namespace Vorn
