// The packets and the packet managers, read on the wire by a receiver on the loopback.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
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

// Flow n: the source address and the source port carry n.
Vorn::TrafficFlowRecord flow_of(int n, bool v6 = false) {
    Vorn::TrafficFlowRecord flow = sample_flow(v6);
    if (v6) {
        flow.s_addr.from_int(0x20010db800000000L, n);
    } else {
        flow.s_addr.from_int(0x0a000000 + n);
    }
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
    // The first send puts the epoch seconds into SysUptime (unix_secs starts at
    // 0), every later one the seconds since the previous send.
    void expect_times(size_t index, uint32_t sys_uptime, uint32_t unix_secs) const {
        const auto now = static_cast<uint32_t>(time(nullptr));
        EXPECT_TRUE(unix_secs >= started_ && unix_secs <= now) << unix_secs;
        EXPECT_LE(sys_uptime, index == 0 ? now : now - started_);
        EXPECT_GE(sys_uptime, index == 0 ? unix_secs : 0);
    }
    void expect_v5_header(const Datagram& datagram, size_t index) const {
        const V5Header header = v5_header(datagram);
        EXPECT_EQ(header.version, 5u);
        EXPECT_EQ(datagram.size(), 24 + 48 * header.count);
        EXPECT_EQ(header.sequence, 56u);
        EXPECT_EQ(header.unix_nsecs + header.engine, 0u);
        expect_times(index, header.sys_uptime, header.unix_secs);
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
    auto datagrams = receiver_.collect(200ms);
    for (int i = 30; i < 59; ++i) manager.accumulate_and_send_packet(flow_of(i));
    manager.force_sending();
    manager.force_sending();  // nothing left: nothing sent
    for (Datagram& datagram : receiver_.collect(300ms)) datagrams.push_back(datagram);
    ASSERT_EQ(datagrams.size(), 2u);
    EXPECT_EQ(datagrams[0].size(), 1464u);
    EXPECT_EQ(datagrams[1].size(), 1416u);
    uint32_t n = 0;
    for (size_t d = 0; d < datagrams.size(); ++d) {
        expect_v5_header(datagrams[d], d);
        for (size_t i = 0; i < v5_header(datagrams[d]).count; ++i) EXPECT_EQ(be(datagrams[d], 24 + 48 * i, 4), 0x0a000000 + n++);
    }
    EXPECT_EQ(n, 59u);
}

TEST_F(PacketManager, V5DelayPrecedesEverySendButNotAnEmptyForce) {
    Netflow_v5_PacketManager manager(5, 1000, 0, 56);
    start(manager, 150000);
    using Clock = std::chrono::steady_clock;
    // How long after the call began its datagram arrived: the sleep must come first.
    const auto arrival_after = [&](auto&& action) {
        Clock::time_point arrived{};
        std::thread receiving([&] {
            if (receiver_.receive(3s)) arrived = Clock::now();
        });
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
    EXPECT_FALSE(receiver_.receive(100ms));
}

TEST_F(PacketManager, V5SendPacketsRepeatsOneFullPacketThenSendsAFreshRest) {
    Netflow_v5_PacketManager manager(5, 1000, 0, 56);
    start(manager);
    StrellRecord fields;
    fields.add_field<IP_address>(8, 4, IP_address::from_string("10.9.8.7"));
    manager.send_packets(fields, 65);
    const auto datagrams = receiver_.collect(300ms);
    ASSERT_EQ(datagrams.size(), 3u);
    for (size_t d = 0; d < 3; ++d) expect_v5_header(datagrams[d], d);
    EXPECT_EQ(v5_header(datagrams[2]).count, 5u);
    EXPECT_TRUE(std::equal(datagrams[0].begin() + 24, datagrams[0].end(), datagrams[1].begin() + 24));
    EXPECT_NE(v5_record(datagrams[2], 0), v5_record(datagrams[0], 0));
    EXPECT_EQ(be(datagrams[2], 24 + 48 * 4, 4), 0x0a090807u);
}

TEST_F(PacketManager, V9FirstDatagramCarriesTheTemplatesAndEachFamilysRecordsByteForByte) {
    Netflow_v9_PacketManager manager(9, 111, 0, 56, 1234);
    start(manager);
    manager.accumulate_and_send_packet(sample_flow(true));
    manager.accumulate_and_send_packet(sample_flow());
    manager.force_sending();
    manager.force_sending();  // the templates went out: nothing to send
    const auto datagrams = receiver_.collect(300ms);
    ASSERT_EQ(datagrams.size(), 1u);
    const V9Datagram packet = parse_v9(datagrams[0]);
    EXPECT_EQ(packet.count, 4u);
    ASSERT_EQ(packet.flowsets.size(), 3u);
    const std::string v4_template =
        "00 08 00 04 00 0c 00 04 00 3e 00 04 00 07 00 02 00 0b 00 02 00 10 00 04 00 11 00 04 "
        "00 0a 00 02 00 0e 00 02 00 01 00 04 00 02 00 04 00 05 00 01 00 06 00 01 00 04 00 01";
    const std::string v6_template = "00 1b 00 10 00 1c 00 10 00 3e 00 10" + v4_template.substr(35);
    EXPECT_EQ(packet.flowsets[0].id, 0u);
    EXPECT_EQ(hex(packet.flowsets[0].body), "01 00 00 0e " + v4_template + " 01 01 00 0e " + v6_template);
    // 256 before 257 whatever the arrival order; each padded to 4 bytes.
    EXPECT_EQ(packet.flowsets[1].id, 256u);
    EXPECT_EQ(hex(packet.flowsets[1].body), "0a 00 00 01 c0 a8 01 02 0a 00 00 fe 12 34 00 50 00 01 11 70 "
                                            "00 00 fd e9 00 03 00 04 00 00 10 00 00 00 00 05 10 1b 06 00");
    EXPECT_EQ(packet.flowsets[2].id, 257u);
    EXPECT_EQ(hex(packet.flowsets[2].body), "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 "
                                            "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 02 "
                                            "fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 01 12 34 00 50 00 01 11 70 "
                                            "00 00 fd e9 00 03 00 04 00 00 10 00 00 00 00 05 10 1b 06 00");
}

TEST_F(PacketManager, V9FillsDatagramsUpTo1500BytesTemplatesInTheFirstOnly) {
    const struct {
        const char* traffic;
        std::vector<std::pair<int, bool>> runs;  // flows, IPv6
        std::vector<size_t> sizes;
    } cases[] = {
        {"IPv4: 34 records beside the templates, then 37", {{76, false}}, {1476, 1468, 20 + 4 + 5 * 39 + 1}},
        {"IPv6: 18, then 19", {{38, true}}, {1500, 1452, 20 + 4 + 76}},
        {"a flow of the other family that does not fit", {{34, false}, {1, true}}, {1476, 20 + 4 + 76}},
        {"no flow: the templates alone", {}, {144}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.traffic);
        Netflow_v9_PacketManager manager(9, 111, 0, 56, 1234);
        start(manager);
        for (const auto& [flows, v6] : c.runs) {
            for (int i = 0; i < flows; ++i) manager.accumulate_and_send_packet(flow_of(i, v6));
        }
        manager.force_sending();
        const auto datagrams = receiver_.collect(300ms);
        std::vector<size_t> sizes;
        for (size_t d = 0; d < datagrams.size(); ++d) {
            sizes.push_back(datagrams[d].size());
            const V9Datagram packet = parse_v9(datagrams[d]);
            EXPECT_EQ(packet.version, 9u);
            EXPECT_EQ(packet.sequence, 56u);
            EXPECT_EQ(packet.source_id, 1234u);
            expect_times(d, packet.sys_uptime, packet.unix_secs);
            ASSERT_FALSE(packet.flowsets.empty());
            EXPECT_EQ(packet.flowsets[0].id == 0, d == 0);
        }
        EXPECT_EQ(sizes, c.sizes);
    }
}

TEST_F(PacketManager, V9LongMixedRunDeliversEveryFlowOnceAndInOrder) {
    Netflow_v9_PacketManager manager(9, 111, 0, 56, 1234);
    start(manager);
    // Runs of either family of varying length, so that flowsets of both ids
    // open and close in every order.
    std::vector<bool> v6;
    uint32_t state = 12345;
    while (v6.size() < 1500) {
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
        int previous_id = -1;
        for (const V9Flowset& flowset : parse_v9(datagram).flowsets) {
            EXPECT_GT(static_cast<int>(flowset.id), previous_id);
            previous_id = static_cast<int>(flowset.id);
            if (flowset.id == 0) {
                EXPECT_EQ(last_sent, -1) << "templates after the first datagram";
                continue;
            }
            const bool family_v6 = flowset.id == 257;
            const size_t size = family_v6 ? 75 : 39, port_at = family_v6 ? 48 : 12;
            EXPECT_LT(flowset.body.size() - flowset.body.size() / size * size, 4u);
            for (size_t at = 0; at + size <= flowset.body.size(); at += size) {
                const int n = static_cast<int>(be(flowset.body, at + port_at, 2));
                EXPECT_EQ(be(flowset.body, at + (family_v6 ? 12 : 0), 4), family_v6 ? uint32_t(n) : 0x0a000000u + n) << n;
                seen[family_v6].push_back(n);
                first = std::min(first, n);
                last = std::max(last, n);
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
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);  // the message goes to standard output
            Netflow_v5_Packet(5, 0, 0, 56, "").add_record(fields);
        },
        testing::ExitedWithCode(1), "^Error: Incorrect size of IP address\n$");
}

}  // namespace
}  // namespace Strell
