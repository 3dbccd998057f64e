#include "util/string_utils.h"

#include <gtest/gtest.h>

#include <climits>

namespace Vorn {
namespace {

TEST(StringUtils, PfStrReturnsWholeTextsBeyondItsFirstBuffer) {
    for (size_t length : {0u, 1007u, 1008u, 1009u, 2100u, 5000u}) {
        const std::string text(length, 'x');
        EXPECT_EQ(pf_str("%s|%d", text.c_str(), 42), text + "|42") << length;
    }
}

TEST(StringUtils, ToHexStringWritesTwoLowerCaseDigitsPerByte) {
    const unsigned char bytes[] = {0x0A, 0xFF, 0x00, 0x10};
    EXPECT_EQ(to_hex_string(bytes, 2), "0aff");
    EXPECT_EQ(to_hex_string(bytes, 4), "0aff0010");
    EXPECT_EQ(to_hex_string(bytes, 0), "");
}

TEST(StringUtils, FtoaWritesTheWidenedFloatInFixedNotation) {
    EXPECT_EQ(ftoa(1.5f, 3), "1.500");
    EXPECT_EQ(ftoa(2.0f, 0), "2");
    EXPECT_EQ(ftoa(0.1f, 10), "0.1000000015");
}

TEST(StringUtils, ItoaWritesDecimalText) {
    EXPECT_EQ(itoa(-7), "-7");
    EXPECT_EQ(itoa(0), "0");
    EXPECT_EQ(itoa(INT_MIN), "-2147483648");
}

TEST(StringUtils, TolowerLowersAsciiAndLeavesOtherBytes) {
    EXPECT_EQ(tolower("MiXeD 1-Z\xC4"), "mixed 1-z\xC4");
}

}  // namespace
}  // namespace Vorn
