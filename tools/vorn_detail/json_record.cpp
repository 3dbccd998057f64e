#include "tools/vorn_detail/json_record.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "tools/vorn_detail/json_field.h"

namespace Vorn {

namespace {

using nlohmann::json;

// Each setter returns an empty text or what is wrong with the value.
using Setter = std::string (*)(const json& value, TrafficStat& out);

std::string set_timestamp(const json& value, int32_t& field) {
    if (!value.is_number_integer()) return "must be an integer";
    if (value.is_number_unsigned() ? value.get<uint64_t>() > uint64_t(INT32_MAX)
                                   : value.get<int64_t>() < INT32_MIN || value.get<int64_t>() > INT32_MAX)
        return "must be a signed 32-bit number";
    field = static_cast<int32_t>(value.get<int64_t>());
    return std::string();
}

struct Key {
    const char* name;
    Setter set;  // null: accepted and ignored
};

// In the rendering's (byte) order of keys.
const Key keys[] = {
    {"account_id", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.account_id); }},
    {"d_addr", [](const json& v, TrafficStat& r) { return set_address(v, r.d_addr); }},
    {"d_oct", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.d_oct); }},
    {"d_pkt", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.d_pkt); }},
    {"dport", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.dport); }},
    {"dst_as", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.dst_as); }},
    {"dst_mask", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.dst_mask); }},
    {"human_timestamp", nullptr},
    {"iface", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.iface); }},
    {"ip", [](const json& v, TrafficStat& r) { return set_address(v, r.ip); }},
    {"login", nullptr},
    {"nexthop_addr", [](const json& v, TrafficStat& r) { return set_address(v, r.nexthop_addr); }},
    {"oface", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.oface); }},
    {"proto", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.proto); }},
    {"router_ip_netflow_from", [](const json& v, TrafficStat& r) { return set_address(v, r.router_ip_netflow_from); }},
    {"s_addr", [](const json& v, TrafficStat& r) { return set_address(v, r.s_addr); }},
    {"slink_id", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.slink_id); }},
    {"sport", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.sport); }},
    {"src_as", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.src_as); }},
    {"src_mask", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.src_mask); }},
    {"tclass", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.tclass); }},
    {"tcp_flags", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.tcp_flags); }},
    {"timestamp", [](const json& v, TrafficStat& r) { return set_timestamp(v, r.timestamp); }},
    {"tos", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.tos); }},
    {"ts_first", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.ts_first); }},
    {"ts_last", [](const json& v, TrafficStat& r) { return set_unsigned(v, r.ts_last); }},
};

// The first key of the line's object that its text names a second time.
std::string repeated_key(const std::string& line) {
    std::vector<std::string> seen;
    std::string repeated;
    const json parsed = json::parse(line, [&](int depth, json::parse_event_t event, json& key_text) {
        if (depth != 1 || event != json::parse_event_t::key || !repeated.empty()) return true;
        const auto& key = key_text.get_ref<const std::string&>();
        if (std::find(seen.begin(), seen.end(), key) != seen.end()) repeated = key;
        seen.push_back(key);
        return true;
    });
    return repeated;
}

}  // namespace

bool traffic_stat_from_json(const std::string& line, TrafficStat& out, std::string& problem) {
    json object;
    // The parser keeps the last of repeated keys; a line that names a field
    // twice is refused instead, since either value may be the one meant.
    size_t key_count = 0;
    const auto count_keys = [&key_count](int depth, json::parse_event_t event, json&) {
        key_count += depth == 1 && event == json::parse_event_t::key;
        return true;
    };
    try {
        object = json::parse(line, count_keys);
    } catch (const json::parse_error& error) {
        problem = "invalid JSON at byte " + std::to_string(error.byte);
        return false;
    } catch (const json::out_of_range&) {  // a number beyond even a double
        problem = "invalid JSON: number out of range";
        return false;
    } catch (const json::exception&) {
        problem = "invalid JSON";
        return false;
    }
    if (!object.is_object()) {
        problem = "expected a JSON object";
        return false;
    }
    if (key_count != object.size()) {
        problem = "key " + quoted(repeated_key(line)) + " appears twice";
        return false;
    }

    for (const auto& [name, value] : object.items()) {
        bool known = false;
        for (const Key& key : keys) known = known || name == key.name;
        if (!known) {
            problem = "unknown key " + quoted(name);
            return false;
        }
    }

    TrafficStat record;
    for (const Key& key : keys) {
        if (key.set == nullptr) continue;
        const auto found = object.find(key.name);
        if (found == object.end()) {
            problem = std::string("missing key \"") + key.name + "\"";
            return false;
        }
        const std::string wrong = key.set(*found, record);
        if (!wrong.empty()) {
            problem = std::string("key \"") + key.name + "\" " + wrong;
            return false;
        }
    }
    out = record;
    return true;
}

}  // namespace Vorn
