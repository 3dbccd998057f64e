#include "vorn/stat/traffic_stat.h"

#include <nlohmann/json.hpp>

#include "vorn/util/time_utils.h"

namespace Vorn {

std::string TrafficStat::to_str_json() const {
    nlohmann::json json;
    json["slink_id"] = slink_id;
    json["account_id"] = account_id;
    json["ip"] = ip.to_string();
    json["tclass"] = tclass;
    json["timestamp"] = timestamp;
    json["human_timestamp"] = Time::ctimePopped(timestamp);
    json["login"] = login;
    json["router_ip_netflow_from"] = router_ip_netflow_from.to_string();
    json["s_addr"] = s_addr.to_string();
    json["d_addr"] = d_addr.to_string();
    json["nexthop_addr"] = nexthop_addr.to_string();
    json["iface"] = iface;
    json["oface"] = oface;
    json["d_pkt"] = d_pkt;
    json["d_oct"] = d_oct;
    json["ts_first"] = ts_first;
    json["ts_last"] = ts_last;
    json["sport"] = sport;
    json["dport"] = dport;
    json["tcp_flags"] = tcp_flags;
    json["proto"] = proto;
    json["tos"] = tos;
    json["src_as"] = src_as;
    json["dst_as"] = dst_as;
    json["src_mask"] = src_mask;
    json["dst_mask"] = dst_mask;
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::strict);
}

}  // namespace Vorn
