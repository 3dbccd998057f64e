#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "generator/netflow_v5_packet_manager.h"
#include "generator/netflow_v9_packet_manager.h"
#include "test_support.h"

namespace Strell {
namespace {

using namespace std::chrono_literals;
using StrellTest::be;
using StrellTest::Datagram;
using StrellTest::parse_v9;
using Vorn::IP_address;

// Flow n: the source address and the source port carry n.
Vorn::TrafficFlowRecord flow_of(int n, bool v6 = false) {
    Vorn::TrafficFlowRecord flow;
    if (v6) {
        flow.s_addr.from_int(0x20010db800000000L + n, 0x1122334455667788L);
        flow.d_addr = IP_address::from_string("2001:db8::2");
        flow.nexthop_addr = IP_address::from_string("fe80::1");
    } else {
        flow.s_addr.from_int(0x0a000000 + n);
        flow.d_addr.from_int(0x0a010000 + n);
        flow.nexthop_addr.from_int(0x0a0000fe);
    }
    flow.sport = static_cast<uint16_t>(n);
    flow.src_as = 70000u + static_cast<uint32_t>(n);
    flow.d_pkt = static_cast<uint32_t>(n);
    flow.proto = 6;
    return flow;
}

// The managers send to a real receiver on the loopback.
class ManagerTest : public testing::Test {
protected:
    void start(NetflowPacketManager& manager, int delay = 0) {
        testing::internal::CaptureStdout();
        manager.init(Vorn::Socket::Endpoint{IP_address::from_string("127.0.0.1"), receiver_.port()}, delay);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Send packets to host: 127.0.0.1 ; port: " + std::to_string(receiver_.port()) + "\n");
    }
    std::vector<Datagram> received(size_t expected) { return receiver_.collect(expected + 1, 300ms, 10s); }
    void expect_nothing_sent() { EXPECT_FALSE(receiver_.receive(100ms).has_value()); }

