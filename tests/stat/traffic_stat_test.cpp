#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <tuple>

#include <nlohmann/json.hpp>

#include "stat/detailed_info_file_parser.h"
#include "stat/traffic_stat.h"

namespace Vorn {
namespace {

void use_utc() {
    setenv("TZ", "UTC", 1);
    tzset();
}

TEST(TrafficStat, AddressTypeFollowsTheSourceAddressOnly) {
    TrafficStat stat;
    stat.d_addr.from_int(0, 1);
    EXPECT_EQ(get_address_type(stat), IP_address::IPv4);  // a default s_addr
    EXPECT_EQ(get_address_type(static_cast<const TrafficFlowRecord&>(stat)), IP_address::IPv4);
    std::tie(stat.s_addr, stat.d_addr) = std::tuple(stat.d_addr, IP_address());
    EXPECT_EQ(get_address_type(stat), IP_address::IPv6);
    EXPECT_EQ(get_address_type(static_cast<const TrafficFlowRecord&>(stat)), IP_address::IPv6);
}

TEST(RawFileRecord, ConversionFillsTheOldFieldsAndLeavesTheRest) {
    use_utc();
    const unsigned char bytes[76] = {
        0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x0A,  // version, s_addr 10.0.0.1
        0x02, 0x00, 0xA8, 0xC0, 0xFE, 0x00, 0x10, 0xAC,  // d_addr 192.168.0.2, nexthop 172.16.0.254
        0x07, 0x00, 0x08, 0x00, 0x10, 0x00, 0x00, 0x00,  // iface, oface (not converted), d_pkt 16
        0x00, 0x01, 0x00, 0x00, 0x11, 0x11, 0x11, 0x11,  // d_oct 256, ts_first (not converted)
        0x22, 0x22, 0x22, 0x22, 0x34, 0x12, 0x50, 0x00,  // ts_last (not converted), sport 0x1234, dport 80
        0x00, 0x1B, 0x06, 0x07, 0x33, 0x33, 0x44, 0x44,  // pad1, tcp_flags, proto, tos; AS (not converted)
        0x55, 0x66, 0x00, 0x00, 0x2A, 0x00, 0x00, 0x00,  // masks (not converted), pad2, slink_id 42
        0xE8, 0x03, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF,  // account_id 1000, reserved1
        0x05, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF,  // tclass 5, timestamp -1
        0xFF, 0xFF, 0xFF, 0xFF};                         // reserved2
    DetailedInfoFileParser::RawFileRecord raw;
    std::memcpy(&raw, bytes, sizeof raw);
    TrafficStat out;
    std::tie(out.iface, out.oface, out.ts_first, out.ts_last, out.src_as, out.dst_as) = std::tuple(11, 12, 13, 14, 15, 16);
    std::tie(out.src_mask, out.dst_mask, out.login) = std::tuple(17, 18, "alice");
    out.ip.from_int(0x01020304);
    DetailedInfoFileParser::RawFileRecord_to_TrafficStat(raw, out);
    EXPECT_EQ(out.to_str_json(),
              R"({"account_id":1000,"d_addr":"192.168.0.2","d_oct":256,"d_pkt":16,"dport":80,"dst_as":16,)"
              R"("dst_mask":18,"human_timestamp":"Wed Dec 31 23:59:59 1969","iface":11,"ip":"1.2.3.4",)"
              R"("login":"alice","nexthop_addr":"172.16.0.254","oface":12,"proto":6,)"
              R"("router_ip_netflow_from":"0.0.0.0","s_addr":"10.0.0.1","slink_id":42,"sport":4660,"src_as":15,)"
              R"("src_mask":17,"tclass":5,"tcp_flags":27,"timestamp":-1,"tos":7,"ts_first":13,"ts_last":14})");
}

TEST(TrafficStatJson, DefaultRecordRendersAllMembersInKeyOrder) {
    use_utc();
    EXPECT_EQ(TrafficStat().to_str_json(),
              R"({"account_id":0,"d_addr":"0.0.0.0","d_oct":0,"d_pkt":0,"dport":0,"dst_as":0,"dst_mask":0,)"
              R"("human_timestamp":"Thu Jan  1 00:00:00 1970","iface":0,"ip":"0.0.0.0","login":"",)"
              R"("nexthop_addr":"0.0.0.0","oface":0,"proto":0,"router_ip_netflow_from":"0.0.0.0","s_addr":"0.0.0.0",)"
              R"("slink_id":0,"sport":0,"src_as":0,"src_mask":0,"tclass":0,"tcp_flags":0,"timestamp":0,"tos":0,)"
              R"("ts_first":0,"ts_last":0})");
}

TEST(TrafficStatJson, NegativeTimestampIPv6AndLoginInTheirTextForms) {
    use_utc();
    TrafficStat r;
    r.timestamp = -86400;
    r.d_addr = IP_address::from_string("2001:db8::2");
    r.router_ip_netflow_from = IP_address::from_string("::ffff:10.1.2.3");
    r.login = "\xc3\xa9t\xc3\xa9";  // not escaped
    const std::string text = r.to_str_json();
    for (const char* member : {R"("timestamp":-86400,)", R"("human_timestamp":"Wed Dec 31 00:00:00 1969")",
                               R"("d_addr":"2001:db8::2")", R"("router_ip_netflow_from":"::ffff:10.1.2.3")",
                               "\"login\":\"\xc3\xa9t\xc3\xa9\""})
        EXPECT_NE(text.find(member), std::string::npos) << member;
}

TEST(TrafficStatJson, InvalidUtf8LoginThrowsTypeError) {
    TrafficStat r;
    r.login = "ab\xff";
    EXPECT_THROW(r.to_str_json(), nlohmann::json::type_error);
}

}  // namespace
}  // namespace Vorn
