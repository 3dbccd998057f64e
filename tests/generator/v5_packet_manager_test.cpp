#include "generator/netflow_v5_packet_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <string>
#include <thread>

#include "udp_receiver.h"
#include "v5_datagram.h"

namespace Strell {
namespace {

using namespace std::chrono_literals;
using StrellTest::be;
using StrellTest::Datagram;
using StrellTest::UdpReceiver;
using Vorn::IP_address;

Vorn::TrafficFlowRecord ipv4_flow(int n) {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr.from_int(0x0a000000 + n);
    flow.d_addr.from_int(0x0a010000 + n);
    return flow;
}

Vorn::TrafficFlowRecord ipv6_flow() {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = IP_address::from_string("2001:db8::1");
    flow.d_addr = IP_address::from_string("2001:db8::2");
    flow.nexthop_addr = IP_address::from_string("2001:db8::3");
    return flow;
}

// The source address of record i, which ipv4_flow numbers.
uint32_t source_of(const Datagram& datagram, size_t i) { return be(datagram, 24 + 48 * i, 4); }

class V5PacketManager : public testing::Test {
protected:
    void start(int delay = 0) {
        testing::internal::CaptureStdout();
        manager_.init(Vorn::Socket::Endpoint{IP_address::from_string("127.0.0.1"), receiver_.port()}, delay);
        announcement_ = testing::internal::GetCapturedStdout();
    }

    // A datagram must carry the manager's header values and its own size.
    Datagram expect_datagram(unsigned records) {
        auto datagram = receiver_.receive(2s);
        if (!datagram) {
            ADD_FAILURE() << "no datagram";
            return {};
        }
        EXPECT_EQ(datagram->size(), 24 + 48 * records);
        const auto header = StrellTest::v5_header(*datagram);
        EXPECT_EQ(header.version, 5u);
        EXPECT_EQ(header.count, records);
        EXPECT_EQ(header.flow_sequence, 56u);
        EXPECT_EQ(header.unix_nsecs, 0u);
        EXPECT_EQ(header.engine, 0u);
        return *datagram;
    }

    void expect_nothing_sent() { EXPECT_FALSE(receiver_.receive(100ms).has_value()); }

    UdpReceiver receiver_;
    Netflow_v5_PacketManager manager_{5, 1000, 0, 56};
    std::string announcement_;
};

TEST_F(V5PacketManager, InitAnnouncesTheCollector) {
    start();
    EXPECT_EQ(announcement_, "Send packets to host: 127.0.0.1 ; port: " + std::to_string(receiver_.port()) + "\n");
}

TEST_F(V5PacketManager, TwentyNineFlowsWaitForForceSending) {
    start();
    for (int i = 0; i < 29; ++i) manager_.accumulate_and_send_packet(ipv4_flow(i));
    expect_nothing_sent();
    manager_.force_sending();
    const auto datagram = expect_datagram(29);
    EXPECT_EQ(datagram.size(), 1416u);
    manager_.force_sending();
    expect_nothing_sent();
}

TEST_F(V5PacketManager, ThirtiethFlowSendsAtOnceAndThe31stStartsAfresh) {
    start();
    for (int i = 0; i < 30; ++i) manager_.accumulate_and_send_packet(ipv4_flow(i));
    const auto full = expect_datagram(30);
    for (size_t i = 0; i < 30; ++i) EXPECT_EQ(source_of(full, i), 0x0a000000u + i);
    manager_.accumulate_and_send_packet(ipv4_flow(30));
    expect_nothing_sent();
    manager_.force_sending();
    EXPECT_EQ(source_of(expect_datagram(1), 0), 0x0a00001eu);
}

TEST_F(V5PacketManager, IPv6FlowsAreSkippedAndNotCounted) {
    start();
    for (int i = 0; i < 10; ++i) manager_.accumulate_and_send_packet(ipv6_flow());
    for (int i = 0; i < 29; ++i) manager_.accumulate_and_send_packet(ipv4_flow(i));
    expect_nothing_sent();
    manager_.accumulate_and_send_packet(ipv4_flow(29));
    expect_datagram(30);
    for (int i = 30; i < 35; ++i) manager_.accumulate_and_send_packet(ipv4_flow(i));
    manager_.force_sending();
    EXPECT_EQ(source_of(expect_datagram(5), 4), 0x0a000022u);
}

TEST_F(V5PacketManager, DelayPrecedesEverySendButNotAnEmptyForce) {
    start(150000);
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
    for (int i = 0; i < 29; ++i) manager_.accumulate_and_send_packet(ipv4_flow(i));
    EXPECT_GE(arrival_after([&] { manager_.accumulate_and_send_packet(ipv4_flow(29)); }), 150ms);
    manager_.accumulate_and_send_packet(ipv4_flow(30));
    EXPECT_GE(arrival_after([&] { manager_.force_sending(); }), 150ms);

    const auto begin = Clock::now();
    manager_.force_sending();
    EXPECT_LT(Clock::now() - begin, 100ms);
    expect_nothing_sent();
}

TEST_F(V5PacketManager, SendPacketsRepeatsOneFullPacketThenSendsFreshRest) {
    start();
    StrellRecord fields;
    fields.add_field<IP_address>(8, 4, IP_address::from_string("10.9.8.7"));
    const uint32_t before = static_cast<uint32_t>(time(nullptr));
    manager_.send_packets(fields, 65);
    const uint32_t after = static_cast<uint32_t>(time(nullptr));
    const auto first = expect_datagram(30);
    const auto second = expect_datagram(30);
    const auto rest = expect_datagram(5);
    expect_nothing_sent();

    EXPECT_TRUE(std::equal(first.begin() + 24, first.end(), second.begin() + 24));
    EXPECT_NE(StrellTest::v5_record(rest, 0), StrellTest::v5_record(first, 0));
    EXPECT_EQ(source_of(rest, 4), 0x0a090807u);
    // The first send after construction with unix_secs 0 puts the epoch
    // seconds into SysUptime; later ones the seconds since the previous send.
    const auto header = StrellTest::v5_header(first);
    EXPECT_GE(header.unix_secs, before);
    EXPECT_LE(header.unix_secs, after);
    EXPECT_EQ(header.sys_uptime, header.unix_secs);
    EXPECT_LE(StrellTest::v5_header(second).sys_uptime, after - before);
}

}  // namespace
}  // namespace Strell
