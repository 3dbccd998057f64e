#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "stat/traffic_stat.h"

namespace Vorn {
namespace {

// Dumps through vorn-detail show the other members; the login is set only here.
TEST(TrafficStat, LoginRendersUnescapedAndInvalidUtf8Throws) {
    TrafficStat record;
    record.login = "\xc3\xa9t\xc3\xa9";
    EXPECT_NE(record.to_str_json().find(",\"login\":\"\xc3\xa9t\xc3\xa9\",\"nexthop_addr\":"), std::string::npos);
    record.login = "ab\xff";
    EXPECT_THROW(record.to_str_json(), nlohmann::json::type_error);
}

}  // namespace
}  // namespace Vorn
