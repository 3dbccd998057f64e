#include "generator/netflow_v9_packet.h"

#include <gtest/gtest.h>

#include <ctime>
#include <vector>

#include "generator/raw_data.h"
#include "generator/strell_record.h"
#include "v9_datagram.h"

namespace Strell {
namespace {

using StrellTest::hex;
using StrellTest::parse_v9;

std::vector<uint8_t> bytes_of(const Netflow_v9_Packet& packet) {
    RawData out;
    packet.serialize(out);
    return std::vector<uint8_t>(out.data(), out.data() + out.size());
}

std::vector<DataField> padding_fields(size_t total) {
    std::vector<DataField> fields;
    const unsigned char zeros[16] = {};
    for (; total >= 16; total -= 16) fields.emplace_back(zeros, 16);
    if (total != 0) fields.emplace_back(zeros, total);
    return fields;
}

Vorn::TrafficFlowRecord zero_flow(Vorn::IP_address::Family family) {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = flow.d_addr = flow.nexthop_addr = Vorn::make_any_ip(family);
    return flow;
}

FlowsetStorage<TemplateFlowsetRecords> both_templates() {
    FlowsetStorage<TemplateFlowsetRecords> templates(0);
    templates.records.add_record(256, StrellRecord(zero_flow(Vorn::IP_address::IPv4)).fields());
    templates.records.add_record(257, StrellRecord(zero_flow(Vorn::IP_address::IPv6)).fields());
    return templates;
}

TEST(V9Packet, EmptyPacketIsTheTwentyByteHeader) {
    const Netflow_v9_Packet packet(9, 0x01020304, 0x05060708, 56, 1234);
    EXPECT_EQ(packet.length(), 20u);
    EXPECT_EQ(hex(bytes_of(packet)), "00 09 00 00 01 02 03 04 05 06 07 08 00 00 00 38 00 00 04 d2");
}

TEST(V9Packet, TwoTemplatesAndThreeIPv4RecordsMake268Bytes) {
    Netflow_v9_Packet packet(9, 0, 0, 56, 1234);
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = Vorn::IP_address::from_string("10.0.0.1");
    flow.sport = 0x1234;
    FlowsetStorage<DataFlowsetRecords> data(256);
    for (int i = 0; i < 3; ++i) data.records.add_record(StrellRecord(flow).data());
    packet.add_flowset(data);
    packet.add_flowset(both_templates());

    const auto bytes = bytes_of(packet);
    ASSERT_EQ(bytes.size(), 268u);
    EXPECT_EQ(packet.length(), 268u);
    const auto parsed = parse_v9(bytes);
    EXPECT_EQ(parsed.count, 5u);
    ASSERT_EQ(parsed.flowsets.size(), 2u);
    // Templates first, whatever the order they were added in.
    EXPECT_EQ(parsed.flowsets[0].id, 0u);
    EXPECT_EQ(parsed.flowsets[0].length, 124u);
    EXPECT_EQ(hex(std::vector<uint8_t>(parsed.flowsets[0].body.begin(), parsed.flowsets[0].body.begin() + 16)),
              "01 00 00 0e 00 08 00 04 00 0c 00 04 00 3e 00 04");
    EXPECT_EQ(parsed.flowsets[1].id, 256u);
    EXPECT_EQ(parsed.flowsets[1].length, 124u);
    EXPECT_EQ(data.flowset_length, 0u);  // the packet holds its own copy
    // First record: 10.0.0.1, 0.0.0.0, next hop, then the source port; last 3 bytes are padding.
    EXPECT_EQ(hex(std::vector<uint8_t>(parsed.flowsets[1].body.begin(), parsed.flowsets[1].body.begin() + 14)),
              "0a 00 00 01 00 00 00 00 00 00 00 00 12 34");
    EXPECT_EQ(hex(std::vector<uint8_t>(parsed.flowsets[1].body.end() - 3, parsed.flowsets[1].body.end())),
              "00 00 00");
}

TEST(V9Packet, DataFlowsetsArePaddedToFourBytes) {
    const struct {
        size_t data_bytes;
        size_t flowset_length;
    } cases[] = {{39, 44}, {78, 84}, {75, 80}, {40, 44}, {0, 4}};
    for (const auto& c : cases) {
        FlowsetStorage<DataFlowsetRecords> flowset(256);
        if (c.data_bytes != 0) flowset.records.add_record(padding_fields(c.data_bytes));
        Netflow_v9_Packet packet(9, 0, 0, 0, 0);
        packet.add_flowset(flowset);
        const auto bytes = bytes_of(packet);
        EXPECT_EQ(bytes.size(), 20 + c.flowset_length) << c.data_bytes;
        EXPECT_EQ(parse_v9(bytes).flowsets.at(0).length, c.flowset_length) << c.data_bytes;
        EXPECT_EQ(packet.length(), bytes.size()) << c.data_bytes;
    }
}

TEST(V9Packet, HeaderCountCountsRecordsNotFlowsets) {
    Netflow_v9_Packet packet(9, 0, 0, 0, 0);
    FlowsetStorage<DataFlowsetRecords> data(256);
    for (int i = 0; i < 3; ++i) data.records.add_record({});
    packet.add_flowset(data);
    EXPECT_EQ(packet.records_count(), 3u);
    packet.add_flowset(both_templates());
    EXPECT_EQ(packet.records_count(), 5u);
}

TEST(V9Packet, ClearDropsFlowsetsAndKeepsTheHeader) {
    Netflow_v9_Packet packet(9, 7, 8, 56, 1234);
    packet.add_flowset(both_templates());
    packet.clear();
    EXPECT_EQ(packet.length(), 20u);
    EXPECT_EQ(packet.records_count(), 0u);
    EXPECT_EQ(hex(bytes_of(packet)), "00 09 00 00 00 00 00 07 00 00 00 08 00 00 00 38 00 00 04 d2");
}

TEST(V9Packet, CopiesAreDeep) {
    Netflow_v9_Packet original(9, 0, 0, 0, 0);
    original.add_flowset(both_templates());
    Netflow_v9_Packet copy(original);
    FlowsetStorage<DataFlowsetRecords> data(256);
    data.records.add_record(padding_fields(4));
    copy.add_flowset(data);
    original.clear();
    EXPECT_EQ(copy.length(), 20u + 124u + 8u);
    EXPECT_EQ(parse_v9(bytes_of(copy)).flowsets.size(), 2u);
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
