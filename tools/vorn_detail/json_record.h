#pragma once

#include <string>

#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// Reads one line as TrafficStat::to_str_json writes it. Every key of that
// rendering is accepted; human_timestamp and login are ignored, the others
// are required with their JSON type and range. On failure returns false and
// says why in problem (one line, no line number).
bool traffic_stat_from_json(const std::string& line, TrafficStat& out, std::string& problem);

}  // namespace Vorn
