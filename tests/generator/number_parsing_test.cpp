#include "generator/number_parsing.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace Strell {
namespace {

TEST(ReadNumber, BaseZeroReadsBinaryHexOctalAndDecimal) {
    EXPECT_EQ(read_number("0b101", 0), 5);
    EXPECT_EQ(read_number("0B11", 0), 3);
    EXPECT_EQ(read_number(" \t-0b11", 0), -3);
    EXPECT_EQ(read_number("+0b1", 0), 1);
    EXPECT_EQ(read_number("0b1012", 0), 5);
    EXPECT_EQ(read_number("0x1f", 0), 31);
    EXPECT_EQ(read_number("017", 0), 15);
    EXPECT_EQ(read_number("65001", 0), 65001);
}

TEST(ReadNumber, PrefixWithoutBinaryDigitLeavesTheZero) {
    EXPECT_EQ(read_number("0b", 0), 0);
    EXPECT_EQ(read_number("0b2", 0), 0);
    EXPECT_EQ(read_number("-0b", 0), 0);
    EXPECT_EQ(read_number("b101", 0), 0);
}

TEST(ReadNumber, BinaryOutOfRangeSaturatesLikeStrtol) {
    EXPECT_EQ(read_number(("0b" + std::string(63, '1')).c_str(), 0), LONG_MAX);
    EXPECT_EQ(read_number(("0b" + std::string(64, '1')).c_str(), 0), LONG_MAX);
    EXPECT_EQ(read_number(("-0b1" + std::string(63, '0')).c_str(), 0), LONG_MIN);
    EXPECT_EQ(read_number(("-0b1" + std::string(64, '0')).c_str(), 0), LONG_MIN);
}

TEST(ReadNumber, BaseTenTakesLeadingDigitsOnly) {
    EXPECT_EQ(read_number("12abc", 10), 12);
    EXPECT_EQ(read_number("abc", 10), 0);
    EXPECT_EQ(read_number("0b101", 10), 0);
    EXPECT_EQ(read_number("010", 10), 10);
    EXPECT_EQ(read_number(" -5", 10), -5);
}

}  // namespace
}  // namespace Strell
