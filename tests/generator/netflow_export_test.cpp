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
