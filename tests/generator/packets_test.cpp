#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "generator/netflow_v5_packet.h"
#include "generator/netflow_v9_packet.h"
#include "generator/raw_data.h"
#include "generator/strell_record.h"
#include "test_support.h"

namespace Strell {
namespace {

using StrellTest::be;
using StrellTest::Datagram;
using StrellTest::hex;
using StrellTest::parse_v9;
using StrellTest::v5_record;
using Vorn::IP_address;

Datagram bytes_of(const RawData& out) { return {out.data(), out.data() + out.size()}; }

template <typename T>
Datagram serialized(const T& value) {
    RawData out;
    value.serialize(out);
    return bytes_of(out);
}

std::string record_bytes(const StrellRecord& record) {
    RawData out;
    for (const DataField& field : record.data()) field.serialize(out);
    return hex(bytes_of(out));
}

std::vector<std::pair<int, int>> template_of(const StrellRecord& record) {
    std::vector<std::pair<int, int>> entries;
    for (const TemplateField& field : record.fields()) entries.emplace_back(field.type, field.length);
    return entries;
}

Vorn::TrafficFlowRecord sample_flow(const char* source = "10.0.0.1", const char* destination = "192.168.1.2",
                                    const char* nexthop = "10.0.0.254") {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = IP_address::from_string(source);
    flow.d_addr = IP_address::from_string(destination);
    flow.nexthop_addr = IP_address::from_string(nexthop);
    flow.iface = 3;
    flow.oface = 4;
    flow.d_pkt = 5;
    flow.d_oct = 0x1000;
    flow.ts_first = 0x11111111;  // v5 only, as are the masks
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

Vorn::TrafficFlowRecord sample_v6_flow() { return sample_flow("2001:db8::1", "2001:db8::2", "fe80::1"); }

TEST(RawData, WritesEveryValueMostSignificantByteFirst) {
    RawData out;
    out.write<unsigned char>(0xab);
    out.write_all(static_cast<unsigned short>(0x1234), 0x01020304u);
    const unsigned char little_endian[16] = {15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
    out.write(little_endian, sizeof(little_endian));
    out.padding(2);
    EXPECT_EQ(hex(bytes_of(out)),
              "ab 12 34 01 02 03 04 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 00 00");
    // Widths with a byte swap of their own and some without.
    for (size_t n : {3u, 8u, 12u, 17u}) {
        std::vector<unsigned char> source(n), target(n + 1, 0xee);
        for (size_t i = 0; i < n; ++i) source[i] = static_cast<unsigned char>(i);
        RawData::hton(source.data(), n, target.data());
        EXPECT_EQ(std::vector<unsigned char>(target.rbegin() + 1, target.rend()), source) << n;
        EXPECT_EQ(target[n], 0xee) << "wrote past " << n << " bytes";
    }
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
    EXPECT_EQ(be(wire, 2, 2), 30u);
}

TEST(V5Packet, ClearEmptiesRecordsAndKeepsHeader) {
    Netflow_v5_Packet packet(7, 11, 22, 33, "");
    packet.add_record(sample_flow());
    packet.clear();
    EXPECT_EQ(packet.records_count(), 0);
    EXPECT_EQ(hex(serialized(packet)), "00 07 00 00 00 00 00 0b 00 00 00 16 00 00 00 00 00 00 00 21 00 00 00 00");
}

TEST(V5Packet, FlowWithAnyIPv6AddressIsSkipped) {
    Netflow_v5_Packet packet(5, 0, 0, 56, "");
    packet.add_record(sample_flow("10.0.0.1", "10.0.0.2", "::1"));
    EXPECT_EQ(packet.records_count(), 0);
    EXPECT_EQ(serialized(packet).size(), 24u);
}

TEST(V5Packet, UpdateTimePutsSecondsSincePreviousCallIntoSysUptime) {
    const uint32_t before = static_cast<uint32_t>(time(nullptr));
    Netflow_v5_Packet packet(5, 0, before - 5, 56, "");
    packet.update_time();
    const auto wire = serialized(packet);
    const uint32_t after = static_cast<uint32_t>(time(nullptr));
    EXPECT_GE(be(wire, 4, 4), 5u);
    EXPECT_LE(be(wire, 4, 4), 5u + (after - before));
    EXPECT_GE(be(wire, 8, 4), before);
    EXPECT_LE(be(wire, 8, 4), after);
    // From unix_secs 0 the first call yields the seconds since the epoch.
    Netflow_v5_Packet fresh(5, 0, 0, 56, "");
    fresh.update_time();
    EXPECT_GE(be(serialized(fresh), 4, 4), before);
}

// Fatal cases print on standard output; the death tests read standard error.
void add_with_stdout_on_stderr(StrellRecord fields) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    Netflow_v5_Packet packet(5, 0, 0, 56, "");
    packet.add_record(fields);
}

template <typename T>
StrellRecord one_field(unsigned short type, unsigned short length, const T& value) {
    StrellRecord record;
    record.add_field<T>(type, length, value);
    return record;
}

TEST(V5PacketDeathTest, FieldsTheV5RecordCannotHoldEndTheProcess) {
    // v5 AS fields are 2 bytes; no newline follows the message.
    EXPECT_EXIT(add_with_stdout_on_stderr(one_field<unsigned int>(16, 4, 65001)), testing::ExitedWithCode(1),
                "^Incorrect field size for field: 16$");
    EXPECT_EXIT(add_with_stdout_on_stderr(one_field(28, 16, IP_address::from_string("2001:db8::1"))),
                testing::ExitedWithCode(1), "^Error: attempt to create netflow v5 packet with IPv6\n$");
    EXPECT_EXIT(add_with_stdout_on_stderr(one_field<unsigned short>(62, 2, 1)), testing::ExitedWithCode(1),
                "^Error: Incorrect size of IP address\n$");
}

TEST(V5Packet, HundredByteSourceFileFillsTwoRecordsAndFourBytesThenZeros) {
    Datagram source(100);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i + 1);
    const StrellTest::TempFile file(source);
    Netflow_v5_Packet packet(5, 0, 0, 56, file.path());
    for (int i = 0; i < 4; ++i) packet.add_record(one_field<unsigned short>(7, 2, 0x1234));
    const auto wire = serialized(packet);
    source.resize(4 * 48);
    for (size_t i = 0; i < 4; ++i) {
        auto expected = StrellTest::reverse_each_field(Datagram(&source[48 * i], &source[48 * i] + 48));
        expected[32] = 0x12;
        expected[33] = 0x34;
        EXPECT_EQ(hex(v5_record(wire, i)), hex(expected)) << "record " << i;
    }
}

TEST(V5Packet, UnopenableSourceFileFallsBackToUrandom) {
    testing::internal::CaptureStderr();
    Netflow_v5_Packet packet(5, 0, 0, 56, "/nonexistent/strell-source");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "open: No such file or directory\n");
    packet.add_record(StrellRecord());
    packet.add_record(StrellRecord());
    const auto wire = serialized(packet);
    EXPECT_NE(v5_record(wire, 0), v5_record(wire, 1));
}

TEST(StrellRecord, IPv4FlowExportsFourteenFieldsIn39Bytes) {
    const StrellRecord record(sample_flow("10.0.0.1", "10.0.0.2", "10.0.0.3"));
    const std::vector<std::pair<int, int>> expected = {{8, 4},  {12, 4}, {62, 4}, {7, 2}, {11, 2},
                                                       {16, 4}, {17, 4}, {10, 2}, {14, 2}, {1, 4},
                                                       {2, 4},  {5, 1},  {6, 1},  {4, 1}};
    EXPECT_EQ(template_of(record), expected);
    EXPECT_EQ(record.data_length(), 39u);
    EXPECT_EQ(record_bytes(record),
              "0a 00 00 01 0a 00 00 02 0a 00 00 03 12 34 00 50 00 01 11 70 00 00 fd e9 "
              "00 03 00 04 00 00 10 00 00 00 00 05 10 1b 06");
}

TEST(StrellRecord, IPv6FlowExports75BytesWithHighHalfFirst) {
    const StrellRecord record(sample_v6_flow());
    auto entries = template_of(record);
    ASSERT_EQ(entries.size(), 14u);
    entries.resize(3);
    EXPECT_EQ(entries, (std::vector<std::pair<int, int>>{{27, 16}, {28, 16}, {62, 16}}));
    EXPECT_EQ(record.data_length(), 75u);
    EXPECT_EQ(record_bytes(record).substr(0, 3 * 32 - 1),
              "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 "
              "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 02");
}

void build_with_stdout_on_stderr(const Vorn::TrafficFlowRecord& flow) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    StrellRecord record(flow);
}

