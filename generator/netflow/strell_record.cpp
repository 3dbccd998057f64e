#include "generator/netflow/strell_record.h"

#include <cstdio>
#include <cstdlib>
#include <type_traits>

#include "vorn/util/byte_order.h"

namespace Strell {

using Vorn::IP_address;

void StrellRecord::refuse_mixed_families() {
    std::fputs("Incorrect netflow data\n", stdout);
    std::fflush(stdout);
    std::exit(1);
}

StrellRecord::StrellRecord(const Vorn::TrafficFlowRecord& flow) {
    require_one_family(flow);
    const bool v6 = Vorn::get_address_type(flow) == IP_address::IPv6;
    fields_.reserve(Vorn::v9_flow_field_count);
    data_.reserve(Vorn::v9_flow_field_count);
    for_each_flow_field([&](auto i) {
        constexpr Vorn::TrafficMember member = Vorn::netflow_field(Vorn::v9_flow_types[i]).member;
        const auto& value = Vorn::member_of<member>(flow);
        using T = std::decay_t<decltype(value)>;
        const auto type = Vorn::v9_flow_type(i, v6);
        if constexpr (std::is_same_v<T, IP_address>)
            add_field(type, Vorn::v9_flow_width(i, v6), value);
        else if constexpr (sizeof(T) == 1)
            add_field(type, value);
        else
            add_field(type, sizeof(T), value);
    });
}

void StrellRecord::append(unsigned short type, unsigned short length, const unsigned char* bytes, size_t size) {
    fields_.push_back(TemplateField{type, length});
    data_.emplace_back(bytes, size);
    data_length_ += static_cast<uint32_t>(size);
}

// A value's bytes are stored least significant byte first: an IPv6 address
// as one 16-byte number, which DataField::serialize reverses as one unit.
template <>
void StrellRecord::add_field<IP_address>(unsigned short type, unsigned short length, const IP_address& address) {
    unsigned char bytes[16];
    if (address.family() == IP_address::IPv6) {
        Vorn::store_le128(bytes, static_cast<uint64_t>(address.to_high()), static_cast<uint64_t>(address.to_low()));
        append(type, length, bytes, 16);
    } else {
        Vorn::store_le<uint32_t>(bytes, address.to_int());
        append(type, length, bytes, 4);
    }
}

template <>
void StrellRecord::add_field<unsigned int>(unsigned short type, unsigned short length, const unsigned int& value) {
    unsigned char bytes[4];
    Vorn::store_le<uint32_t>(bytes, value);
    append(type, length, bytes, sizeof bytes);
}

template <>
void StrellRecord::add_field<unsigned short>(unsigned short type, unsigned short length,
                                             const unsigned short& value) {
    unsigned char bytes[2];
    Vorn::store_le<uint16_t>(bytes, value);
    append(type, length, bytes, sizeof bytes);
}

template <>
void StrellRecord::add_field<unsigned short>(unsigned short type, const unsigned short& value) {
    add_field(type, sizeof value, value);
}

template <>
void StrellRecord::add_field<unsigned char>(unsigned short type, const unsigned char& value) {
    append(type, sizeof value, &value, sizeof value);
}

}  // namespace Strell
