#pragma once

#include <cstdint>
#include <string>

#include "vorn/stat/traffic_flow_record.h"

namespace Vorn {

// A flow with its billing part, as the detail-file reader fills it. Readers
// write into one object and never reset it: absent fields carry over.
struct TrafficStat : TrafficFlowRecord {
    uint32_t slink_id = 0;
    uint32_t account_id = 0;
    IP_address ip;
    uint32_t tclass = 0;
    int32_t timestamp = 0;
    std::string login;
    IP_address router_ip_netflow_from;

    // One line of JSON, members sorted by key: every member under its name
    // (member_name), human_timestamp and login; throws nlohmann's type
    // error when login is not valid UTF-8.
    std::string to_str_json() const;
    // The keys of to_str_json that name no TrafficMember.
    static constexpr const char* human_timestamp_key = "human_timestamp";  // the time stamp as text
    static constexpr const char* login_key = "login";
};

IP_address::Family get_address_type(const TrafficStat& record);

}  // namespace Vorn
