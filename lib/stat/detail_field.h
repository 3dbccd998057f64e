#pragma once

#include <cstdint>

#include "stat/little_endian.h"
#include "stat/traffic_stat.h"

namespace Vorn {

// Where a new-format value goes. A field id means something only together
// with the size the header declares for it: 16 is an AS number at 2 and at 4
// bytes, 8 is an address at 4 bytes and unknown at any other size.
struct DetailTarget {
    enum Kind : uint8_t { None, Octet, Short, WidenedShort, Long, SignedLong, IPv4, IPv6 };

    Kind kind = None;
    // Exactly one is set, by kind; two targets with equal members fill the
    // same field of the record.
    uint8_t TrafficStat::*octet = nullptr;
    uint16_t TrafficStat::*short_field = nullptr;
    uint32_t TrafficStat::*long_field = nullptr;  // Long and WidenedShort
    int32_t TrafficStat::*signed_field = nullptr;
    IP_address TrafficStat::*address = nullptr;

    bool same_field(const DetailTarget& other) const {
        return octet == other.octet && short_field == other.short_field && long_field == other.long_field &&
               signed_field == other.signed_field && address == other.address;
    }
};

DetailTarget detail_target(uint8_t size, uint8_t id);

namespace DetailValue {

inline void set_v4(IP_address& address, const unsigned char* value) {
    address.from_int(static_cast<int>(LittleEndian::load32(value)));
}

// The low 64 bits come first on disk.
inline void set_v6(IP_address& address, const unsigned char* value) {
    address.from_int(static_cast<long>(LittleEndian::load64(value + 8)), static_cast<long>(LittleEndian::load64(value)));
}

}  // namespace DetailValue

// value holds as many little-endian bytes as the field's declared size.
inline void store_detail_value(const DetailTarget& target, const unsigned char* value, TrafficStat& out) {
    switch (target.kind) {
    case DetailTarget::None: break;
    case DetailTarget::Octet: out.*target.octet = value[0]; break;
    case DetailTarget::Short: out.*target.short_field = LittleEndian::load16(value); break;
    case DetailTarget::WidenedShort: out.*target.long_field = LittleEndian::load16(value); break;
    case DetailTarget::Long: out.*target.long_field = LittleEndian::load32(value); break;
    case DetailTarget::SignedLong: out.*target.signed_field = static_cast<int32_t>(LittleEndian::load32(value)); break;
    case DetailTarget::IPv4: DetailValue::set_v4(out.*target.address, value); break;
    case DetailTarget::IPv6: DetailValue::set_v6(out.*target.address, value); break;
    }
}

}  // namespace Vorn
