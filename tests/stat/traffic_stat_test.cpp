#include <gtest/gtest.h>

#include <cstring>

#include "stat/detailed_info_file_parser.h"
#include "stat/traffic_stat.h"

namespace Vorn {
namespace {

DetailedInfoFileParser::RawFileRecord raw_from_bytes(const unsigned char (&bytes)[76]) {
    DetailedInfoFileParser::RawFileRecord raw;
    std::memcpy(&raw, bytes, sizeof raw);
    return raw;
}

TEST(TrafficStat, DefaultRecordIsIPv4WithZeroAddresses) {
    TrafficStat stat;
    EXPECT_EQ(get_address_type(stat), IP_address::IPv4);
    EXPECT_EQ(get_address_type(static_cast<const TrafficFlowRecord&>(stat)), IP_address::IPv4);
    EXPECT_EQ(stat.s_addr.to_string(), "0.0.0.0");
    EXPECT_EQ(stat.router_ip_netflow_from.to_string(), "0.0.0.0");
    EXPECT_EQ(stat.timestamp, 0);
    EXPECT_TRUE(stat.login.empty());
}

TEST(TrafficStat, AddressTypeFollowsTheSourceAddressOnly) {
    TrafficFlowRecord flow;
    flow.d_addr.from_int(0, 1);
    EXPECT_EQ(get_address_type(flow), IP_address::IPv4);
    flow.s_addr.from_int(0, 1);
    EXPECT_EQ(get_address_type(flow), IP_address::IPv6);
}

TEST(RawFileRecord, LittleEndianFieldsLandInTheirPlaces) {
    unsigned char bytes[76] = {};
    const unsigned char prefix[] = {
        0x01, 0x00, 0x00, 0x00,  // version
        0x01, 0x00, 0x00, 0x0A,  // s_addr 10.0.0.1
        0x02, 0x00, 0xA8, 0xC0,  // d_addr 192.168.0.2
        0xFE, 0x00, 0x10, 0xAC,  // nexthop 172.16.0.254
        0x07, 0x00, 0x08, 0x00,  // iface, oface (not converted)
        0x10, 0x00, 0x00, 0x00,  // d_pkt 16
        0x00, 0x01, 0x00, 0x00,  // d_oct 256
        0x11, 0x11, 0x11, 0x11,  // ts_first (not converted)
        0x22, 0x22, 0x22, 0x22,  // ts_last (not converted)
        0x34, 0x12, 0x50, 0x00,  // sport 0x1234, dport 80
        0x00, 0x1B, 0x06, 0x07,  // pad1, tcp_flags, proto, tos
    };
    std::memcpy(bytes, prefix, sizeof prefix);
    const unsigned char billing[] = {
        0x2A, 0x00, 0x00, 0x00,  // slink_id 42
        0xE8, 0x03, 0x00, 0x00,  // account_id 1000
        0xFF, 0xFF, 0xFF, 0xFF,  // reserved1
        0x05, 0x00, 0x00, 0x00,  // tclass 5
        0xFF, 0xFF, 0xFF, 0xFF,  // timestamp -1
    };
    std::memcpy(bytes + 52, billing, sizeof billing);

    TrafficStat out;
    DetailedInfoFileParser::RawFileRecord_to_TrafficStat(raw_from_bytes(bytes), out);
    EXPECT_EQ(out.s_addr.to_string(), "10.0.0.1");
    EXPECT_EQ(out.d_addr.to_string(), "192.168.0.2");
    EXPECT_EQ(out.nexthop_addr.to_string(), "172.16.0.254");
    EXPECT_EQ(out.d_pkt, 16u);
    EXPECT_EQ(out.d_oct, 256u);
    EXPECT_EQ(out.sport, 0x1234);
    EXPECT_EQ(out.dport, 80);
    EXPECT_EQ(out.tcp_flags, 0x1B);
    EXPECT_EQ(out.proto, 6);
    EXPECT_EQ(out.tos, 7);
    EXPECT_EQ(out.slink_id, 42u);
    EXPECT_EQ(out.account_id, 1000u);
    EXPECT_EQ(out.tclass, 5u);
    EXPECT_EQ(out.timestamp, -1);
}

TEST(RawFileRecord, ConversionLeavesFieldsTheOldFormatDoesNotFeed) {
    TrafficStat out;
    out.iface = 11;
    out.oface = 12;
    out.ts_first = 13;
    out.ts_last = 14;
    out.src_as = 15;
    out.dst_as = 16;
    out.src_mask = 17;
    out.dst_mask = 18;
    out.ip.from_int(0x01020304);
    out.login = "alice";

    unsigned char first[76];
    unsigned char second[76];
    std::memset(first, 0x5A, sizeof first);
    std::memset(second, 0xA5, sizeof second);
    DetailedInfoFileParser::RawFileRecord_to_TrafficStat(raw_from_bytes(first), out);
    DetailedInfoFileParser::RawFileRecord_to_TrafficStat(raw_from_bytes(second), out);

    EXPECT_EQ(out.iface, 11);
    EXPECT_EQ(out.oface, 12);
    EXPECT_EQ(out.ts_first, 13u);
    EXPECT_EQ(out.ts_last, 14u);
    EXPECT_EQ(out.src_as, 15u);
    EXPECT_EQ(out.dst_as, 16u);
    EXPECT_EQ(out.src_mask, 17);
    EXPECT_EQ(out.dst_mask, 18);
    EXPECT_EQ(out.ip.to_string(), "1.2.3.4");
    EXPECT_EQ(out.login, "alice");
    EXPECT_EQ(out.d_pkt, 0xA5A5A5A5u);
}

}  // namespace
}  // namespace Vorn
