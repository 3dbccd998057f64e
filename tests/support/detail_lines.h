#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "programs.h"
#include "temp_dir.h"

namespace StrellTest {

// One record as the JSON line vorn-detail reads and prints: the given
// members, and 0, 0.0.0.0 or the epoch (in UTC) for the rest.
inline std::string flow_json(nlohmann::json given) {
    static const auto defaults = nlohmann::json::parse(
        R"({"account_id":0,"d_addr":"0.0.0.0","d_oct":0,"d_pkt":0,"dport":0,"dst_as":0,"dst_mask":0,)"
        R"("human_timestamp":"Thu Jan  1 00:00:00 1970","iface":0,"ip":"0.0.0.0","login":"",)"
        R"("nexthop_addr":"0.0.0.0","oface":0,"proto":0,"router_ip_netflow_from":"0.0.0.0","s_addr":"0.0.0.0",)"
        R"("slink_id":0,"sport":0,"src_as":0,"src_mask":0,"tclass":0,"tcp_flags":0,"timestamp":0,"tos":0,)"
        R"("ts_first":0,"ts_last":0})");
    for (const auto& [key, value] : defaults.items()) given.emplace(key, value);
    return given.dump();
}

// A detail file of the lines in the format ("new" or "old"), written by vorn-detail.
inline std::string write_detail_file(const TempDir& dir, const std::string& name, const std::string& format,
                                     const std::vector<std::string>& lines) {
    std::string input;
    for (const std::string& line : lines) input += line + "\n";
    if (vorn_detail({"write", "--format", format, dir.file(name)}, input).status != 0) throw std::runtime_error("cannot write " + name);
    return dir.file(name);
}

}  // namespace StrellTest
