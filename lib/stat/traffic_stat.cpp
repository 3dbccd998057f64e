#include "vorn/stat/traffic_stat.h"

#include <nlohmann/json.hpp>

#include "vorn/stat/traffic_member.h"
#include "vorn/util/time_utils.h"

namespace Vorn {

namespace {

nlohmann::json value(const IP_address& address) { return address.to_string(); }

template <typename T>
nlohmann::json value(const T& number) {
    return number;
}

}  // namespace

std::string TrafficStat::to_str_json() const {
    nlohmann::json json;
    for_each_member<TrafficMember::s_addr, members_end>(
        [&](auto m) { json[member_name(m())] = value(member_of<m()>(*this)); });
    json[human_timestamp_key] = Time::ctimePopped(timestamp);
    json[login_key] = login;
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::strict);
}

}  // namespace Vorn
