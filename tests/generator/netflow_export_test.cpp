// The packets and the packet managers, read on the wire by a receiver on the loopback.
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <thread>

#include "generator/netflow_v5_packet_manager.h"
#include "generator/netflow_v9_packet_manager.h"
#include "netflow_wire.h"

namespace Strell {
namespace {

using namespace StrellTest;
using namespace std::chrono_literals;
using Vorn::IP_address;

// Every field differs from the others.
Vorn::TrafficFlowRecord sample_flow(bool v6 = false) {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = IP_address::from_string(v6 ? "2001:db8::1" : "10.0.0.1");
    flow.d_addr = IP_address::from_string(v6 ? "2001:db8::2" : "192.168.1.2");
    flow.nexthop_addr = IP_address::from_string(v6 ? "fe80::1" : "10.0.0.254");
    std::tie(flow.iface, flow.oface, flow.d_pkt, flow.d_oct, flow.ts_first, flow.ts_last) =
        std::tuple(3, 4, 5, 0x1000, 0x11111111, 0x22222222);
    std::tie(flow.sport, flow.dport, flow.tcp_flags, flow.proto, flow.tos) = std::tuple(0x1234, 80, 0x1b, 6, 0x10);
    std::tie(flow.src_as, flow.dst_as, flow.src_mask, flow.dst_mask) = std::tuple(70000, 65001, 24, 16);
    return flow;
}

// Flow n: the low word of the source address and the source port carry n.
Vorn::TrafficFlowRecord flow_of(int n, bool v6 = false) {
    Vorn::TrafficFlowRecord flow = sample_flow(v6);
    v6 ? flow.s_addr.from_int(0x20010db800000000L, n) : flow.s_addr.from_int(0x0a000000 + n);
    flow.sport = static_cast<uint16_t>(n);
    return flow;
}

class PacketManager : public testing::Test {
protected:
    void start(NetflowPacketManager& manager, int delay = 0) {
        testing::internal::CaptureStdout();
        manager.init({IP_address::from_string("127.0.0.1"), receiver_.port()}, delay);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Send packets to host: 127.0.0.1 ; port: " + std::to_string(receiver_.port()) + "\n");
        started_ = static_cast<uint32_t>(time(nullptr));
    }
    // The first send puts the epoch seconds into SysUptime (unix_secs starts
    // at 0), every later one the seconds since the previous send.
    void expect_times(size_t index, uint32_t sys_uptime, uint32_t unix_secs) const {
        const auto now = static_cast<uint32_t>(time(nullptr));
        EXPECT_TRUE(unix_secs >= started_ && unix_secs <= now) << unix_secs;
        EXPECT_TRUE(index == 0 ? sys_uptime == unix_secs : sys_uptime <= now - started_) << sys_uptime;
    }
    void expect_v5_headers(const std::vector<Datagram>& datagrams) const {
        for (size_t i = 0; i < datagrams.size(); ++i) {
            const V5Header header = v5_header(datagrams[i]);
            EXPECT_EQ(datagrams[i].size(), 24 + 48 * header.count);
            EXPECT_EQ(std::tie(header.version, header.sequence, header.unix_nsecs, header.engine),
                      std::make_tuple(5u, 56u, 0u, 0u));
            expect_times(i, header.sys_uptime, header.unix_secs);
        }
    }

