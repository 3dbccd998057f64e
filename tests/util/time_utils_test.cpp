#include "util/time_utils.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace Vorn {
namespace {

class TimeTest : public ::testing::Test {
protected:
    void SetUp() override { set_tz("UTC"); }
    void TearDown() override { set_tz("UTC"); }
    static void set_tz(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
};

TEST_F(TimeTest, DaysInMonthFollowLeapYearsAndDefaultTo31) {
    EXPECT_EQ(Time::get_days_in_month(2024, 1), 29);
    EXPECT_EQ(Time::get_days_in_month(1900, 1), 28);
    EXPECT_EQ(Time::get_days_in_month(2000, 1), 29);
    EXPECT_EQ(Time::get_days_in_month(2023, 3), 30);
    EXPECT_EQ(Time::get_days_in_month(2000, 12), 31);
    EXPECT_EQ(Time::get_days_in_month(2000, -1), 31);
}

TEST_F(TimeTest, CtimePoppedDropsTheNewline) {
    EXPECT_EQ(Time::ctime(0), "Thu Jan  1 00:00:00 1970\n");
    EXPECT_EQ(Time::ctimePopped(0), "Thu Jan  1 00:00:00 1970");
    EXPECT_EQ(Time::ctimePopped(-1), "Wed Dec 31 23:59:59 1969");
    EXPECT_EQ(Time::ctimePopped(2147483647).size(), 24u);
}

TEST_F(TimeTest, LocalUsesTheLocalZone) {
    set_tz("EST5");
    tm out{};
    Time::local(0, out);
    EXPECT_EQ(out.tm_year, 69);
    EXPECT_EQ(out.tm_mday, 31);
    EXPECT_EQ(out.tm_hour, 19);
}

TEST_F(TimeTest, UsecondsFollowsTheWallClock) {
    const int64_t before = static_cast<int64_t>(time(nullptr)) * 1000000;
    const int64_t now = Time::useconds();
    EXPECT_GE(now, before);
    EXPECT_LT(now, before + 2000000);
}

}  // namespace
}  // namespace Vorn
