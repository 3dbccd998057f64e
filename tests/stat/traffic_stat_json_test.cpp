#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "detail_file_test_util.h"
#include "stat/traffic_stat.h"

namespace Vorn {
namespace {

TEST(TrafficStatJson, DefaultRecordRendersAllMembersInKeyOrder) {
    detail_test::use_utc();
    EXPECT_EQ(TrafficStat().to_str_json(),
              R"({"account_id":0,"d_addr":"0.0.0.0","d_oct":0,"d_pkt":0,"dport":0,"dst_as":0,"dst_mask":0,)"
              R"("human_timestamp":"Thu Jan  1 00:00:00 1970","iface":0,"ip":"0.0.0.0","login":"",)"
              R"("nexthop_addr":"0.0.0.0","oface":0,"proto":0,"router_ip_netflow_from":"0.0.0.0","s_addr":"0.0.0.0",)"
              R"("slink_id":0,"sport":0,"src_as":0,"src_mask":0,"tclass":0,"tcp_flags":0,"timestamp":0,"tos":0,)"
              R"("ts_first":0,"ts_last":0})");
}

TEST(TrafficStatJson, NegativeTimestampStaysNegative) {
    detail_test::use_utc();
    TrafficStat r;
    r.timestamp = -86400;
    const auto json = nlohmann::json::parse(r.to_str_json());
    EXPECT_EQ(json["timestamp"].get<int64_t>(), -86400);
    EXPECT_EQ(json["human_timestamp"], "Wed Dec 31 00:00:00 1969");
}

TEST(TrafficStatJson, AddressesInTheirTextFormAndLoginAsItIs) {
    TrafficStat r;
    r.d_addr = IP_address::from_string("2001:db8::2");
    r.router_ip_netflow_from = IP_address::from_string("::ffff:10.1.2.3");
    r.login = "\xc3\xa9t\xc3\xa9";  // not escaped
    const std::string text = r.to_str_json();
    EXPECT_NE(text.find(R"("d_addr":"2001:db8::2")"), std::string::npos);
    EXPECT_NE(text.find(R"("router_ip_netflow_from":"::ffff:10.1.2.3")"), std::string::npos);
    EXPECT_NE(text.find("\"login\":\"\xc3\xa9t\xc3\xa9\""), std::string::npos);
}

TEST(TrafficStatJson, InvalidUtf8LoginThrowsTypeError) {
    TrafficStat r;
    r.login = "ab\xff";
    EXPECT_THROW(r.to_str_json(), nlohmann::json::type_error);
}

}  // namespace
}  // namespace Vorn
