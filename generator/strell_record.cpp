#include "generator/strell_record.h"

#include <cstdio>
#include <cstdlib>

namespace Strell {

using Vorn::IP_address;

namespace {

bool families_agree(const Vorn::TrafficFlowRecord& flow) {
    const IP_address::Family source = flow.s_addr.family();
    if (source == IP_address::IPv6) {
        return flow.d_addr.family() == IP_address::IPv6 && flow.nexthop_addr.family() == IP_address::IPv6;
    }
    return source == IP_address::IPv4 && flow.d_addr.family() == IP_address::IPv4 &&
           flow.nexthop_addr.family() == IP_address::IPv4;
}

}  // namespace

StrellRecord::StrellRecord(const Vorn::TrafficFlowRecord& flow) {
    if (!families_agree(flow)) {
        std::fputs("Incorrect netflow data\n", stdout);
        std::fflush(stdout);
        std::exit(1);
    }
    // The next hop is type 62 in both families (length 4 for IPv4): the
    // templates 256 and 257 are fixed that way. Do not turn it into type 15.
    if (flow.s_addr.family() == IP_address::IPv6) {
        add_field<IP_address>(27, 16, flow.s_addr);
        add_field<IP_address>(28, 16, flow.d_addr);
        add_field<IP_address>(62, 16, flow.nexthop_addr);
    } else {
        add_field<IP_address>(8, 4, flow.s_addr);
        add_field<IP_address>(12, 4, flow.d_addr);
        add_field<IP_address>(62, 4, flow.nexthop_addr);
    }
    add_field<unsigned short>(7, 2, flow.sport);
    add_field<unsigned short>(11, 2, flow.dport);
    add_field<unsigned int>(16, 4, flow.src_as);
    add_field<unsigned int>(17, 4, flow.dst_as);
    add_field<unsigned short>(10, 2, flow.iface);
    add_field<unsigned short>(14, 2, flow.oface);
    add_field<unsigned int>(1, 4, flow.d_oct);
    add_field<unsigned int>(2, 4, flow.d_pkt);
    add_field<unsigned char>(5, flow.tos);
    add_field<unsigned char>(6, flow.tcp_flags);
    add_field<unsigned char>(4, flow.proto);
}

uint32_t StrellRecord::data_length() const {
    uint32_t total = 0;
    for (const DataField& field : data_) {
        total += static_cast<uint32_t>(field.length());
    }
    return total;
}

void StrellRecord::append(unsigned short type, unsigned short length, const void* bytes, size_t size) {
    fields_.push_back(TemplateField{type, length});
    data_.emplace_back(bytes, size);
}

// An IPv6 value is the low word then the high word, each in host order: the
// reversing write then puts the high half first, both halves big-endian.
template <>
void StrellRecord::add_field<IP_address>(unsigned short type, unsigned short length, const IP_address& address) {
    if (address.family() == IP_address::IPv6) {
        const long words[2] = {address.to_low(), address.to_high()};
        append(type, length, words, sizeof(words));
    } else {
        const uint32_t value = address.to_int();
        append(type, length, &value, sizeof(value));
    }
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
