// The storage that the replay path reuses from flow to flow and from packet
// to packet must never let one flow or packet show through in the next.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "generator/byte_buffer.h"
#include "generator/data_flowset_records.h"
#include "generator/flowset_storage.h"
#include "generator/netflow_v9_packet.h"
#include "generator/netflow_v9_packet_manager.h"
#include "generator/raw_data.h"
#include "generator/strell_record.h"
#include "udp_receiver.h"
#include "v5_datagram.h"
#include "v9_datagram.h"

namespace Strell {
namespace {

using StrellTest::hex;
using Vorn::IP_address;

std::vector<uint8_t> bytes_of(const ByteBuffer& buffer) {
    return std::vector<uint8_t>(buffer.data(), buffer.data() + buffer.size());
}

template <typename T>
std::vector<uint8_t> serialized(const T& value) {
    RawData out;
    value.serialize(out);
    return std::vector<uint8_t>(out.data(), out.data() + out.size());
}

std::vector<uint8_t> serialized_fields(const StrellRecord& record) {
    RawData out;
    for (const DataField& field : record.data()) field.serialize(out);
    return std::vector<uint8_t>(out.data(), out.data() + out.size());
}

Vorn::TrafficFlowRecord flow_of(int n, bool v6) {
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
    flow.dport = static_cast<uint16_t>(n * 3);
    flow.src_as = 70000u + static_cast<uint32_t>(n);
    flow.dst_as = 65001;
    flow.iface = 3;
    flow.oface = 4;
    flow.d_oct = 1000u * static_cast<uint32_t>(n);
    flow.d_pkt = static_cast<uint32_t>(n);
    flow.tos = 16;
    flow.tcp_flags = 27;
    flow.proto = 6;
    return flow;
}

void expect_same_record(const StrellRecord& refilled, const StrellRecord& fresh) {
    ASSERT_EQ(refilled.fields().size(), fresh.fields().size());
    for (size_t i = 0; i < fresh.fields().size(); ++i) {
        EXPECT_EQ(refilled.fields()[i].type, fresh.fields()[i].type) << i;
        EXPECT_EQ(refilled.fields()[i].length, fresh.fields()[i].length) << i;
    }
    EXPECT_EQ(refilled.data_length(), fresh.data_length());
    EXPECT_EQ(hex(serialized_fields(refilled)), hex(serialized_fields(fresh)));
    EXPECT_EQ(hex(bytes_of(refilled.wire_bytes())), hex(serialized_fields(fresh)));
}

TEST(ByteBuffer, GrowsKeepingItsBytesAndCopiesDeeply) {
    ByteBuffer buffer;
    EXPECT_EQ(buffer.size(), 0u);
    for (int i = 0; i < 300; ++i) *buffer.extend(1) = static_cast<unsigned char>(i);
    ASSERT_EQ(buffer.size(), 300u);
    for (int i = 0; i < 300; ++i) ASSERT_EQ(buffer.data()[i], static_cast<unsigned char>(i)) << i;

    ByteBuffer copy(buffer);
    copy.extend(1)[0] = 0xee;
    EXPECT_EQ(buffer.size(), 300u);  // the original is untouched by the copy's growth
    EXPECT_EQ(copy.size(), 301u);
    EXPECT_EQ(copy.data()[299], static_cast<unsigned char>(299));

    ByteBuffer assigned;
    *assigned.extend(1) = 1;
    assigned = copy;
    EXPECT_EQ(bytes_of(assigned), bytes_of(copy));

    ByteBuffer moved(std::move(copy));
    EXPECT_EQ(moved.size(), 301u);
    EXPECT_EQ(copy.size(), 0u);  // a moved-from buffer is empty and usable
    *copy.extend(1) = 7;
    EXPECT_EQ(copy.data()[0], 7);

    buffer.clear();
    EXPECT_EQ(buffer.size(), 0u);
    *buffer.extend(1) = 9;
    EXPECT_EQ(buffer.data()[0], 9);
}

TEST(StrellRecordRefill, GivesWhatAFreshRecordHolds) {
    StrellRecord record;
    // Switch families both ways, so entries of 4 and 16 bytes replace each other.
    for (bool v6 : {true, false, false, true, false}) {
        const auto flow = flow_of(v6 ? 7 : 9, v6);
        record.assign(flow);
        SCOPED_TRACE(v6 ? "IPv6" : "IPv4");
        expect_same_record(record, StrellRecord(flow));
    }
}

TEST(StrellRecordRefill, ReplacesFieldsAddedOneByOne) {
    StrellRecord record;
    for (int i = 0; i < 20; ++i) record.add_field<unsigned int>(1, 4, static_cast<unsigned int>(i));
    record.add_field<IP_address>(27, 16, IP_address::from_string("2001:db8::1"));
    EXPECT_EQ(record.data_length(), 20u * 4u + 16u);
    EXPECT_EQ(hex(bytes_of(record.wire_bytes())), hex(serialized_fields(record)));

    const auto flow = flow_of(3, false);
    record.assign(flow);
    expect_same_record(record, StrellRecord(flow));

    // And a field added after a refill follows the flow's fourteen.
    record.add_field<unsigned char>(6, 0x1b);
    StrellRecord expected(flow);
    expected.add_field<unsigned char>(6, 0x1b);
    ASSERT_EQ(record.fields().size(), 15u);
    expect_same_record(record, expected);
}

TEST(DataFlowsetRecords, ReadyBytesEqualFieldByField) {
    DataFlowsetRecords by_fields;
    DataFlowsetRecords by_record;
    for (int i = 0; i < 5; ++i) {
        const StrellRecord record(flow_of(i, i % 2 == 1));
        by_fields.add_record(record.data());
        by_record.add_record_from(record);
    }
    EXPECT_EQ(by_record.records_count(), 5u);
    EXPECT_EQ(by_record.length(), by_fields.length());
    EXPECT_EQ(hex(serialized(by_record)), hex(serialized(by_fields)));
}

TEST(V9PacketReuse, ARefilledPacketSerialisesLikeAFreshOne) {
    FlowsetStorage<DataFlowsetRecords> big(256);
    for (int i = 0; i < 30; ++i) big.records.add_record_from(StrellRecord(flow_of(i, false)));
    FlowsetStorage<DataFlowsetRecords> small(257);
    small.records.add_record_from(StrellRecord(flow_of(1, true)));

    Netflow_v9_Packet reused(9, 1, 2, 56, 1234);
    reused.add_flowset(big);
    reused.add_flowset(small);
    reused.clear();
    reused.add_flowset(small);

    Netflow_v9_Packet fresh(9, 1, 2, 56, 1234);
    fresh.add_flowset(small);
    EXPECT_EQ(reused.length(), fresh.length());
    EXPECT_EQ(reused.records_count(), fresh.records_count());
    EXPECT_EQ(hex(serialized(reused)), hex(serialized(fresh)));
    EXPECT_EQ(serialized(reused).size(), reused.length());
}

// The packing rules, written out on their own: which flows each datagram
// carries, by template id, when flows arrive in this order.
using Packing = std::vector<std::map<uint16_t, std::vector<int>>>;

Packing expected_packing(const std::vector<bool>& v6_flags) {
    Packing datagrams;
    std::map<uint16_t, std::vector<int>> pending;
    bool first = true;
    const auto body = [](uint16_t id, size_t records) {
        const size_t data = records * (id == 257 ? 75 : 39);
        return data + (data % 4 == 0 ? 0 : 4 - data % 4);
    };
    const auto pending_length = [&] {
        size_t total = 0;
        for (const auto& [id, flows] : pending) total += body(id, flows.size()) + 4;
        return total % 65536;
    };
    const auto send = [&] {
        datagrams.push_back(pending);
        pending.clear();
        first = false;
    };
    for (size_t n = 0; n < v6_flags.size(); ++n) {
        const uint16_t id = v6_flags[n] ? 257 : 256;
        const size_t packet_length = first ? 144 : 20;
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
    if (!pending.empty() || first) send();
    return datagrams;
}

TEST(V9PacketManagerReuse, LongMixedRunPacksLikeTheRulesSay) {
    // Runs of either family of varying length, so that sends come from both
    // size tests and flowsets of either id open and close in every order.
    std::vector<bool> v6_flags;
    uint32_t state = 12345;
    while (v6_flags.size() < 1500) {
        state = state * 1103515245u + 12345u;
        const bool v6 = (state >> 16) % 3 == 0;
        const size_t run = 1 + (state >> 20) % 40;
        for (size_t i = 0; i < run; ++i) v6_flags.push_back(v6);
    }

    StrellTest::UdpReceiver receiver("127.0.0.1", 8 << 20);
    Netflow_v9_PacketManager manager(9, 111, 0, 56, 1234);
    testing::internal::CaptureStdout();
    manager.init(Vorn::Socket::Endpoint{IP_address::from_string("127.0.0.1"), receiver.port()}, 0);
    testing::internal::GetCapturedStdout();
    for (size_t n = 0; n < v6_flags.size(); ++n) {
        manager.accumulate_and_send_packet(flow_of(static_cast<int>(n), v6_flags[n]));
    }
    manager.force_sending();

    const Packing expected = expected_packing(v6_flags);
    const auto datagrams =
        receiver.collect(expected.size() + 1, std::chrono::milliseconds(300), std::chrono::seconds(10));
    ASSERT_EQ(datagrams.size(), expected.size());
    for (size_t d = 0; d < datagrams.size(); ++d) {
        SCOPED_TRACE("datagram " + std::to_string(d));
        EXPECT_LE(datagrams[d].size(), 1500u);
        std::map<uint16_t, std::vector<int>> carried;
        for (const auto& flowset : StrellTest::parse_v9(datagrams[d]).flowsets) {
            if (flowset.id == 0) continue;
            const size_t size = flowset.id == 257 ? 75 : 39;
            const size_t port_at = flowset.id == 257 ? 48 : 12;  // after the three addresses
            auto& flows = carried[static_cast<uint16_t>(flowset.id)];
            for (size_t at = 0; at + size <= flowset.body.size(); at += size) {
                flows.push_back(static_cast<int>(StrellTest::be(flowset.body, at + port_at, 2)));
            }
        }
        EXPECT_EQ(carried, expected[d]);
    }
}

}  // namespace
}  // namespace Strell
