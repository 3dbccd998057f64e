// A TrafficStat filled from arbitrary bytes, rendered with to_str_json. The
// one failure allowed is nlohmann's type error for a login that is not UTF-8;
// the text must parse (nlohmann's own parser) into 26 members equal to the
// fields.
#include <cstdint>
#include <cstdlib>
#include <string>

#include <nlohmann/json.hpp>

#include "stat/traffic_stat.h"

namespace {

// Hands out the input's bytes in order, zeros once it is used up.
class Bytes {
public:
    Bytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    template <typename T>
    T next() {
        uint64_t value = 0;
        for (size_t i = 0; i < sizeof(T); ++i) value = value << 8 | (used_ < size_ ? data_[used_++] : 0);
        return static_cast<T>(value);
    }
    Vorn::IP_address address() {
        Vorn::IP_address a;
        if (next<uint8_t>() & 1) a.from_int(next<long>(), next<long>());
        else a.from_int(next<int>());
        return a;
    }
    std::string rest() const { return std::string(reinterpret_cast<const char*>(data_) + used_, size_ - used_); }

private:
    const uint8_t* data_;
    size_t size_;
    size_t used_ = 0;
};

bool same_address(const nlohmann::json& text, const Vorn::IP_address& address) {
    return text.is_string() && Vorn::IP_address::from_string(text.get<std::string>()) == address;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes in(data, size);
    Vorn::TrafficStat r;
    r.s_addr = in.address(), r.d_addr = in.address(), r.nexthop_addr = in.address();
    r.ip = in.address(), r.router_ip_netflow_from = in.address();
    r.iface = in.next<uint16_t>(), r.oface = in.next<uint16_t>(), r.sport = in.next<uint16_t>();
    r.dport = in.next<uint16_t>(), r.d_pkt = in.next<uint32_t>(), r.d_oct = in.next<uint32_t>();
    r.ts_first = in.next<uint32_t>(), r.ts_last = in.next<uint32_t>(), r.src_as = in.next<uint32_t>();
    r.dst_as = in.next<uint32_t>(), r.slink_id = in.next<uint32_t>(), r.account_id = in.next<uint32_t>();
    r.tclass = in.next<uint32_t>(), r.timestamp = in.next<int32_t>(), r.tcp_flags = in.next<uint8_t>();
    r.proto = in.next<uint8_t>(), r.tos = in.next<uint8_t>(), r.src_mask = in.next<uint8_t>();
    r.dst_mask = in.next<uint8_t>();
    r.login = in.rest();

    std::string text;
    try {
        text = r.to_str_json();
    } catch (const nlohmann::json::type_error&) {
        r.login = "ok";
        r.to_str_json();  // throws again unless login was the cause
        return 0;
    }
    const nlohmann::json json = nlohmann::json::parse(text);
    const bool numbers =
        json.size() == 26 && json.at("iface") == r.iface && json.at("oface") == r.oface && json.at("sport") == r.sport &&
        json.at("dport") == r.dport && json.at("d_pkt") == r.d_pkt && json.at("d_oct") == r.d_oct &&
        json.at("ts_first") == r.ts_first && json.at("ts_last") == r.ts_last && json.at("src_as") == r.src_as &&
        json.at("dst_as") == r.dst_as && json.at("slink_id") == r.slink_id && json.at("account_id") == r.account_id &&
        json.at("tclass") == r.tclass && json.at("timestamp") == r.timestamp && json.at("tcp_flags") == r.tcp_flags &&
        json.at("proto") == r.proto && json.at("tos") == r.tos && json.at("src_mask") == r.src_mask &&
        json.at("dst_mask") == r.dst_mask && json.at("human_timestamp").is_string() && json.at("login") == r.login;
    const bool addresses = same_address(json.at("s_addr"), r.s_addr) && same_address(json.at("d_addr"), r.d_addr) &&
                           same_address(json.at("nexthop_addr"), r.nexthop_addr) && same_address(json.at("ip"), r.ip) &&
                           same_address(json.at("router_ip_netflow_from"), r.router_ip_netflow_from);
    if (!numbers || !addresses) std::abort();
    return 0;
}
