// A TrafficStat filled from arbitrary bytes, rendered with to_str_json. The
// one failure allowed is nlohmann's type error for a login that is not UTF-8;
// the text must parse (nlohmann's own parser) into 26 members equal to the fields.
#include <cstdlib>

#include <nlohmann/json.hpp>

#include "vorn/stat/traffic_stat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    size_t used = 0;  // the input's bytes in order, zeros once it is used up
    const auto next = [&](int bytes) { uint64_t v = 0; while (bytes-- > 0) v = v << 8 | (used < size ? data[used++] : 0); return v; };
    Vorn::TrafficStat r;
    Vorn::IP_address* addresses[] = {&r.s_addr, &r.d_addr, &r.nexthop_addr, &r.ip, &r.router_ip_netflow_from};
    for (Vorn::IP_address* a : addresses) {
        if (next(1) & 1) a->from_int(long(next(8)), long(next(8)));
        else a->from_int(int(next(4)));
    }
    r.iface = uint16_t(next(2)), r.oface = uint16_t(next(2)), r.sport = uint16_t(next(2)), r.dport = uint16_t(next(2));
    r.d_pkt = uint32_t(next(4)), r.d_oct = uint32_t(next(4)), r.ts_first = uint32_t(next(4)), r.ts_last = uint32_t(next(4));
    r.src_as = uint32_t(next(4)), r.dst_as = uint32_t(next(4)), r.slink_id = uint32_t(next(4)), r.account_id = uint32_t(next(4));
    r.tclass = uint32_t(next(4)), r.timestamp = int32_t(next(4)), r.tcp_flags = uint8_t(next(1)), r.proto = uint8_t(next(1));
    r.tos = uint8_t(next(1)), r.src_mask = uint8_t(next(1)), r.dst_mask = uint8_t(next(1));
    r.login = std::string(reinterpret_cast<const char*>(data) + used, size - used);
    std::string text;
    try {
        text = r.to_str_json();
    } catch (const nlohmann::json::type_error&) {
        r.login = "ok";
        r.to_str_json();  // throws again unless login was the cause
        return 0;
    }
    const nlohmann::json json = nlohmann::json::parse(text);
    const nlohmann::json numbers = {{"iface", r.iface}, {"oface", r.oface}, {"sport", r.sport}, {"dport", r.dport}, {"d_pkt", r.d_pkt},
        {"d_oct", r.d_oct}, {"ts_first", r.ts_first}, {"ts_last", r.ts_last}, {"src_as", r.src_as}, {"dst_as", r.dst_as},
        {"slink_id", r.slink_id}, {"account_id", r.account_id}, {"tclass", r.tclass}, {"timestamp", r.timestamp},
        {"tcp_flags", r.tcp_flags}, {"proto", r.proto}, {"tos", r.tos}, {"src_mask", r.src_mask}, {"dst_mask", r.dst_mask}, {"login", r.login}};
    bool same = json.size() == 26 && json.at("human_timestamp").is_string();
    for (const auto& [key, value] : numbers.items()) same = same && json.at(key) == value;
    const char* keys[] = {"s_addr", "d_addr", "nexthop_addr", "ip", "router_ip_netflow_from"};
    for (int i = 0; i < 5; ++i) same = same && Vorn::IP_address::from_string(json.at(keys[i]).get<std::string>()) == *addresses[i];
    if (!same) std::abort();
    return 0;
}