TEST(StrellRecordDeathTest, MixedAddressFamiliesEndTheProcess) {
    EXPECT_EXIT(build_with_stdout_on_stderr(sample_flow("10.0.0.1", "10.0.0.2", "::1")),
                testing::ExitedWithCode(1), "^Incorrect netflow data\n$");
    EXPECT_EXIT(build_with_stdout_on_stderr(sample_flow("::1", "10.0.0.2", "::2")), testing::ExitedWithCode(1),
                "^Incorrect netflow data\n$");
}

TEST(StrellRecord, AnnouncedLengthDoesNotSizeTheValue) {
    const StrellRecord record = one_field(8, 4, IP_address::from_string("2001:db8::1"));
    EXPECT_EQ(record.fields()[0].length, 4);
    EXPECT_EQ(record.data()[0].length(), 16u);
    EXPECT_EQ(record.data_length(), 16u);
}

TEST(DataField, CopiesOwnTheirBytesInlineAndOnTheHeap) {
    std::vector<unsigned char> long_value(20);
    for (size_t i = 0; i < long_value.size(); ++i) long_value[i] = static_cast<unsigned char>(i);
    const unsigned char short_value[2] = {0x34, 0x12};
    auto* original = new DataField(long_value.data(), long_value.size());
    DataField copy(*original);
    DataField assigned(short_value, 2);
    assigned = *original;
    delete original;
    DataField moved(std::move(copy));
    copy = DataField(short_value, 2);

    size_t n = 0;
    EXPECT_EQ(std::vector<unsigned char>(moved.get_data(n), moved.get_data(n) + 20), long_value);
    EXPECT_EQ(std::vector<unsigned char>(assigned.get_data(n), assigned.get_data(n) + 20), long_value);
    EXPECT_EQ(hex(serialized(copy)), "12 34");
}

