#include "net/ip_address.h"

#include "net_test_util.h"

using namespace Vorn;
using net_test::expect_error;
using net_test::invalid_address;

namespace {
IP_address ip(const std::string& text) { return IP_address::from_string(text); }
IP_address v6(uint64_t high, uint64_t low) {
    IP_address a;
    a.from_int(static_cast<long>(high), static_cast<long>(low));
    return a;
}
const auto IPv4 = IP_address::IPv4, IPv6 = IP_address::IPv6, invalid = static_cast<IP_address::Family>(0);
const uint64_t ones = ~0ULL, top = 1ULL << 63;
}  // namespace

TEST(NetIpText, DottedAndColonForms) {
    EXPECT_EQ(IPv4, ip("10.0.0.1").family());
    EXPECT_EQ(0x0A000001U, ip("10.0.0.1").to_int());
    EXPECT_EQ("10.0.0.1", ip("10.0.0.1").to_string());
    EXPECT_EQ(v6(0, 1), ip("::1"));
    EXPECT_EQ("::1", ip("::1").to_string());
    EXPECT_EQ(v6(0, 0xFFFF01020304), ip("::ffff:1.2.3.4"));
    EXPECT_EQ(IPv4, IP_address::from_string_json("junk").family());
    EXPECT_EQ(ip("::2"), IP_address::from_string_json("::2"));
}

TEST(NetIpText, BadTextThrowsInvalidAddressFormat) {
    for (const char* text : {"1.2.3", "", " 1.2.3.4", "1::2::3", "256.0.0.1"})
        expect_error<IPAddressStrError>([&] { ip(text); }, "IPAddressStrError: Invalid address format");
}

TEST(NetIpRaw, FromRawReadsNetworkOrderAndChecksSize) {
    const unsigned char bytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    EXPECT_EQ(ip("1.2.3.4"), IP_address::from_raw(invalid, bytes, 16));
    EXPECT_EQ(v6(0x0102030405060708, 0x090A0B0C0D0E0F10), IP_address::from_raw(IPv6, bytes, 16));
    expect_error<IP_addressError>([&] { IP_address::from_raw(IPv6, bytes, 15); },
                                  "IP_addressError: ip_from_raw: invalid IPv6 raw address size");
    expect_error<IP_addressError>([&] { IP_address::from_raw(IPv4, bytes, 3); },
                                  "IP_addressError: ip_from_raw: invalid IPv4 raw address size");
}

TEST(NetIpRaw, ToRawAndHtonWriteNetworkOrder) {
    unsigned char out[16] = {};
    ip("1.2.3.4").to_raw(out, 4);
    EXPECT_EQ(0, memcmp(out, "\1\2\3\4", 4));
    EXPECT_EQ(0, memcmp(v6(0x0102030405060708, 0).hton(out, IPv4), "\5\6\7\10", 4));  // f decides
    expect_error<IP_addressError>([&] { ip("1.2.3.4").to_raw(out, 3); },
                                  "IP_addressError: ip_to_raw: no space for IPv4 address");
    expect_error<IP_addressError>([&] { ip("::1").to_raw(out, 15); },
                                  "IP_addressError: ip_to_raw: no space for IPv6 address");
    expect_error<IP_addressError>([&] { invalid_address().to_raw(out, 16); },
                                  "IP_addressError: ip_to_raw: address type is not valid");
}

TEST(NetIpArithmetic, IncrementWraps) {
    EXPECT_EQ(ip("0.0.0.0"), ++ip("255.255.255.255"));
    EXPECT_TRUE(v6(6, 0) == ++v6(5, ones) && v6(0, 0) == ++v6(ones, ones));
}

TEST(NetIpCompare, V4BeforeV6AndUnsignedValues) {
    EXPECT_TRUE(ip("1.2.3.4") < ip("::1") && ip("::1") > ip("1.2.3.4"));
    EXPECT_FALSE(ip("::1") < ip("1.2.3.4") || ip("1.2.3.4") > ip("::1"));
    EXPECT_TRUE(ip("1.2.3.4") <= ip("1.2.3.4") && ip("1.2.3.4") >= ip("1.2.3.4"));
    EXPECT_TRUE(ip("1.2.3.4") < ip("200.0.0.1") && v6(1, 0) < v6(top, 0) && v6(1, 1) > v6(1, 0));
    EXPECT_NE(ip("0.0.0.1"), ip("::1"));
}

