#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// One object of 'nfdump -o json' output turned into a traffic record: the
// members with a counterpart are mapped, the others ignored. Objects whose
// "type" is not "FLOW" are other nfdump records: is_flow becomes false and
// out is left alone. On bad input returns what is wrong (one line).
std::string traffic_stat_from_nfdump(const nlohmann::json& object, TrafficStat& out, bool& is_flow);

}  // namespace Vorn
