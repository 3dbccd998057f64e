#include "tools/vorn_detail/nfdump_flow.h"

#include <cstdint>
#include <ctime>
#include <string_view>
#include <unordered_map>

#include "tools/nfcapd/nfdump_view.h"
#include "tools/vorn_detail/json_field.h"

namespace Vorn {

namespace {

using nlohmann::json;

// The record and which addresses the object named.
struct Flow {
    TrafficStat record;
    bool source = false;
    bool destination = false;
    bool next_hop = false;
    bool router = false;
};

std::string set_address_of(const json& value, IP_address& field, IP_address::Family family, bool& seen) {
    IP_address address;
    const std::string wrong = set_address(value, address);
    if (!wrong.empty()) return wrong;
    if (address.family() != family)
        return std::string("is not an ") + (family == IP_address::IPv4 ? "IPv4" : "IPv6") +
               " address: " + quoted(value.get<std::string>());
    field = address;
    seen = true;
    return std::string();
}

// nfdump prints TCP flags as eight letters or dots, most significant first.
std::string set_tcp_flags(const json& value, uint8_t& field) {
    static const char letters[] = "CEUAPRSF";
    const std::string wrong = "must be eight of the letters CEUAPRSF or dots, as nfdump prints TCP flags";
    if (!value.is_string()) return wrong;
    const auto& text = value.get_ref<const std::string&>();
    if (text.size() != 8) return wrong + ": " + quoted(text);
    uint8_t flags = 0;
    for (int i = 0; i < 8; ++i) {
        if (text[i] == letters[i])
            flags = static_cast<uint8_t>(flags | (0x80 >> i));
        else if (text[i] != '.')
            return wrong + ": " + quoted(text);
    }
    field = flags;
    return std::string();
}

// The digits of text[at, at + n) as a number within [low, high], or -1.
int number_at(const std::string& text, size_t at, size_t n, int low, int high) {
    int value = 0;
    for (size_t i = at; i < at + n; ++i) {
        if (text[i] < '0' || text[i] > '9') return -1;
        value = value * 10 + (text[i] - '0');
    }
    return value >= low && value <= high ? value : -1;
}

// Local time as nfdump prints it, YYYY-MM-DDThh:mm:ss.sss, to whole seconds
// since the epoch within [low, high].
std::string time_seconds(const json& value, int64_t low, int64_t high, int64_t& seconds) {
    const std::string wrong = "must be a time as nfdump prints it (YYYY-MM-DDThh:mm:ss.sss)";
    if (!value.is_string()) return wrong;
    const auto& text = value.get_ref<const std::string&>();
    std::tm tm{};
    const bool parsed = text.size() == 23 && text[4] == '-' && text[7] == '-' && text[10] == 'T' &&
                        text[13] == ':' && text[16] == ':' && text[19] == '.' &&
                        (tm.tm_year = number_at(text, 0, 4, 1900, 9999)) >= 0 &&
                        (tm.tm_mon = number_at(text, 5, 2, 1, 12)) >= 0 &&
                        (tm.tm_mday = number_at(text, 8, 2, 1, 31)) >= 0 &&
                        (tm.tm_hour = number_at(text, 11, 2, 0, 23)) >= 0 &&
                        (tm.tm_min = number_at(text, 14, 2, 0, 59)) >= 0 &&
                        (tm.tm_sec = number_at(text, 17, 2, 0, 60)) >= 0 && number_at(text, 20, 3, 0, 999) >= 0;
    if (!parsed) return wrong + ": " + quoted(text);
    tm.tm_year -= 1900;
    tm.tm_mon -= 1;
    seconds = local_time_seconds(tm);
    if (seconds < low || seconds > high) return "is out of range for its field: " + quoted(text);
    return std::string();
}

std::string set_unsigned_time(const json& value, uint32_t& field) {
    int64_t seconds = 0;
    std::string wrong = time_seconds(value, 0, UINT32_MAX, seconds);
    if (wrong.empty()) field = static_cast<uint32_t>(seconds);
    return wrong;
}

std::string set_signed_time(const json& value, int32_t& field) {
    int64_t seconds = 0;
    std::string wrong = time_seconds(value, INT32_MIN, INT32_MAX, seconds);
    if (wrong.empty()) field = static_cast<int32_t>(seconds);
    return wrong;
}

// NetFlow carries an ICMP type and code in the destination port.
std::string set_icmp(const json& value, uint16_t& port, int shift) {
    uint8_t byte = 0;
    std::string wrong = set_unsigned(value, byte);
    if (wrong.empty()) port = static_cast<uint16_t>((port & ~(0xFF << shift)) | (byte << shift));
    return wrong;
}

using Setter = std::string (*)(const json& value, Flow& flow);

struct Member {
    const char* name;
    Setter set;
};

constexpr IP_address::Family v4 = IP_address::IPv4;
constexpr IP_address::Family v6 = IP_address::IPv6;

const Member members[] = {
    {"src4_addr", [](const json& v, Flow& f) { return set_address_of(v, f.record.s_addr, v4, f.source); }},
    {"src6_addr", [](const json& v, Flow& f) { return set_address_of(v, f.record.s_addr, v6, f.source); }},
    {"dst4_addr", [](const json& v, Flow& f) { return set_address_of(v, f.record.d_addr, v4, f.destination); }},
    {"dst6_addr", [](const json& v, Flow& f) { return set_address_of(v, f.record.d_addr, v6, f.destination); }},
    {"ip4_next_hop", [](const json& v, Flow& f) { return set_address_of(v, f.record.nexthop_addr, v4, f.next_hop); }},
    {"ip6_next_hop", [](const json& v, Flow& f) { return set_address_of(v, f.record.nexthop_addr, v6, f.next_hop); }},
    {"ip4_router",
     [](const json& v, Flow& f) { return set_address_of(v, f.record.router_ip_netflow_from, v4, f.router); }},
    {"ip6_router",
     [](const json& v, Flow& f) { return set_address_of(v, f.record.router_ip_netflow_from, v6, f.router); }},
    {"src_port", [](const json& v, Flow& f) { return set_unsigned(v, f.record.sport); }},
    {"dst_port", [](const json& v, Flow& f) { return set_unsigned(v, f.record.dport); }},
    {"icmp_type", [](const json& v, Flow& f) { return set_icmp(v, f.record.dport, 8); }},
    {"icmp_code", [](const json& v, Flow& f) { return set_icmp(v, f.record.dport, 0); }},
    {"proto", [](const json& v, Flow& f) { return set_unsigned(v, f.record.proto); }},
    {"tcp_flags", [](const json& v, Flow& f) { return set_tcp_flags(v, f.record.tcp_flags); }},
    {"src_tos", [](const json& v, Flow& f) { return set_unsigned(v, f.record.tos); }},
    {"in_packets", [](const json& v, Flow& f) { return set_unsigned(v, f.record.d_pkt); }},
    {"in_bytes", [](const json& v, Flow& f) { return set_unsigned(v, f.record.d_oct); }},
    {"input_snmp", [](const json& v, Flow& f) { return set_unsigned(v, f.record.iface); }},
    {"output_snmp", [](const json& v, Flow& f) { return set_unsigned(v, f.record.oface); }},
    {"src_as", [](const json& v, Flow& f) { return set_unsigned(v, f.record.src_as); }},
    {"dst_as", [](const json& v, Flow& f) { return set_unsigned(v, f.record.dst_as); }},
    {"src_mask", [](const json& v, Flow& f) { return set_unsigned(v, f.record.src_mask); }},
    {"dst_mask", [](const json& v, Flow& f) { return set_unsigned(v, f.record.dst_mask); }},
    {"first", [](const json& v, Flow& f) { return set_unsigned_time(v, f.record.ts_first); }},
    {"last", [](const json& v, Flow& f) { return set_unsigned_time(v, f.record.ts_last); }},
    {"received", [](const json& v, Flow& f) { return set_signed_time(v, f.record.timestamp); }},
};

Setter find_setter(const std::string& name) {
    static const std::unordered_map<std::string_view, Setter> by_name = [] {
        std::unordered_map<std::string_view, Setter> map;
        for (const Member& m : members) map.emplace(m.name, m.set);
        return map;
    }();
    const auto found = by_name.find(name);
    return found == by_name.end() ? nullptr : found->second;
}

bool is_v6(const IP_address& a) { return a.family() == v6; }

}  // namespace

std::string traffic_stat_from_nfdump(const json& object, TrafficStat& out, bool& is_flow) {
    const auto type = object.find("type");
    if (type == object.end()) return "no member \"type\"";
    if (!type->is_string()) return "member \"type\" must be a string";
    is_flow = type->get_ref<const std::string&>() == "FLOW";
    if (!is_flow) return std::string();

    Flow flow;
    for (const auto& [name, value] : object.items()) {
        const Setter set = find_setter(name);
        if (set == nullptr) continue;
        const std::string wrong = set(value, flow);
        if (!wrong.empty()) return "member " + quoted(name) + " " + wrong;
    }
    if (!flow.source) return "no source address (src4_addr or src6_addr)";
    if (!flow.destination) return "no destination address (dst4_addr or dst6_addr)";
    if (is_v6(flow.record.s_addr) != is_v6(flow.record.d_addr))
        return "source and destination addresses of different families";
    settle_next_hop(flow.record, flow.next_hop);
    out = flow.record;
    return std::string();
}

}  // namespace Vorn