TEST(NetIpArithmetic, BitwiseOperatorsFollowLeftFamily) {
    EXPECT_EQ(ip("0.255.0.255"), ~ip("255.0.255.0"));
    EXPECT_EQ(ip("10.1.0.0"), ip("10.1.2.3") & ip("255.255.0.0"));
    EXPECT_EQ(ip("10.1.253.252"), ip("10.1.2.3") ^ ip("0.0.255.255"));
    EXPECT_EQ(v6(ones, ones - 1), ~ip("::1"));
    EXPECT_EQ(v6(0x01020304, 0), v6(ones, 0) & ip("1.2.3.4"));  // an IPv4 value sits in high
    EXPECT_EQ(ip("0.0.0.5"), ip("0.0.0.4") | v6(1, 99));
    EXPECT_EQ(IPv4, (~invalid_address()).family());
}

TEST(NetIpArithmetic, AddAndSubtractV4Modulo32Bits) {
    EXPECT_EQ(ip("0.0.0.1"), ip("255.255.255.255") + ip("0.0.0.2"));
    EXPECT_EQ(ip("255.255.255.255"), ip("0.0.0.1") - ip("0.0.0.2"));
}

TEST(NetIpArithmetic, AddAndSubtractV6StoreCrosswise) {
    EXPECT_EQ(v6(2, 0), v6(0, 1) + v6(0, 1));
    EXPECT_EQ(v6(top, 1), v6(0, ones) + v6(0, 1));  // carry: low recomputed from 63 bits
    EXPECT_EQ(v6(7, 3), v6(5, 10) - v6(2, 3));
    EXPECT_EQ(v6(top - 2, 2), v6(5, top) - v6(2, 1));  // borrow
}

TEST(NetIpMask, MaskAndBits) {
    EXPECT_EQ(ip("255.255.254.0"), mask(IPv4, 23));
    EXPECT_EQ(ip("0.0.0.0"), mask(IPv4, 0));
    EXPECT_EQ(ip("255.255.255.255"), mask(invalid, 32));
    EXPECT_EQ(v6(ones, top), mask(IPv6, 65));
    expect_error<IP_addressError>([] { mask(IPv4, 33); }, "IP_addressError: mask: invalid IPv4 prefix length");
    expect_error<IP_addressError>([] { mask(IPv6, 129); }, "IP_addressError: mask: invalid IPv6 prefix length");
    const std::pair<const char*, uint32_t> cases[] = {{"255.255.254.0", 23}, {"255.127.0.0", 8}, {"255.0.255.0", 8},
        {"0.0.0.0", 0}, {"255.255.255.255", 32}, {"ffff:ffff:ffff:ffff:8000::", 65}, {"ffff::ff", 16}};
    for (auto [text, count] : cases) EXPECT_EQ(count, bits(ip(text))) << text;
}

TEST(NetIpMask, SingleIpMaskAndAnyAddress) {
    EXPECT_EQ(ip("255.255.255.255"), mask_for_single_ip(ip("1.2.3.4")));
    EXPECT_EQ(v6(ones, ones), mask_for_single_ip(ip("::1")));
    EXPECT_EQ(v6(0, 0), make_any_ip(IPv6));
    EXPECT_EQ(ip("0.0.0.0"), make_any_ip(invalid));
    EXPECT_TRUE(is_any_ip(ip("0.0.0.0")) && is_any_ip(ip("::")));
    EXPECT_FALSE(is_any_ip(ip("::1")) || is_any_ip(invalid_address("0.0.0.0")));
}

TEST(NetIpDatabase, ColumnsAndParsing) {
    EXPECT_EQ(-1, ip_to_db_low(ip("255.255.255.255")));
    EXPECT_EQ(4294967295ULL, get_ip_id(ip("255.255.255.255")));
    EXPECT_EQ(-1, ip_to_db_low(v6(3, ones)));
    EXPECT_EQ(3, ip_to_db_high(v6(3, ones)));
    EXPECT_EQ(256, ip_to_db_type(ip("::1")));
    EXPECT_EQ(IPv6, ip_type_from_db("1535"));  // bits other than 8 and 9 ignored
    EXPECT_EQ(invalid, ip_type_from_db("768"));
    EXPECT_EQ(ip("255.255.255.255"), ip_from_db("-1", "junk", IPv4));
    EXPECT_EQ(ip("0.0.0.0"), ip_from_db("abc", "", IPv4));
    EXPECT_EQ(v6(INT64_MAX, top), ip_from_db("-99999999999999999999", "99999999999999999999", IPv6));
}

TEST(NetIpDatabase, InvalidFamilyForms) {
    const IP_address bad = invalid_address();
    EXPECT_EQ(512, ip_to_db_type(bad));
    EXPECT_EQ(0, ip_to_db_low(bad));
    EXPECT_EQ(0U, get_ip_id(bad));
    expect_error<IP_addressError>([&] { bits(bad); }, "IP_addressError: ip_to_raw: address type is not valid");
    expect_error<IP_addressError>([&] { mask_for_single_ip(bad); },
                                  "IP_addressError: mask_for_single_ip: invalid address type");
}
