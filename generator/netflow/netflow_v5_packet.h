#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "generator/netflow/byte_buffer.h"
#include "generator/netflow/flow_values.h"
#include "generator/netflow/raw_data.h"
#include "generator/netflow/strell_record.h"
#include "vorn/stat/traffic_flow_record.h"

namespace Strell {

// A NetFlow v5 export datagram: 24-byte header and 48-byte records. The packet
// only builds and serialises itself; sending is the managers' business.
class Netflow_v5_Packet {
public:
    // One flow, each field where a record on the wire has it, integers in
    // host order.
    struct Record {
        uint32_t srcaddr = 0;
        uint32_t dstaddr = 0;
        uint32_t nexthop = 0;
        uint16_t input = 0;
        uint16_t output = 0;
        uint32_t dPkts = 0;
        uint32_t dOctets = 0;
        uint32_t First = 0;
        uint32_t Last = 0;
        uint16_t srcport = 0;
        uint16_t dstport = 0;
        uint8_t pad1 = 0;
        uint8_t tcp_flags = 0;
        uint8_t prot = 0;
        uint8_t tos = 0;
        uint16_t src_as = 0;
        uint16_t dst_as = 0;
        uint8_t src_mask = 0;
        uint8_t dst_mask = 0;
        uint16_t pad2 = 0;
    };
    static_assert(sizeof(Record) == 48, "a v5 record is 48 bytes without padding");

    static constexpr size_t header_size = 24;

    Netflow_v5_Packet() = default;
    // source names the random-byte file for add_record(const StrellRecord&):
    // empty or "/dev/urandom" keeps nothing open, any other file stays open.
    Netflow_v5_Packet(unsigned short version, unsigned int sys_uptime, unsigned int unix_secs,
                      unsigned int flow_sequence, std::string source);
    Netflow_v5_Packet(const Netflow_v5_Packet&) = delete;
    Netflow_v5_Packet& operator=(const Netflow_v5_Packet&) = delete;
    ~Netflow_v5_Packet();

    unsigned short records_count() const { return count_; }
    void clear();
    // sys_uptime becomes the seconds since the previous call (or, right after
    // construction with unix_secs 0, since the epoch); unix_secs becomes now.
    void update_time();
    void serialize(RawData& out) const;

    // Random bytes overlaid with the record's fields. IPv6 addresses and fields
    // of the wrong size print a message and end the process.
    void add_record(const StrellRecord& record);
    // IPv6 flows are skipped without a word.
    void add_record(const Vorn::TrafficFlowRecord& flow);
    // The same from any source of a flow's values (flow_values.h) whose
    // addresses are IPv4.
    template <typename Flow>
    void add_flow(Flow flow);

private:
    void fill_random(Record& record) const;
    // Counts one more record and returns where it goes.
    unsigned char* next_record() {
        ++count_;
        return records_.extend(sizeof(Record));
    }
    // The record at at, in wire order.
    static void write(const Record& record, unsigned char* at);

    int source_fd_ = -1;
    std::string source_;
    uint16_t version_ = 0;
    uint16_t count_ = 0;
    uint32_t sys_uptime_ = 0;
    uint32_t unix_secs_ = 0;
    uint32_t unix_nsecs_ = 0;
    uint32_t flow_sequence_ = 0;
    uint32_t engine_ = 0;
    // The records as they go out, so that serialising is one copy; clear()
    // keeps the storage.
    ByteBuffer records_;
};

// The fields of a v5 record in wire order: the member of a flow each
// carries (the pads none), where it lies in the record and how wide it is.
struct V5Field {
    Vorn::TrafficMember member;  // for a pad, none
    bool pad;
    uint8_t offset;
    uint8_t width;
};

namespace V5 {
using M = Vorn::TrafficMember;
using R = Netflow_v5_Packet::Record;
inline constexpr V5Field fields[] = {
    {M::s_addr, false, offsetof(R, srcaddr), sizeof R::srcaddr},
    {M::d_addr, false, offsetof(R, dstaddr), sizeof R::dstaddr},
    {M::nexthop_addr, false, offsetof(R, nexthop), sizeof R::nexthop},
    {M::iface, false, offsetof(R, input), sizeof R::input},
    {M::oface, false, offsetof(R, output), sizeof R::output},
    {M::d_pkt, false, offsetof(R, dPkts), sizeof R::dPkts},
    {M::d_oct, false, offsetof(R, dOctets), sizeof R::dOctets},
    {M::ts_first, false, offsetof(R, First), sizeof R::First},
    {M::ts_last, false, offsetof(R, Last), sizeof R::Last},
    {M::sport, false, offsetof(R, srcport), sizeof R::srcport},
    {M::dport, false, offsetof(R, dstport), sizeof R::dstport},
    {M::s_addr, true, offsetof(R, pad1), sizeof R::pad1},
    {M::tcp_flags, false, offsetof(R, tcp_flags), sizeof R::tcp_flags},
    {M::proto, false, offsetof(R, prot), sizeof R::prot},
    {M::tos, false, offsetof(R, tos), sizeof R::tos},
    {M::src_as, false, offsetof(R, src_as), sizeof R::src_as},
    {M::dst_as, false, offsetof(R, dst_as), sizeof R::dst_as},
    {M::src_mask, false, offsetof(R, src_mask), sizeof R::src_mask},
    {M::dst_mask, false, offsetof(R, dst_mask), sizeof R::dst_mask},
    {M::s_addr, true, offsetof(R, pad2), sizeof R::pad2},
};
}  // namespace V5

// visit(i) for every field of a v5 record, i an index into V5::fields known
// at compile time.
template <typename Visit, size_t... I>
[[gnu::always_inline]] inline void for_each_v5_field(Visit&& visit, std::index_sequence<I...>) {
    (visit(std::integral_constant<size_t, I>()), ...);
}
template <typename Visit>
[[gnu::always_inline]] inline void for_each_v5_field(Visit&& visit) {
    for_each_v5_field(visit, std::make_index_sequence<std::size(V5::fields)>());
}

// The record's place is taken first, so that the values are then read and
// written in one stream; the pads are zero. The source comes by value: held
// in registers, it is not read again after each byte store.
template <typename Flow>
[[gnu::always_inline]] inline void Netflow_v5_Packet::add_flow(Flow flow) {
    unsigned char* const at = next_record();
    for_each_v5_field([&](auto i) {
        constexpr V5Field field = V5::fields[i];
        if constexpr (field.pad)
            store_wire<field.width>(at + field.offset, 0u);
        else
            store_wire<field.width>(at + field.offset, flow.template get<field.member>());
    });
}

}  // namespace Strell