    StrellTest::UdpReceiver receiver_{"127.0.0.1", 8 << 20};
};

class V5PacketManager : public ManagerTest {
protected:
    // A datagram must carry the manager's header values and its own size.
    Datagram expect_datagram(unsigned records) {
        const auto datagram = receiver_.receive(2s);
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
    static uint32_t source_of(const Datagram& datagram, size_t i) { return be(datagram, 24 + 48 * i, 4); }

    Netflow_v5_PacketManager manager_{5, 1000, 0, 56};
};

TEST_F(V5PacketManager, ThirtiethIPv4FlowSendsAtOnceTheRestWaitForForceSending) {
    start(manager_);
    for (int i = 0; i < 10; ++i) manager_.accumulate_and_send_packet(flow_of(i, true));  // skipped, not counted
    for (int i = 0; i < 29; ++i) manager_.accumulate_and_send_packet(flow_of(i));
    expect_nothing_sent();
    manager_.accumulate_and_send_packet(flow_of(29));
    const auto full = expect_datagram(30);
    for (size_t i = 0; i < 30; ++i) EXPECT_EQ(source_of(full, i), 0x0a000000u + i);
    for (int i = 30; i < 59; ++i) manager_.accumulate_and_send_packet(flow_of(i));
    expect_nothing_sent();
    manager_.force_sending();
    const auto rest = expect_datagram(29);
    EXPECT_EQ(rest.size(), 1416u);
    EXPECT_EQ(source_of(rest, 28), 0x0a000000u + 58);
    manager_.force_sending();
    expect_nothing_sent();
}

TEST_F(V5PacketManager, DelayPrecedesEverySendButNotAnEmptyForce) {
    start(manager_, 150000);
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
    for (int i = 0; i < 29; ++i) manager_.accumulate_and_send_packet(flow_of(i));
    EXPECT_GE(arrival_after([&] { manager_.accumulate_and_send_packet(flow_of(29)); }), 150ms);
    manager_.accumulate_and_send_packet(flow_of(30));
    EXPECT_GE(arrival_after([&] { manager_.force_sending(); }), 150ms);

    const auto begin = Clock::now();
    manager_.force_sending();
    EXPECT_LT(Clock::now() - begin, 100ms);
    expect_nothing_sent();
}

TEST_F(V5PacketManager, SendPacketsRepeatsOneFullPacketThenSendsFreshRest) {
    start(manager_);
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

class V9PacketManager : public ManagerTest {
protected:
    V9PacketManager() { start(manager_); }

    Netflow_v9_PacketManager manager_{9, 111, 0, 56, 1234};
};

std::vector<size_t> sizes_of(const std::vector<Datagram>& datagrams) {
    std::vector<size_t> sizes;
    for (const Datagram& d : datagrams) sizes.push_back(d.size());
    return sizes;
}

TEST_F(V9PacketManager, IPv4FlowsFill34RecordsBesideTheTemplatesThen37) {
    const auto before = static_cast<uint32_t>(time(nullptr));
    for (int i = 0; i < 34 + 37 + 5; ++i) manager_.accumulate_and_send_packet(flow_of(i));
    manager_.force_sending();
    const auto after = static_cast<uint32_t>(time(nullptr));
    const auto datagrams = received(3);
    ASSERT_EQ(sizes_of(datagrams), (std::vector<size_t>{1476, 1468, 20 + 4 + 5 * 39 + 1}));
    std::vector<StrellTest::V9Datagram> packets;
    for (const Datagram& d : datagrams) packets.push_back(parse_v9(d));
    EXPECT_EQ(packets[0].count, 2u + 34u);
    EXPECT_EQ(packets[1].count, 37u);
    EXPECT_EQ(packets[2].count, 5u);
    // The templates travel in the first packet only.
    ASSERT_EQ(packets[0].flowsets.size(), 2u);
    EXPECT_EQ(packets[0].flowsets[0].id, 0u);
    EXPECT_EQ(packets[0].flowsets[0].length, 124u);
    ASSERT_EQ(packets[1].flowsets.size(), 1u);
    EXPECT_EQ(packets[1].flowsets[0].id, 256u);
    // Records go out in arrival order: the 35th flow opens the second packet.
    EXPECT_EQ(be(packets[1].flowsets[0].body, 12, 2), 34u);
    for (const auto& p : packets) {
        EXPECT_EQ(p.version, 9u);
        EXPECT_EQ(p.sequence, 56u);
        EXPECT_EQ(p.source_id, 1234u);
    }
    // SysUptime: the epoch seconds first, then the seconds since the previous send.
    EXPECT_GE(packets[0].sys_uptime, before);
    EXPECT_LE(packets[0].sys_uptime, after);
    EXPECT_EQ(packets[0].unix_secs, packets[0].sys_uptime);
    EXPECT_LE(packets[1].sys_uptime, after - before);
}

TEST_F(V9PacketManager, IPv6FlowsFill18RecordsFirstThen19) {
    for (int i = 0; i < 18 + 19 + 1; ++i) manager_.accumulate_and_send_packet(flow_of(i, true));
    manager_.force_sending();
    const auto datagrams = received(3);
    ASSERT_EQ(sizes_of(datagrams), (std::vector<size_t>{1500, 1452, 20 + 4 + 76}));
    EXPECT_EQ(parse_v9(datagrams[0]).flowsets.at(1).id, 257u);
    EXPECT_EQ(parse_v9(datagrams[1]).count, 19u);
}

TEST_F(V9PacketManager, MixedTrafficPutsFlowset256Before257) {
    manager_.accumulate_and_send_packet(flow_of(1, true));
    manager_.accumulate_and_send_packet(flow_of(1));
    manager_.accumulate_and_send_packet(flow_of(2, true));
    manager_.force_sending();
    const auto datagrams = received(1);
    ASSERT_EQ(datagrams.size(), 1u);
    const auto packet = parse_v9(datagrams[0]);
    ASSERT_EQ(packet.flowsets.size(), 3u);
    EXPECT_EQ(packet.flowsets[1].id, 256u);
    EXPECT_EQ(packet.flowsets[1].length, 44u);
    EXPECT_EQ(packet.flowsets[2].id, 257u);
    EXPECT_EQ(packet.flowsets[2].length, 4u + 150u + 2u);
    EXPECT_EQ(packet.count, 5u);
}

TEST_F(V9PacketManager, ForceSendingFreshManagerSendsTemplatesOnce) {
    manager_.force_sending();
    manager_.force_sending();
    const auto datagrams = received(1);
    ASSERT_EQ(sizes_of(datagrams), std::vector<size_t>{144});
    EXPECT_EQ(parse_v9(datagrams[0]).count, 2u);
}

TEST_F(V9PacketManager, FlowOfTheOtherFamilyThatDoesNotFitOpensTheNextPacket) {
    for (int i = 0; i < 34; ++i) manager_.accumulate_and_send_packet(flow_of(i));
    manager_.accumulate_and_send_packet(flow_of(7, true));
    manager_.force_sending();
    const auto datagrams = received(2);
    ASSERT_EQ(sizes_of(datagrams), (std::vector<size_t>{1476, 20 + 4 + 76}));
    const auto second = parse_v9(datagrams[1]);
    ASSERT_EQ(second.flowsets.size(), 1u);
    EXPECT_EQ(second.flowsets[0].id, 257u);
    EXPECT_EQ(second.count, 1u);
}

// The packing rules, written out on their own: which flows each datagram
// carries, by template id, when flows arrive in this order.
using Packing = std::vector<std::map<uint32_t, std::vector<int>>>;

Packing expected_packing(const std::vector<bool>& v6_flags) {
    Packing datagrams;
    std::map<uint32_t, std::vector<int>> pending;
    const auto body = [](uint32_t id, size_t records) {
        const size_t data = records * (id == 257 ? 75 : 39);
        return data + (4 - data % 4) % 4;
    };
    const auto pending_length = [&] {
        size_t total = 0;
        for (const auto& [id, flows] : pending) total += body(id, flows.size()) + 4;
        return total % 65536;
    };
    const auto send = [&] {
        datagrams.push_back(pending);
        pending.clear();
    };
    for (size_t n = 0; n < v6_flags.size(); ++n) {
        const uint32_t id = v6_flags[n] ? 257 : 256;
        const size_t packet_length = datagrams.empty() ? 144 : 20;  // the templates in the first
        const auto found = pending.find(id);
        if (found != pending.end()) {
            if (packet_length + pending_length() + (id == 257 ? 75 : 39) <= 1500) {
                found->second.push_back(static_cast<int>(n));
                continue;
            }
            send();
        } else if (packet_length + 4 + pending_length() + body(id, 1) > 1500) {
            send();
        }
        pending[id].push_back(static_cast<int>(n));
    }
    if (!pending.empty() || datagrams.empty()) send();
    return datagrams;
}

TEST_F(V9PacketManager, LongMixedRunPacksLikeTheRulesSay) {
    // Runs of either family of varying length, so that sends come from both
    // size tests and flowsets of either id open and close in every order.
    std::vector<bool> v6_flags;
    uint32_t state = 12345;
    while (v6_flags.size() < 1500) {
        state = state * 1103515245u + 12345u;
        v6_flags.insert(v6_flags.end(), 1 + (state >> 20) % 40, (state >> 16) % 3 == 0);
    }
    for (size_t n = 0; n < v6_flags.size(); ++n) {
        manager_.accumulate_and_send_packet(flow_of(static_cast<int>(n), v6_flags[n]));
    }
    manager_.force_sending();

    const Packing expected = expected_packing(v6_flags);
    const auto datagrams = received(expected.size());
    ASSERT_EQ(datagrams.size(), expected.size());
    for (size_t d = 0; d < datagrams.size(); ++d) {
        SCOPED_TRACE("datagram " + std::to_string(d));
        EXPECT_LE(datagrams[d].size(), 1500u);
        std::map<uint32_t, std::vector<int>> carried;
        for (const auto& flowset : parse_v9(datagrams[d]).flowsets) {
            if (flowset.id == 0) continue;
            const size_t size = flowset.id == 257 ? 75 : 39;
            const size_t port_at = flowset.id == 257 ? 48 : 12;  // after the three addresses
            for (size_t at = 0; at + size <= flowset.body.size(); at += size) {
                carried[flowset.id].push_back(static_cast<int>(be(flowset.body, at + port_at, 2)));
            }
        }
        EXPECT_EQ(carried, expected[d]);
    }
}

}  // namespace
}  // namespace Strell
