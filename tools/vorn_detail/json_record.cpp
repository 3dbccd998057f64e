#include "tools/vorn_detail/json_record.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tools/vorn_detail/json_field.h"
#include "vorn/stat/traffic_member.h"

namespace Vorn {

namespace {

using nlohmann::json;

std::string set_member(const json& value, IP_address& field) { return set_address(value, field); }

std::string set_member(const json& value, int32_t& field) {
    if (!value.is_number_integer()) return "must be an integer";
    if (value.is_number_unsigned() ? value.get<uint64_t>() > uint64_t(INT32_MAX)
                                   : value.get<int64_t>() < INT32_MIN || value.get<int64_t>() > INT32_MAX)
        return "must be a signed 32-bit number";
    field = static_cast<int32_t>(value.get<int64_t>());
    return std::string();
}

template <typename T>
std::string set_member(const json& value, T& field) {
    return set_unsigned(value, field);
}

// A key of the rendering: a member's, or one accepted and ignored.
struct Key {
    const char* name;
    bool member;
    TrafficMember which;
};

// In the rendering's (byte) order, which is the order of the messages.
const std::vector<Key>& keys() {
    static const std::vector<Key> sorted = [] {
        std::vector<Key> all = {{TrafficStat::human_timestamp_key, false, {}}, {TrafficStat::login_key, false, {}}};
        for_each_member<TrafficMember::s_addr, members_end>(
            [&](auto m) { all.push_back({member_name(m()), true, m()}); });
        std::sort(all.begin(), all.end(), [](const Key& a, const Key& b) { return std::strcmp(a.name, b.name) < 0; });
        return all;
    }();
    return sorted;
}

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
        for (const Key& key : keys()) known = known || name == key.name;
        if (!known) {
            problem = "unknown key " + quoted(name);
            return false;
        }
    }

    TrafficStat record;
    for (const Key& key : keys()) {
        if (!key.member) continue;
        const auto found = object.find(key.name);
        if (found == object.end()) {
            problem = std::string("missing key \"") + key.name + "\"";
            return false;
        }
        std::string wrong;
        with_member(key.which, [&](auto m) { wrong = set_member(*found, member_of<m()>(record)); });
        if (!wrong.empty()) {
            problem = std::string("key \"") + key.name + "\" " + wrong;
            return false;
        }
    }
    out = record;
    return true;
}

}  // namespace Vorn
