#include "generator/netflow_v5_packet.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "generator/raw_data.h"
#include "v5_datagram.h"

namespace Strell {
namespace {

using StrellTest::hex;
using Vorn::IP_address;

std::vector<uint8_t> bytes_of(const RawData& out) { return {out.data(), out.data() + out.size()}; }

std::vector<uint8_t> serialized(const Netflow_v5_Packet& packet) {
    RawData out;
    packet.serialize(out);
    return bytes_of(out);
}

Vorn::TrafficFlowRecord sample_flow() {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = IP_address::from_string("10.0.0.1");
    flow.d_addr = IP_address::from_string("192.168.1.2");
    flow.nexthop_addr = IP_address::from_string("10.0.0.254");
    flow.iface = 3;
    flow.oface = 4;
    flow.d_pkt = 5;
    flow.d_oct = 0x1000;
    flow.ts_first = 0x11111111;
    flow.ts_last = 0x22222222;
    flow.sport = 0x1234;
    flow.dport = 80;
    flow.tcp_flags = 0x1b;
    flow.proto = 6;
    flow.tos = 0x10;
    flow.src_as = 70000;  // 0x11170: v5 keeps only 0x1170
    flow.dst_as = 65001;
    flow.src_mask = 24;
    flow.dst_mask = 16;
    return flow;
}

TEST(RawData, WritesEveryValueMostSignificantByteFirst) {
    RawData out;
    out.write<unsigned char>(0xab);
    out.write<unsigned short>(0x1234);
    out.write<unsigned int>(0x01020304u);
    const unsigned char little_endian[16] = {15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
    out.write(little_endian, sizeof(little_endian));
    out.padding(2);
    EXPECT_EQ(hex(bytes_of(out)),
              "ab 12 34 01 02 03 04 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 00 00");
}

TEST(V5Packet, HeaderAndFlowRecordWireBytes) {
    Netflow_v5_Packet packet(5, 0x01020304, 0x05060708, 56, "");
    packet.add_record(sample_flow());
    EXPECT_EQ(hex(serialized(packet)),
              "00 05 00 01 01 02 03 04 05 06 07 08 00 00 00 00 00 00 00 38 00 00 00 00 "
              "0a 00 00 01 c0 a8 01 02 0a 00 00 fe 00 03 00 04 00 00 00 05 00 00 10 00 "
              "11 11 11 11 22 22 22 22 12 34 00 50 00 1b 06 10 11 70 fd e9 18 10 00 00");
}

TEST(V5Packet, ThirtyRecordsSerialiseTo1464BytesAndNoneTo24) {
    Netflow_v5_Packet packet(5, 0, 0, 56, "");
    EXPECT_EQ(serialized(packet).size(), 24u);
    for (int i = 0; i < 30; ++i) packet.add_record(sample_flow());
    const auto wire = serialized(packet);
    EXPECT_EQ(wire.size(), 1464u);
    EXPECT_EQ(StrellTest::be(wire, 2, 2), 30u);
}

TEST(V5Packet, ClearEmptiesRecordsAndKeepsHeader) {
    Netflow_v5_Packet packet(7, 11, 22, 33, "");
    packet.add_record(sample_flow());
    packet.clear();
    EXPECT_EQ(packet.records_count(), 0);
    EXPECT_EQ(hex(serialized(packet)),
              "00 07 00 00 00 00 00 0b 00 00 00 16 00 00 00 00 00 00 00 21 00 00 00 00");
}

TEST(V5Packet, FlowWithAnyIPv6AddressIsSkipped) {
    Netflow_v5_Packet packet(5, 0, 0, 56, "");
    auto flow = sample_flow();
    flow.nexthop_addr = IP_address::from_string("::1");
    packet.add_record(flow);
    EXPECT_EQ(packet.records_count(), 0);
    EXPECT_EQ(serialized(packet).size(), 24u);
}

TEST(V5Packet, UpdateTimePutsSecondsSincePreviousCallIntoSysUptime) {
    const uint32_t before = static_cast<uint32_t>(time(nullptr));
    Netflow_v5_Packet packet(5, 0, before - 5, 56, "");
    packet.update_time();
    const auto wire = serialized(packet);
    const uint32_t after = static_cast<uint32_t>(time(nullptr));
    EXPECT_GE(StrellTest::be(wire, 4, 4), 5u);
    EXPECT_LE(StrellTest::be(wire, 4, 4), 5u + (after - before));
    EXPECT_GE(StrellTest::be(wire, 8, 4), before);
    EXPECT_LE(StrellTest::be(wire, 8, 4), after);

    // From unix_secs 0 the first call yields the seconds since the epoch.
    Netflow_v5_Packet fresh(5, 0, 0, 56, "");
    fresh.update_time();
    EXPECT_GE(StrellTest::be(serialized(fresh), 4, 4), before);
}

TEST(V5Packet, OptionFieldsOverlayRandomRecords) {
    StrellRecord fields;
    fields.add_field<IP_address>(8, 4, IP_address::from_string("10.0.0.1"));
    fields.add_field<unsigned short>(7, 0x1111);
    fields.add_field<unsigned short>(7, 0x1234);  // the later occurrence wins
    fields.add_field<unsigned int>(24, 4, 7);     // OUT_PKTS is a later row than IN_PKTS...
    fields.add_field<unsigned int>(2, 4, 9);      // ...so it wins whatever the field order
    fields.add_field<unsigned int>(1, 4, 0xcafebabe);
    Netflow_v5_Packet packet(5, 0, 0, 56, "/dev/urandom");
    packet.add_record(fields);
    packet.add_record(fields);
    const auto wire = serialized(packet);
    for (size_t i = 0; i < 2; ++i) {
        const auto record = StrellTest::v5_record(wire, i);
        EXPECT_EQ(StrellTest::be(record, 0, 4), 0x0a000001u);
        EXPECT_EQ(StrellTest::be(record, 16, 4), 7u);
        EXPECT_EQ(StrellTest::be(record, 20, 4), 0xcafebabeu);
        EXPECT_EQ(StrellTest::be(record, 32, 2), 0x1234u);
    }
    EXPECT_NE(StrellTest::v5_record(wire, 0), StrellTest::v5_record(wire, 1));
}

// Fatal cases print on standard output; the death tests read standard error.
void add_with_stdout_on_stderr(const StrellRecord& fields) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    Netflow_v5_Packet packet(5, 0, 0, 56, "");
    packet.add_record(fields);
}

TEST(V5PacketDeathTest, FieldOfWrongSizeEndsWithItsTypeNumberAndNoNewline) {
    StrellRecord as_field;
    as_field.add_field<unsigned int>(16, 4, 65001);  // v5 AS fields are 2 bytes
    EXPECT_EXIT(add_with_stdout_on_stderr(as_field), testing::ExitedWithCode(1),
                "^Incorrect field size for field: 16$");
    StrellRecord bytes_field;
    bytes_field.add_field<unsigned short>(1, 2, 100);
    EXPECT_EXIT(add_with_stdout_on_stderr(bytes_field), testing::ExitedWithCode(1),
                "^Incorrect field size for field: 1$");
}

TEST(V5PacketDeathTest, IPv6AddressFieldIsRefused) {
    StrellRecord fields;
    fields.add_field<IP_address>(28, 16, IP_address::from_string("2001:db8::1"));
    EXPECT_EXIT(add_with_stdout_on_stderr(fields), testing::ExitedWithCode(1),
                "^Error: attempt to create netflow v5 packet with IPv6\n$");
}

TEST(V5PacketDeathTest, AddressFieldOfNeither4Nor16BytesIsRefused) {
    StrellRecord fields;
    fields.add_field<unsigned short>(62, 2, 1);
    EXPECT_EXIT(add_with_stdout_on_stderr(fields), testing::ExitedWithCode(1),
                "^Error: Incorrect size of IP address\n$");
}

TEST(V5Packet, LaterIPv4SourceFieldOverridesEarlierIPv6One) {
    StrellRecord fields;
    fields.add_field<IP_address>(27, 16, IP_address::from_string("2001:db8::1"));
    fields.add_field<IP_address>(27, 4, IP_address::from_string("10.0.0.1"));
    Netflow_v5_Packet packet(5, 0, 0, 56, "");
    packet.add_record(fields);
    EXPECT_EQ(packet.records_count(), 1);
}

TEST(V5Packet, HundredByteSourceFileFillsTwoRecordsAndFourBytesThenZeros) {
    char path[] = "/tmp/strell_source_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    std::vector<uint8_t> source(100);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i + 1);
    ASSERT_EQ(write(fd, source.data(), source.size()), 100);
    close(fd);

    StrellRecord fields;
    fields.add_field<unsigned short>(7, 0x1234);
    std::vector<uint8_t> wire;
    {
        Netflow_v5_Packet packet(5, 0, 0, 56, path);
        for (int i = 0; i < 4; ++i) packet.add_record(fields);
        wire = serialized(packet);
    }
    unlink(path);

    for (size_t i = 0; i < 4; ++i) {
        std::vector<uint8_t> raw(48, 0);
        for (size_t b = 0; b < 48 && 48 * i + b < source.size(); ++b) raw[b] = source[48 * i + b];
        auto expected = StrellTest::reverse_each_field(raw);
        expected[32] = 0x12;
        expected[33] = 0x34;
        EXPECT_EQ(hex(StrellTest::v5_record(wire, i)), hex(expected)) << "record " << i;
    }
}

TEST(V5Packet, UnopenableSourceFileFallsBackToUrandom) {
    testing::internal::CaptureStderr();
    Netflow_v5_Packet packet(5, 0, 0, 56, "/nonexistent/strell-source");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "open: No such file or directory\n");
    packet.add_record(StrellRecord());
    packet.add_record(StrellRecord());
    const auto wire = serialized(packet);
    EXPECT_NE(StrellTest::v5_record(wire, 0), StrellTest::v5_record(wire, 1));
}

}  // namespace
}  // namespace Strell