FlowsetStorage<TemplateFlowsetRecords> both_templates() {
    FlowsetStorage<TemplateFlowsetRecords> templates(0);
    templates.records.add_record(256, StrellRecord(sample_flow()).fields());
    templates.records.add_record(257, StrellRecord(sample_v6_flow()).fields());
    return templates;
}

FlowsetStorage<DataFlowsetRecords> zero_records(size_t records, size_t bytes_each) {
    FlowsetStorage<DataFlowsetRecords> flowset(256);
    const unsigned char zeros[40] = {};
    for (size_t i = 0; i < records; ++i) flowset.records.add_record({DataField(zeros, bytes_each)});
    return flowset;
}

TEST(V9Packet, TwoTemplatesAndThreeIPv4RecordsMake268Bytes) {
    Netflow_v9_Packet packet(9, 0, 0, 56, 1234);
    FlowsetStorage<DataFlowsetRecords> data(256);
    for (int i = 0; i < 3; ++i) data.records.add_record(StrellRecord(sample_flow()).data());
    packet.add_flowset(data);
    packet.add_flowset(both_templates());

    const auto bytes = serialized(packet);
    ASSERT_EQ(bytes.size(), 268u);
    EXPECT_EQ(packet.length(), 268u);
    const auto parsed = parse_v9(bytes);
    EXPECT_EQ(parsed.count, 5u);
    ASSERT_EQ(parsed.flowsets.size(), 2u);
    // Templates first, whatever the order they were added in.
    EXPECT_EQ(parsed.flowsets[0].id, 0u);
    EXPECT_EQ(parsed.flowsets[0].length, 124u);
    EXPECT_EQ(hex(Datagram(parsed.flowsets[0].body.begin(), parsed.flowsets[0].body.begin() + 16)),
              "01 00 00 0e 00 08 00 04 00 0c 00 04 00 3e 00 04");
    EXPECT_EQ(parsed.flowsets[1].id, 256u);
    EXPECT_EQ(parsed.flowsets[1].length, 124u);
    EXPECT_EQ(data.flowset_length, 0u);  // the packet holds its own copy
    // Three 39-byte records, then 3 bytes of padding.
    const Datagram& body = parsed.flowsets[1].body;
    EXPECT_EQ(hex(Datagram(body.begin() + 78, body.begin() + 92)), "0a 00 00 01 c0 a8 01 02 0a 00 00 fe 12 34");
    EXPECT_EQ(hex(Datagram(body.end() - 3, body.end())), "00 00 00");
}

