#include "generator/netflow/strell_record.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace Strell {

using Vorn::IP_address;

namespace {

// The value of an address field: the low word then the high word of an IPv6
// address, each in host order, so that reversed as one unit on the way out
// the high half comes first; an IPv4 address is its 32-bit value.
struct AddressValue {
    explicit AddressValue(const IP_address& address) {
        if (address.family() == IP_address::IPv6) {
            const long words[2] = {address.to_low(), address.to_high()};
            std::memcpy(bytes, words, sizeof words);
            size = sizeof words;
        } else {
            const uint32_t value = address.to_int();
            std::memcpy(bytes, &value, sizeof value);
            size = sizeof value;
        }
    }

    unsigned char bytes[16];
    size_t size;
};

}  // namespace

void StrellRecord::refuse_mixed_families() {
    std::fputs("Incorrect netflow data\n", stdout);
    std::fflush(stdout);
    std::exit(1);
}

StrellRecord::StrellRecord(const Vorn::TrafficFlowRecord& flow) {
    require_one_family(flow);
    fields_.reserve(14);
    data_.reserve(14);
    for_each_field(flow, [this](unsigned short type, const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, IP_address>) {
            add_field(type, value.family() == IP_address::IPv6 ? 16 : 4, value);
        } else {
            append(type, sizeof(T), &value, sizeof(T));
        }
    });
}

void StrellRecord::append(unsigned short type, unsigned short length, const void* bytes, size_t size) {
    fields_.push_back(TemplateField{type, length});
    data_.emplace_back(bytes, size);
    data_length_ += static_cast<uint32_t>(size);
}

template <>
void StrellRecord::add_field<IP_address>(unsigned short type, unsigned short length, const IP_address& address) {
    const AddressValue value(address);
    append(type, length, value.bytes, value.size);
}

template <>
void StrellRecord::add_field<unsigned int>(unsigned short type, unsigned short length, const unsigned int& value) {
    append(type, length, &value, sizeof(value));
}

template <>
void StrellRecord::add_field<unsigned short>(unsigned short type, unsigned short length,
                                             const unsigned short& value) {
    append(type, length, &value, sizeof(value));
}

template <>
void StrellRecord::add_field<unsigned short>(unsigned short type, const unsigned short& value) {
    append(type, sizeof(value), &value, sizeof(value));
}

template <>
void StrellRecord::add_field<unsigned char>(unsigned short type, const unsigned char& value) {
    append(type, sizeof(value), &value, sizeof(value));
}

}  // namespace Strell