    UdpReceiver receiver_;
    uint32_t started_ = 0;
};

TEST(V5Packet, HeaderAndFlowRecordWireBytes) {
    Netflow_v5_Packet packet(5, 0x01020304, 0x05060708, 56, "");
    packet.add_record(sample_flow());
    RawData out;
    packet.serialize(out);
    // src_as 70000 keeps its lower 16 bits: 0x1170.
    EXPECT_EQ(hex({out.data(), out.data() + out.size()}),
              "00 05 00 01 01 02 03 04 05 06 07 08 00 00 00 00 00 00 00 38 00 00 00 00 "
              "0a 00 00 01 c0 a8 01 02 0a 00 00 fe 00 03 00 04 00 00 00 05 00 00 10 00 "
              "11 11 11 11 22 22 22 22 12 34 00 50 00 1b 06 10 11 70 fd e9 18 10 00 00");
}

TEST_F(PacketManager, V5SendsAtTheThirtiethIPv4FlowAndForcesOutTheRest) {
    Netflow_v5_PacketManager manager(5, 1000, 0, 56);
    start(manager);
    for (int i = 0; i < 10; ++i) manager.accumulate_and_send_packet(flow_of(i, true));  // skipped, not counted
    for (int i = 0; i < 29; ++i) manager.accumulate_and_send_packet(flow_of(i));
    EXPECT_FALSE(receiver_.receive(100ms));
    manager.accumulate_and_send_packet(flow_of(29));
    auto sent = receiver_.collect(200ms);
    EXPECT_EQ(sent.size(), 1u);
    for (int i = 30; i < 59; ++i) manager.accumulate_and_send_packet(flow_of(i));
    manager.force_sending();
    manager.force_sending();  // nothing left: nothing sent
    manager.send_packets(StrellRecord(), 65);  // one full packet sent twice, then 5 fresh records
    for (const Datagram& datagram : receiver_.collect(300ms)) sent.push_back(datagram);
    ASSERT_EQ(sent.size(), 5u);
    expect_v5_headers(sent);
    for (uint32_t i = 0; i < 59; ++i) EXPECT_EQ(be(sent[i / 30], 24 + 48 * (i % 30), 4), 0x0a000000u + i);
    EXPECT_EQ(sent[1].size(), 1416u);
    EXPECT_TRUE(std::equal(sent[2].begin() + 24, sent[2].end(), sent[3].begin() + 24));
    EXPECT_NE(v5_record(sent[4], 0), v5_record(sent[2], 0));
    EXPECT_EQ(v5_header(sent[4]).count, 5u);
}

TEST_F(PacketManager, V5DelayPrecedesEverySendButNotAnEmptyForce) {
    Netflow_v5_PacketManager manager(5, 1000, 0, 56);
    start(manager, 150000);
    using Clock = std::chrono::steady_clock;
    // How long after the call began its datagram arrived.
    const auto arrival_after = [&](auto&& action) {
        Clock::time_point arrived{};
        std::thread receiving([&] { arrived = receiver_.receive(3s) ? Clock::now() : arrived; });
        const auto begin = Clock::now();
        action();
        receiving.join();
        return arrived - begin;
    };
    for (int i = 0; i < 29; ++i) manager.accumulate_and_send_packet(flow_of(i));
    EXPECT_GE(arrival_after([&] { manager.accumulate_and_send_packet(flow_of(29)); }), 150ms);
    manager.accumulate_and_send_packet(flow_of(30));
    EXPECT_GE(arrival_after([&] { manager.force_sending(); }), 150ms);
    const auto begin = Clock::now();
    manager.force_sending();
    EXPECT_LT(Clock::now() - begin, 100ms);
}

TEST_F(PacketManager, V9FirstDatagramCarriesTheTemplatesAndEachFamilysRecordsByteForByte) {
    Netflow_v9_PacketManager manager(9, 111, 0, 56, 1234);
    start(manager);
    manager.accumulate_and_send_packet(sample_flow(true));
    manager.accumulate_and_send_packet(sample_flow());
    manager.force_sending();
    const auto datagrams = receiver_.collect(300ms);
    ASSERT_EQ(datagrams.size(), 1u);
    const V9Datagram packet = parse_v9(datagrams[0]);
    EXPECT_EQ(packet.count, 4u);
    ASSERT_EQ(packet.flowsets.size(), 3u);
    const std::string v4 = "00 08 00 04 00 0c 00 04 00 3e 00 04 00 07 00 02 00 0b 00 02 00 10 00 04 00 11 00 04 "
                           "00 0a 00 02 00 0e 00 02 00 01 00 04 00 02 00 04 00 05 00 01 00 06 00 01 00 04 00 01";
    EXPECT_EQ(packet.flowsets[0].id, 0u);
    EXPECT_EQ(hex(packet.flowsets[0].body), "01 00 00 0e " + v4 + " 01 01 00 0e 00 1b 00 10 00 1c 00 10 00 3e 00 10" + v4.substr(35));
    // 256 before 257 whatever the arrival order; each padded to 4 bytes.
    const std::string rest = "12 34 00 50 00 01 11 70 00 00 fd e9 00 03 00 04 00 00 10 00 00 00 00 05 10 1b 06 00";
    EXPECT_EQ(packet.flowsets[1].id, 256u);
    EXPECT_EQ(hex(packet.flowsets[1].body), "0a 00 00 01 c0 a8 01 02 0a 00 00 fe " + rest);
    EXPECT_EQ(packet.flowsets[2].id, 257u);
    EXPECT_EQ(hex(packet.flowsets[2].body), "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 20 01 0d b8 00 00 00 00 "
                                            "00 00 00 00 00 00 00 02 fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 01 " + rest);
}

TEST_F(PacketManager, V9FillsDatagramsUpTo1500BytesWithTheTemplatesInTheFirstOnly) {
    const struct {
        const char* traffic;
        std::vector<std::pair<int, bool>> runs;  // flows, IPv6
        std::vector<size_t> sizes;
    } cases[] = {
        {"IPv4: 34 records beside the templates, then 37", {{76, false}}, {1476, 1468, 20 + 4 + 5 * 39 + 1}},
        {"IPv6: 18, then 19", {{38, true}}, {1500, 1452, 20 + 4 + 76}},
        {"a flow of the other family that does not fit", {{34, false}, {1, true}}, {1476, 20 + 4 + 76}},
        {"no flow: the templates alone, once", {}, {144}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.traffic);
        Netflow_v9_PacketManager manager(9, 111, 0, 56, 1234);
        start(manager);
        for (const auto& [flows, v6] : c.runs) {
            for (int i = 0; i < flows; ++i) manager.accumulate_and_send_packet(flow_of(i, v6));
        }
        manager.force_sending();
        manager.force_sending();
        const auto datagrams = receiver_.collect(300ms);
        std::vector<size_t> sizes;
        for (size_t d = 0; d < datagrams.size(); ++d) {
            sizes.push_back(datagrams[d].size());
            const V9Datagram packet = parse_v9(datagrams[d]);
            EXPECT_EQ(std::tie(packet.version, packet.sequence, packet.source_id), std::make_tuple(9u, 56u, 1234u));
            expect_times(d, packet.sys_uptime, packet.unix_secs);
            EXPECT_EQ(packet.flowsets.at(0).id == 0, d == 0);
        }
        EXPECT_EQ(sizes, c.sizes);
    }
}

TEST_F(PacketManager, V9LongMixedRunDeliversEveryFlowOnceAndInOrder) {
    Netflow_v9_PacketManager manager(9, 111, 0, 56, 1234);
    start(manager);
    // Runs of either family of varying length, so that flowsets of both ids open and close in every order.
    std::vector<bool> v6;
    for (uint32_t state = 12345; v6.size() < 1500;) {
        state = state * 1103515245u + 12345u;
        v6.insert(v6.end(), 1 + (state >> 20) % 40, (state >> 16) % 3 == 0);
    }
    std::vector<int> expected[2], seen[2];
    for (size_t n = 0; n < v6.size(); ++n) {
        manager.accumulate_and_send_packet(flow_of(static_cast<int>(n), v6[n]));
        expected[v6[n]].push_back(static_cast<int>(n));
    }
    manager.force_sending();
    int last_sent = -1;
    for (const Datagram& datagram : receiver_.collect(300ms)) {
        EXPECT_LE(datagram.size(), 1500u);
        int first = INT32_MAX, last = -1;
        for (const V9Flowset& flowset : parse_v9(datagram).flowsets) {
            const bool family_v6 = flowset.id == 257;
            const size_t size = family_v6 ? 75 : 39;
            for (size_t at = 0; flowset.id != 0 && at + size <= flowset.body.size(); at += size) {
                const int n = static_cast<int>(be(flowset.body, at + (family_v6 ? 48 : 12), 2));
                EXPECT_EQ(be(flowset.body, at + (family_v6 ? 12 : 0), 4), family_v6 ? uint32_t(n) : 0x0a000000u + n);
                seen[family_v6].push_back(n);
                std::tie(first, last) = std::make_pair(std::min(first, n), std::max(last, n));
            }
        }
        EXPECT_GT(first, last_sent) << "flows out of order across datagrams";
        last_sent = last;
    }
    EXPECT_EQ(seen[0], expected[0]);
    EXPECT_EQ(seen[1], expected[1]);
}

TEST(V5PacketDeathTest, AddressFieldOfAnotherSizeEndsTheProcess) {
    StrellRecord fields;
    fields.add_field<unsigned short>(62, 2, 1);
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), Netflow_v5_Packet(5, 0, 0, 56, "").add_record(fields)),
                testing::ExitedWithCode(1), "^Error: Incorrect size of IP address\n$");
}

}  // namespace
}  // namespace Strell
