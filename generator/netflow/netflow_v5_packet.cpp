#include "generator/netflow/netflow_v5_packet.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <type_traits>
#include <utility>

#include "vorn/stat/netflow_fields.h"
#include "vorn/util/byte_order.h"

namespace Strell {


namespace {

const char* const urandom = "/dev/urandom";

[[noreturn]] void fail(const char* text) {
    std::fputs(text, stdout);
    std::exit(1);
}

// Whether the last address field of this type in the record is IPv6; a field
// of 16 bytes is, one of 4 is not, any other size is fatal.
bool last_address_is_v6(const StrellRecord& record, uint16_t type) {
    bool is_v6 = false;
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

const V5Field& v5_field_of(Vorn::TrafficMember member) {
    for (const V5Field& field : V5::fields)
        if (!field.pad && field.member == member) return field;
    std::abort();  // every member a v5 row names has its place
}

// Copies every field of the row's type over the record's field of the row's
// member; the later occurrence wins. The field must be as wide as that.
void overlay(const StrellRecord& record, const Vorn::NetflowField& row, Netflow_v5_Packet::Record& target) {
    const V5Field& place = v5_field_of(row.member);
    unsigned char* const at = reinterpret_cast<unsigned char*>(&target) + place.offset;
    const auto& fields = record.fields();
    for (size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].type != row.type) {
            continue;
        }
        size_t size = 0;
        const unsigned char* bytes = record.data()[i].get_data(size);
        if (size != place.width) {
            std::printf("Incorrect field size for field: %d", row.type);
            std::exit(1);
        }
        // The value's bytes are little-endian; the record holds host order.
        if (size == 1) {
            *at = bytes[0];
        } else if (size == 2) {
            const uint16_t value = Vorn::load_le<uint16_t>(bytes);
            std::memcpy(at, &value, sizeof value);
        } else {
            const uint32_t value = Vorn::load_le<uint32_t>(bytes);
            std::memcpy(at, &value, sizeof value);
        }
    }
}

// A field of the record, host order, as the unsigned number of its width.
template <size_t width>
auto host_value(const Netflow_v5_Packet::Record& record, size_t offset) {
    std::conditional_t<width == 1, uint8_t, std::conditional_t<width == 2, uint16_t, uint32_t>> value;
    std::memcpy(&value, reinterpret_cast<const unsigned char*>(&record) + offset, sizeof value);
    return value;
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

void Netflow_v5_Packet::write(const Record& r, unsigned char* at) {
    for_each_v5_field([&](auto i) {
        constexpr V5Field field = V5::fields[i];
        store_wire<field.width>(at + field.offset, host_value<field.width>(r, field.offset));
    });
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
    // The IPv4 address types play no part in this check.
    bool any_v6 = false;
    for (const Vorn::NetflowField& row : Vorn::netflow_fields) {
        if (Vorn::is_address(row.member) && row.width == 16) any_v6 = last_address_is_v6(fields, row.type) || any_v6;
    }
    if (any_v6) {
        fail("Error: attempt to create netflow v5 packet with IPv6\n");
    }

    Record r;
    fill_random(r);
    for (const Vorn::NetflowField& row : Vorn::netflow_fields) {
        if (row.in_v5) overlay(fields, row, r);
    }
    write(r, next_record());
}

void Netflow_v5_Packet::add_record(const Vorn::TrafficFlowRecord& flow) {
    if (Vorn::has_ipv6_address(flow)) {
        return;
    }
    add_flow(FlowRecordValues(flow));
}

}  // namespace Strell
