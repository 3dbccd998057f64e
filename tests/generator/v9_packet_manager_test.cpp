#include "generator/netflow_v9_packet_manager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>
#include <vector>

#include "udp_receiver.h"
#include "v9_datagram.h"

namespace Strell {
namespace {

using namespace std::chrono_literals;
using StrellTest::Datagram;
using StrellTest::parse_v9;
using StrellTest::UdpReceiver;
using StrellTest::V9Datagram;
using Vorn::IP_address;

Vorn::TrafficFlowRecord ipv4_flow(int n) {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr.from_int(0x0a000000 + n);
    flow.d_addr.from_int(0x0a010000 + n);
    flow.sport = static_cast<uint16_t>(n);
    return flow;
}

Vorn::TrafficFlowRecord ipv6_flow(int n) {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr.from_int(0x20010db800000000L, n);
    flow.d_addr = IP_address::from_string("2001:db8::2");
    flow.nexthop_addr = IP_address::from_string("::");
    return flow;
}

class V9PacketManager : public testing::Test {
protected:
    V9PacketManager() : manager_(9, 111, 0, 56, 1234) {
        testing::internal::CaptureStdout();
        manager_.init(Vorn::Socket::Endpoint{IP_address::from_string("127.0.0.1"), receiver_.port()}, 0);
        testing::internal::GetCapturedStdout();
    }

    std::vector<V9Datagram> received(size_t expected) {
        std::vector<V9Datagram> out;
        for (const Datagram& d : receiver_.collect(expected + 1, 300ms, 5s)) {
            sizes_.push_back(d.size());
            out.push_back(parse_v9(d));
        }
        return out;
    }

    UdpReceiver receiver_{"127.0.0.1", 4 << 20};
    Netflow_v9_PacketManager manager_;
    std::vector<size_t> sizes_;
};

TEST_F(V9PacketManager, IPv4FlowsFill34RecordsFirstThen37) {
    for (int i = 0; i < 34 + 37 + 5; ++i) manager_.accumulate_and_send_packet(ipv4_flow(i));
    manager_.force_sending();
    const auto packets = received(3);
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(sizes_, (std::vector<size_t>{1476, 1468, 20 + 4 + 5 * 39 + 1}));
    EXPECT_EQ(packets[0].count, 2u + 34u);
    EXPECT_EQ(packets[1].count, 37u);
    EXPECT_EQ(packets[2].count, 5u);
    // Records go out in arrival order: the 35th flow opens the second packet.
    EXPECT_EQ(StrellTest::be(packets[1].flowsets.at(0).body, 12, 2), 34u);
}

TEST_F(V9PacketManager, IPv6FlowsFill18RecordsFirstThen19) {
    for (int i = 0; i < 18 + 19 + 1; ++i) manager_.accumulate_and_send_packet(ipv6_flow(i));
    manager_.force_sending();
    const auto packets = received(3);
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(sizes_, (std::vector<size_t>{1500, 1452, 20 + 4 + 76}));
    EXPECT_EQ(packets[0].flowsets.at(1).id, 257u);
    EXPECT_EQ(packets[1].count, 19u);
}

TEST_F(V9PacketManager, TemplatesTravelInTheFirstPacketOnly) {
    for (int i = 0; i < 40; ++i) manager_.accumulate_and_send_packet(ipv4_flow(i));
    manager_.force_sending();
    const auto packets = received(2);
    ASSERT_EQ(packets.size(), 2u);
    ASSERT_EQ(packets[0].flowsets.size(), 2u);
    EXPECT_EQ(packets[0].flowsets[0].id, 0u);
    EXPECT_EQ(packets[0].flowsets[0].length, 124u);
    ASSERT_EQ(packets[1].flowsets.size(), 1u);
    EXPECT_EQ(packets[1].flowsets[0].id, 256u);
}

TEST_F(V9PacketManager, MixedTrafficPutsFlowset256Before257) {
    manager_.accumulate_and_send_packet(ipv6_flow(1));
    manager_.accumulate_and_send_packet(ipv4_flow(1));
    manager_.accumulate_and_send_packet(ipv6_flow(2));
    manager_.force_sending();
    const auto packets = received(1);
    ASSERT_EQ(packets.size(), 1u);
    ASSERT_EQ(packets[0].flowsets.size(), 3u);
    EXPECT_EQ(packets[0].flowsets[1].id, 256u);
    EXPECT_EQ(packets[0].flowsets[1].length, 44u);
    EXPECT_EQ(packets[0].flowsets[2].id, 257u);
    EXPECT_EQ(packets[0].flowsets[2].length, 4u + 150u + 2u);
    EXPECT_EQ(packets[0].count, 5u);
}

TEST_F(V9PacketManager, ForceSendingFreshManagerSendsTemplatesOnce) {
    manager_.force_sending();
    manager_.force_sending();
    const auto packets = received(1);
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(sizes_.at(0), 144u);
    EXPECT_EQ(packets[0].count, 2u);
}

TEST_F(V9PacketManager, HeaderCarriesFixedSequenceAndSourceIdAndSecondsSinceLastSend) {
    const auto before = static_cast<uint32_t>(time(nullptr));
    for (int i = 0; i < 34 + 37; ++i) manager_.accumulate_and_send_packet(ipv4_flow(i));
    manager_.force_sending();
    const auto after = static_cast<uint32_t>(time(nullptr));
    const auto packets = received(2);
    ASSERT_EQ(packets.size(), 2u);
    for (const auto& p : packets) {
        EXPECT_EQ(p.version, 9u);
        EXPECT_EQ(p.sequence, 56u);
        EXPECT_EQ(p.source_id, 1234u);
    }
    EXPECT_GE(packets[0].sys_uptime, before);
    EXPECT_LE(packets[0].sys_uptime, after);
    EXPECT_EQ(packets[0].unix_secs, packets[0].sys_uptime);
    EXPECT_LE(packets[1].sys_uptime, after - before);
}

TEST(V9PacketManagerDeath, MixedAddressFamiliesEndTheRun) {
    Vorn::TrafficFlowRecord flow = ipv4_flow(1);
    flow.nexthop_addr = IP_address::from_string("::1");
    EXPECT_EXIT(
        {
            Netflow_v9_PacketManager manager(9, 0, 0, 56, 1234);
            manager.accumulate_and_send_packet(flow);
        },
        testing::ExitedWithCode(1), "");
}

}  // namespace
}  // namespace Strell

namespace Strell {
namespace {

TEST_F(V9PacketManager, FlowOfTheOtherFamilyThatDoesNotFitOpensTheNextPacket) {
    for (int i = 0; i < 34; ++i) manager_.accumulate_and_send_packet(ipv4_flow(i));
    manager_.accumulate_and_send_packet(ipv6_flow(7));
    manager_.force_sending();
    const auto packets = received(2);
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(sizes_, (std::vector<size_t>{1476, 20 + 4 + 76}));
    ASSERT_EQ(packets[1].flowsets.size(), 1u);
    EXPECT_EQ(packets[1].flowsets[0].id, 257u);
    EXPECT_EQ(packets[1].count, 1u);
}

}  // namespace
}  // namespace Strell
