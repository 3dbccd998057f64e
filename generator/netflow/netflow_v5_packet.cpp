#include "generator/netflow/netflow_v5_packet.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

namespace Strell {

using Vorn::IP_address;

namespace {

const char* const urandom = "/dev/urandom";

[[noreturn]] void fail(const char* text) {
    std::fputs(text, stdout);
    std::exit(1);
}

// Whether the last address field of this type in the record is IPv6; a field
// of 16 bytes is, one of 4 is not, any other size is fatal.
bool last_address_is_v6(const StrellRecord& record, uint16_t type, bool is_v6) {
    const auto& fields = record.fields();
    for (size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].type != type) {
            continue;
        }
        const size_t size = record.data()[i].length();
        if (size == 16) {
            is_v6 = true;
        } else if (size == 4) {
            is_v6 = false;
        } else {
            fail("Error: Incorrect size of IP address\n");
        }
    }
    return is_v6;
}

// Copies every field of this type over target; the later occurrence wins.
template <typename T>
void overlay(const StrellRecord& record, uint16_t type, T& target) {
    const auto& fields = record.fields();
    for (size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].type != type) {
            continue;
        }
        size_t size = 0;
        const unsigned char* bytes = record.data()[i].get_data(size);
        if (size != sizeof(T)) {
            std::printf("Incorrect field size for field: %d", type);
            std::exit(1);
        }
        std::memcpy(&target, bytes, sizeof(T));
    }
}

}  // namespace

Netflow_v5_Packet::Netflow_v5_Packet(unsigned short version, unsigned int sys_uptime, unsigned int unix_secs,
                                     unsigned int flow_sequence, std::string source)
    : source_(std::move(source)),
      version_(version),
      sys_uptime_(sys_uptime),
      unix_secs_(unix_secs),
      flow_sequence_(flow_sequence) {
    // "/dev/urandom" is read afresh for every record instead of being kept.
    if (source_.empty() || source_ == urandom) {
        return;
    }
    source_fd_ = ::open(source_.c_str(), O_RDONLY);
    if (source_fd_ < 0) {
        std::perror("open");
        source_fd_ = -1;
    }
}

Netflow_v5_Packet::~Netflow_v5_Packet() {
    if (source_fd_ >= 0) {
        ::close(source_fd_);
    }
}

void Netflow_v5_Packet::clear() {
    count_ = 0;
    records_.clear();
}

void Netflow_v5_Packet::update_time() {
    const uint32_t now = static_cast<uint32_t>(std::time(nullptr));
    sys_uptime_ = now - unix_secs_;
    unix_secs_ = now;
}

void Netflow_v5_Packet::serialize(RawData& out) const {
    out.write_all(version_, count_, sys_uptime_, unix_secs_, unix_nsecs_, flow_sequence_, engine_);
    out.append(records_.data(), records_.size());
}

unsigned char* Netflow_v5_Packet::next_record() {
    ++count_;
    return records_.extend(sizeof(Record));
}

// Inlined, so that a record built field by field is never stored as such.
// It is written into a local first, which cannot alias the fields it is
// built from: the compiler is then free to interleave loads and stores.
[[gnu::always_inline]] inline void Netflow_v5_Packet::write(const Record& r, unsigned char* at) {
    unsigned char bytes[sizeof(Record)];
    WireWriter out(bytes);
    out.write(r.srcaddr, r.dstaddr, r.nexthop, r.input, r.output, r.dPkts, r.dOctets, r.First, r.Last, r.srcport,
              r.dstport, r.pad1, r.tcp_flags, r.prot, r.tos, r.src_as, r.dst_as, r.src_mask, r.dst_mask, r.pad2);
    std::memcpy(at, bytes, sizeof bytes);
}

void Netflow_v5_Packet::fill_random(Record& record) const {
    unsigned char bytes[sizeof(Record)] = {};
    // Short reads and the end of the file go unnoticed on purpose: what was
    // not read stays zero.
    if (source_fd_ >= 0) {
        const ssize_t got = ::read(source_fd_, bytes, sizeof(bytes));
        (void)got;
    } else {
        const int fd = ::open(urandom, O_RDONLY);
        if (fd > 0) {
            const ssize_t got = ::read(fd, bytes, sizeof(bytes));
            (void)got;
            ::close(fd);
        } else {
            for (unsigned char& byte : bytes) {
                byte = static_cast<unsigned char>(std::rand() % 255);
            }
        }
    }
    std::memcpy(&record, bytes, sizeof(record));
}

void Netflow_v5_Packet::add_record(const StrellRecord& fields) {
    bool source_v6 = last_address_is_v6(fields, 27, false);
    bool destination_v6 = last_address_is_v6(fields, 28, false);
    bool nexthop_v6 = last_address_is_v6(fields, 62, false);
    if (source_v6 || destination_v6 || nexthop_v6) {
        fail("Error: attempt to create netflow v5 packet with IPv6\n");
    }

    Record r;
    fill_random(r);
    // Row order matters: a later row naming the same record field wins. The
    // AS fields must be 2 bytes as in the v5 record; 4-byte ones are refused.
    overlay(fields, 8, r.srcaddr);
    overlay(fields, 12, r.dstaddr);
    overlay(fields, 15, r.nexthop);
    overlay(fields, 10, r.input);
    overlay(fields, 14, r.output);
    overlay(fields, 2, r.dPkts);
    overlay(fields, 24, r.dPkts);
    overlay(fields, 1, r.dOctets);
    overlay(fields, 23, r.dOctets);
    overlay(fields, 22, r.First);
    overlay(fields, 21, r.Last);
    overlay(fields, 7, r.srcport);
    overlay(fields, 11, r.dstport);
    overlay(fields, 6, r.tcp_flags);
    overlay(fields, 4, r.prot);
    overlay(fields, 5, r.tos);
    overlay(fields, 55, r.tos);
    overlay(fields, 16, r.src_as);
    overlay(fields, 17, r.dst_as);
    overlay(fields, 9, r.src_mask);
    overlay(fields, 13, r.dst_mask);
    write(r, next_record());
}

void Netflow_v5_Packet::add_record(const Vorn::TrafficFlowRecord& flow) {
    if (flow.s_addr.family() == IP_address::IPv6 || flow.d_addr.family() == IP_address::IPv6 ||
        flow.nexthop_addr.family() == IP_address::IPv6) {
        return;
    }
    // Room first: the values are then read and written in one stream.
    unsigned char* const at = next_record();
    Record r;
    r.srcaddr = flow.s_addr.to_int();
    r.dstaddr = flow.d_addr.to_int();
    r.nexthop = flow.nexthop_addr.to_int();
    r.input = flow.iface;
    r.output = flow.oface;
    r.dPkts = flow.d_pkt;
    r.dOctets = flow.d_oct;
    r.First = flow.ts_first;
    r.Last = flow.ts_last;
    r.srcport = flow.sport;
    r.dstport = flow.dport;
    r.tcp_flags = flow.tcp_flags;
    r.prot = flow.proto;
    r.tos = flow.tos;
    // v5 has 16-bit AS fields: higher bits are dropped without a message.
    r.src_as = static_cast<uint16_t>(flow.src_as);
    r.dst_as = static_cast<uint16_t>(flow.dst_as);
    r.src_mask = flow.src_mask;
    r.dst_mask = flow.dst_mask;
    write(r, at);
}

}  // namespace Strell
