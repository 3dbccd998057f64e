// The library side of the NetFlow export that strell's own runs do not reach.
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>

#include "generator/managers/netflow_v5_packet_manager.h"
#include "generator/netflow/raw_data.h"
#include "generator/netflow/strell_record.h"
#include "netflow_wire.h"

using namespace StrellTest;

// The values of a flow's StrellRecord, which strell itself sends from its wire bytes instead.
TEST(StrellRecord, DataOfAFlowHoldsItsValuesInTemplateOrder) {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = flow.d_addr = Vorn::IP_address::from_string("2001:db8::1");
    flow.nexthop_addr = Vorn::IP_address::from_string("fe80::1");
    std::tie(flow.sport, flow.src_as, flow.proto) = std::tuple(1, 3, 11);
    Strell::StrellRecord record{Vorn::TrafficFlowRecord()};
    record = Strell::StrellRecord(flow);  // a value: what it is assigned replaces all it held
    Strell::RawData out;
    for (const Strell::DataField& field : record.data()) field.serialize(out);
    EXPECT_EQ(hex({out.data(), out.data() + out.size()}),
              "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 fe 80 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 01 00 01 00 00 00 00 00 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0b");
}

TEST(Netflow_v5_Packet, AnAddressFieldNeither4Nor16BytesLongEndsTheProcess) {
    for (const unsigned short type : {27, 28, 62}) {
        Strell::StrellRecord record;
        record.add_field<unsigned short>(type, 2, 1);
        Strell::Netflow_v5_Packet packet(5, 0, 0, 56, "");
        // The message goes to standard output: send it where the death test looks.
        EXPECT_EXIT((dup2(2, 1), packet.add_record(record)), testing::ExitedWithCode(1), "^Error: Incorrect size of IP address\n$") << type;
    }
}

TEST(Netflow_v5_PacketManager, SendPackets65SendsOneFullPacketTwiceThenFiveNewRecords) {
    UdpReceiver receiver;
    Strell::Netflow_v5_PacketManager manager(5, 0, 0, 56);
    manager.init({Vorn::IP_address::from_string("127.0.0.1"), receiver.port()}, 0);
    Strell::StrellRecord record;
    record.add_field<unsigned int>(1, 4, 0x01020304);  // IN_BYTES; every other field random
    manager.send_packets(record, 65);
    const std::vector<Datagram> sent = receiver.collect(std::chrono::milliseconds(500));
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(std::make_tuple(sent[0].size(), sent[1].size(), sent[2].size()), std::make_tuple(24 + 30 * 48u, 24 + 30 * 48u, 24 + 5 * 48u));
    EXPECT_TRUE(std::equal(sent[0].begin() + 24, sent[0].end(), sent[1].begin() + 24)) << "the same records";
    EXPECT_NE(hex(sent[0], 24, 72), hex(sent[2], 24, 72)) << "fresh random bytes";
    // Each send takes the time anew: since the epoch first (unix_secs was 0), then since the previous send.
    EXPECT_NEAR(be(sent[0], 4, 4), time(nullptr), 60.0); EXPECT_LE(be(sent[1], 4, 4), 60u);
    for (const Datagram& d : sent)
        for (size_t at = 24; at < d.size(); at += 48) EXPECT_EQ(be(d, at + 20, 4), 0x01020304u);
}

// Each type the v5 packet lays over its random record lands where the v5 record has its field, most
// significant byte first; of two types for one field, the later in the overlay order wins, whatever
// the order of the fields in the record.
TEST(Netflow_v5_Packet, EachOverlaidTypeLandsInItsFieldAndTheLaterTypeWins) {
    const struct { unsigned short type; size_t at, width; } rows[] = {
        {8, 0, 4},   {12, 4, 4},  {15, 8, 4},  {10, 12, 2}, {14, 14, 2}, {2, 16, 4},  {24, 16, 4}, {1, 20, 4},  {23, 20, 4}, {22, 24, 4},
        {21, 28, 4}, {7, 32, 2},  {11, 34, 2}, {6, 37, 1},  {4, 38, 1},  {5, 39, 1},  {55, 39, 1}, {16, 40, 2}, {17, 42, 2}, {9, 44, 1}, {13, 45, 1}};
    const auto add = [](Strell::StrellRecord& record, unsigned short type, size_t width, uint32_t value) {
        if (width == 4) record.add_field<unsigned int>(type, 4, value);
        if (width == 2) record.add_field<unsigned short>(type, 2, static_cast<unsigned short>(value));
        if (width == 1) record.add_field<unsigned char>(type, static_cast<unsigned char>(value));
    };
    const auto record_bytes = [](const Strell::StrellRecord& record) {
        Strell::Netflow_v5_Packet packet(5, 0, 0, 56, "");
        packet.add_record(record);
        Strell::RawData out;
        packet.serialize(out);
        return Datagram(out.data() + 24, out.data() + out.size());
    };
    for (const auto& row : rows) {
        Strell::StrellRecord record;
        add(record, row.type, row.width, 0xa1a2a3a4);
        EXPECT_EQ(hex(record_bytes(record), row.at, row.at + row.width), hex({0xa1, 0xa2, 0xa3, 0xa4}, 4 - row.width)) << row.type;
    }
    Strell::StrellRecord both;
    add(both, 24, 4, 0x0b0b0b0b), add(both, 2, 4, 0x0a0a0a0a), add(both, 55, 1, 7), add(both, 5, 1, 6);
    EXPECT_EQ(hex(record_bytes(both), 16, 20) + " " + hex(record_bytes(both), 39, 40), "0b 0b 0b 0b 07");
}
