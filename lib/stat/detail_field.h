#pragma once

#include <cstddef>
#include <cstdint>

#include "vorn/stat/traffic_member.h"
#include "vorn/stat/traffic_stat.h"
#include "vorn/util/byte_order.h"

namespace Vorn {

// One field id of the new format with the size it must be declared with.
// An id means something only together with that size: 16 is an AS number at
// 2 and at 4 bytes, 8 an address at 4 bytes and unknown at any other size.
// Addresses are IPv4 at 4 bytes and IPv6 at 16; two-byte AS numbers are
// widened to 32 bits.
struct DetailField {
    uint8_t id;
    uint8_t size;
    TrafficMember member;
};

// The one table of the fields the reader knows and the writer writes: the
// NetFlow field types at their widths, AS numbers at 2 bytes too, and the
// billing ids. Null when the id is unknown at that size.
const DetailField* find_detail_field(uint8_t size, uint8_t id);
// The first row of the table for the member at that size: the id the writer
// declares. Every member has one at its natural width, addresses at 4 and 16
// bytes, AS numbers at 2 and 4.
const DetailField& detail_field_of(TrafficMember member, uint8_t size);

// A member's value from its size little-endian bytes, and back. Addresses
// are IPv4 at 4 bytes and IPv6 at 16, the low half first; other numbers are
// widened or cut to their member's width, so a 2-byte AS number is widened.
inline void decode_detail_value(IP_address& out, const unsigned char* value, uint8_t size) {
    if (size == 16)
        out.from_int(static_cast<long>(load_le<uint64_t>(value + 8)), static_cast<long>(load_le<uint64_t>(value)));
    else
        out.from_int(static_cast<int>(load_le<uint32_t>(value)));
}

template <typename T>
void decode_detail_value(T& out, const unsigned char* value, uint8_t size) {
    if (size == 1)
        out = static_cast<T>(value[0]);
    else if (size == 2)
        out = static_cast<T>(load_le<uint16_t>(value));
    else
        out = static_cast<T>(load_le<uint32_t>(value));
}

inline void encode_detail_value(const IP_address& in, unsigned char* value, uint8_t size) {
    if (size == 16)
        store_le128(value, static_cast<uint64_t>(in.to_high()), static_cast<uint64_t>(in.to_low()));
    else
        store_le<uint32_t>(value, in.to_int());
}

template <typename T>
void encode_detail_value(const T& in, unsigned char* value, uint8_t size) {
    if (size == 1)
        value[0] = static_cast<unsigned char>(in);
    else if (size == 2)
        store_le<uint16_t>(value, static_cast<uint16_t>(in));
    else
        store_le<uint32_t>(value, static_cast<uint32_t>(in));
}

// The same through a row of the table: value holds field.size bytes. An
// address is read at the field's size whatever its own family.
void decode_detail_field(const DetailField& field, const unsigned char* value, TrafficStat& out);

}  // namespace Vorn
