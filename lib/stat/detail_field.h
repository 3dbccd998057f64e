#pragma once

#include <cstddef>
#include <cstdint>

#include "vorn/stat/little_endian.h"
#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// The fields of a TrafficStat that a new-format detail file can fill (login
// has no field id).
enum class DetailMember : uint8_t {
    s_addr,
    d_addr,
    nexthop_addr,
    iface,
    oface,
    d_pkt,
    d_oct,
    ts_first,
    ts_last,
    sport,
    dport,
    tcp_flags,
    proto,
    tos,
    src_as,
    dst_as,
    src_mask,
    dst_mask,
    // The billing part, which no NetFlow export reads.
    slink_id,
    account_id,
    ip,
    tclass,
    timestamp,
    router_ip_netflow_from,
};
constexpr size_t detail_member_count = 24;

constexpr bool is_billing(DetailMember m) { return m >= DetailMember::slink_id; }

constexpr bool is_address(DetailMember m) {
    return m == DetailMember::s_addr || m == DetailMember::d_addr || m == DetailMember::nexthop_addr ||
           m == DetailMember::ip || m == DetailMember::router_ip_netflow_from;
}

// One field id of the new format with the size it must be declared with.
// An id means something only together with that size: 16 is an AS number at
// 2 and at 4 bytes, 8 an address at 4 bytes and unknown at any other size.
// Addresses are IPv4 at 4 bytes and IPv6 at 16; two-byte AS numbers are
// widened to 32 bits.
struct DetailField {
    uint8_t id;
    uint8_t size;
    DetailMember member;
};

// The one table of the fields the reader knows and the writer writes.
// Null when the id is unknown at that size.
const DetailField* find_detail_field(uint8_t size, uint8_t id);
// The first row of the table for the member at that size: the id the writer
// declares. Every member has one at its natural width, addresses at 4 and 16
// bytes, AS numbers at 2 and 4.
const DetailField& detail_field_of(DetailMember member, uint8_t size);

namespace DetailValue {

inline void set_v4(IP_address& address, const unsigned char* value) {
    address.from_int(static_cast<int>(LittleEndian::load32(value)));
}

// The low 64 bits come first on disk.
inline void set_v6(IP_address& address, const unsigned char* value) {
    address.from_int(static_cast<long>(LittleEndian::load64(value + 8)), static_cast<long>(LittleEndian::load64(value)));
}

}  // namespace DetailValue

// value holds field.size little-endian bytes.
void store_detail_value(const DetailField& field, const unsigned char* value, TrafficStat& out);
// The reverse, for the writer: field.size little-endian bytes into value. An
// address is written at the field's size whatever its own family; an AS
// number at 2 bytes loses its upper half.
void fetch_detail_value(const DetailField& field, const TrafficStat& in, unsigned char* value);

}  // namespace Vorn
