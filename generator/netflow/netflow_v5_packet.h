#pragma once

#include <cstdint>
#include <string>

#include "generator/netflow/byte_buffer.h"
#include "generator/netflow/raw_data.h"
#include "generator/netflow/strell_record.h"
#include "vorn/stat/traffic_flow_record.h"

namespace Strell {

// A NetFlow v5 export datagram: 24-byte header and 48-byte records. The packet
// only builds and serialises itself; sending is the managers' business.
class Netflow_v5_Packet {
public:
    // One flow in wire order, integers in host order.
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

private:
    void fill_random(Record& record) const;
    // Counts one more record and returns where it goes.
    unsigned char* next_record();
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

}  // namespace Strell
