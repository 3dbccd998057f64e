#include "generator/strell_record.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <utility>
#include <vector>

#include "generator/raw_data.h"
#include "v5_datagram.h"

namespace Strell {
namespace {

using Vorn::IP_address;

std::vector<std::pair<int, int>> template_of(const StrellRecord& record) {
    std::vector<std::pair<int, int>> entries;
    for (const TemplateField& field : record.fields()) entries.emplace_back(field.type, field.length);
    return entries;
}

std::string serialized_data(const StrellRecord& record) {
    RawData out;
    for (const DataField& field : record.data()) field.serialize(out);
    return StrellTest::hex({out.data(), out.data() + out.size()});
}

Vorn::TrafficFlowRecord flow_of(const char* source, const char* destination, const char* nexthop) {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = IP_address::from_string(source);
    flow.d_addr = IP_address::from_string(destination);
    flow.nexthop_addr = IP_address::from_string(nexthop);
    flow.sport = 0x1234;
    flow.dport = 80;
    flow.src_as = 70000;
    flow.dst_as = 1;
    flow.iface = 3;
    flow.oface = 4;
    flow.d_oct = 0x0a0b0c0d;
    flow.d_pkt = 7;
    flow.tos = 0x10;
    flow.tcp_flags = 0x02;
    flow.proto = 6;
    flow.ts_first = 0xffffffff;  // not exported
    flow.src_mask = 24;          // not exported
    return flow;
}

TEST(StrellRecord, IPv4FlowExportsFourteenFieldsIn39Bytes) {
    const StrellRecord record(flow_of("10.0.0.1", "10.0.0.2", "10.0.0.3"));
    const std::vector<std::pair<int, int>> expected = {{8, 4},  {12, 4}, {62, 4}, {7, 2}, {11, 2},
                                                       {16, 4}, {17, 4}, {10, 2}, {14, 2}, {1, 4},
                                                       {2, 4},  {5, 1},  {6, 1},  {4, 1}};
    EXPECT_EQ(template_of(record), expected);
    EXPECT_EQ(record.data_length(), 39u);
    EXPECT_EQ(serialized_data(record),
              "0a 00 00 01 0a 00 00 02 0a 00 00 03 12 34 00 50 00 01 11 70 00 00 00 01 "
              "00 03 00 04 0a 0b 0c 0d 00 00 00 07 10 02 06");
    size_t n = 0;
    const unsigned char* sport = record.data()[3].get_data(n);
    ASSERT_EQ(n, 2u);
    EXPECT_EQ(StrellTest::hex({sport, sport + 2}), "34 12");
}

TEST(StrellRecord, IPv6FlowExports75BytesWithHighHalfFirst) {
    const StrellRecord record(flow_of("2001:db8::1", "2001:db8::2", "fe80::1"));
    const auto entries = template_of(record);
    ASSERT_EQ(entries.size(), 14u);
    EXPECT_EQ(entries[0], std::make_pair(27, 16));
    EXPECT_EQ(entries[1], std::make_pair(28, 16));
    EXPECT_EQ(entries[2], std::make_pair(62, 16));
    EXPECT_EQ(record.data_length(), 75u);
    EXPECT_EQ(serialized_data(record).substr(0, 3 * 32 - 1),
              "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 "
              "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 02");
}

void build_with_stdout_on_stderr(const Vorn::TrafficFlowRecord& flow) {
    dup2(2, 1);
    StrellRecord record(flow);
}

TEST(StrellRecordDeathTest, MixedAddressFamiliesEndTheProcess) {
    EXPECT_EXIT(build_with_stdout_on_stderr(flow_of("10.0.0.1", "10.0.0.2", "::1")), testing::ExitedWithCode(1),
                "^Incorrect netflow data\n$");
    EXPECT_EXIT(build_with_stdout_on_stderr(flow_of("::1", "10.0.0.2", "::2")), testing::ExitedWithCode(1),
                "^Incorrect netflow data\n$");
}

TEST(StrellRecord, AnnouncedLengthDoesNotSizeTheValue) {
    StrellRecord record;
    EXPECT_EQ(record.data_length(), 0u);
    record.add_field<IP_address>(8, 4, IP_address::from_string("2001:db8::1"));
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
    const unsigned char* bytes = copy.get_data(n);
    EXPECT_EQ(StrellTest::hex({bytes, bytes + n}), "34 12");
}

}  // namespace
}  // namespace Strell