TEST(V9Packet, DataFlowsetsArePaddedToFourBytes) {
    // Records, bytes in each, flowset length.
    const size_t cases[][3] = {{1, 39, 44}, {2, 39, 84}, {3, 25, 80}, {1, 40, 44}, {0, 0, 4}};
    for (const auto& [records, bytes_each, flowset_length] : cases) {
        Netflow_v9_Packet packet(9, 0, 0, 0, 0);
        packet.add_flowset(zero_records(records, bytes_each));
        const auto bytes = serialized(packet);
        EXPECT_EQ(bytes.size(), 20 + flowset_length) << flowset_length;
        EXPECT_EQ(parse_v9(bytes).flowsets.at(0).length, flowset_length);
        EXPECT_EQ(packet.length(), bytes.size());
    }
}

TEST(V9Packet, HeaderCountCountsRecordsNotFlowsets) {
    Netflow_v9_Packet packet(9, 0, 0, 0, 0);
    packet.add_flowset(zero_records(3, 0));
    EXPECT_EQ(packet.records_count(), 3u);
    packet.add_flowset(both_templates());
    EXPECT_EQ(packet.records_count(), 5u);
}

TEST(V9Packet, ClearDropsFlowsetsAndKeepsTheHeader) {
    Netflow_v9_Packet packet(9, 0x01020304, 0x05060708, 56, 1234);
    const std::string header = "00 09 00 00 01 02 03 04 05 06 07 08 00 00 00 38 00 00 04 d2";
    EXPECT_EQ(hex(serialized(packet)), header);
    packet.add_flowset(both_templates());
    packet.clear();
    EXPECT_EQ(packet.length(), 20u);
    EXPECT_EQ(packet.records_count(), 0u);
    EXPECT_EQ(hex(serialized(packet)), header);
}

TEST(V9Packet, CopiesAreDeep) {
    Netflow_v9_Packet original(9, 0, 0, 0, 0);
    original.add_flowset(both_templates());
    Netflow_v9_Packet copy(original);
    copy.add_flowset(zero_records(1, 4));
    original.clear();
    EXPECT_EQ(copy.length(), 20u + 124u + 8u);
    EXPECT_EQ(parse_v9(serialized(copy)).flowsets.size(), 2u);
}

TEST(V9Packet, UpdateTimeCarriesTheSecondsSinceTheLastCall) {
    Netflow_v9_Packet packet(9, 999, 0, 0, 0);
    const auto before = static_cast<uint32_t>(time(nullptr));
    packet.update_time();
    const auto after = static_cast<uint32_t>(time(nullptr));
    EXPECT_GE(packet.get_sys_uptime(), before);
    EXPECT_LE(packet.get_sys_uptime(), after);
    EXPECT_EQ(packet.get_unix_secs(), packet.get_sys_uptime());
    // Within one second of the first call the difference is 0 or 1.
    packet.update_time();
    EXPECT_LE(packet.get_sys_uptime(), 1u);
}

}  // namespace
}  // namespace Strell
