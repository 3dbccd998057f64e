#include "generator/strell_record.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "generator/raw_data.h"

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

// The fields of a flow in the order of its data record, with the type and
// the length (which is also the size of the value) of each, [0] for IPv4
// flows and [1] for IPv6 flows. assign() writes the values in this order.
struct FlowField {
    uint16_t type[2];
    uint16_t length[2];
};

constexpr FlowField flow_fields[] = {
    {{8, 27}, {4, 16}},   // s_addr
    {{12, 28}, {4, 16}},  // d_addr
    // The next hop is type 62 in both families (length 4 for IPv4): the
    // templates 256 and 257 are fixed that way. Do not turn it into type 15.
    {{62, 62}, {4, 16}},  // nexthop_addr
    {{7, 7}, {2, 2}},     // sport
    {{11, 11}, {2, 2}},   // dport
    {{16, 16}, {4, 4}},   // src_as
    {{17, 17}, {4, 4}},   // dst_as
    {{10, 10}, {2, 2}},   // iface
    {{14, 14}, {2, 2}},   // oface
    {{1, 1}, {4, 4}},     // d_oct: bytes come before packets
    {{2, 2}, {4, 4}},     // d_pkt
    {{5, 5}, {1, 1}},     // tos, before the flags and the protocol
    {{6, 6}, {1, 1}},     // tcp_flags
    {{4, 4}, {1, 1}},     // proto
};

// Writes values one after the other, each reversed as DataField::serialize
// writes it.
class WireWriter {
public:
    explicit WireWriter(unsigned char* at) : at_(at) {}

    template <typename T>
    void put(const T& value) {
        RawData::hton(reinterpret_cast<const unsigned char*>(&value), sizeof value, at_);
        at_ += sizeof value;
    }

    // An IPv4 address is its 32-bit value. An IPv6 address is the low word
    // then the high word, each in host order, so that reversed as one unit
    // the high half comes first, both halves big-endian.
    void put_v4(const IP_address& address) { put(address.to_int()); }
    void put_v6(const IP_address& address) {
        const long words[2] = {address.to_low(), address.to_high()};
        put(words);
    }

private:
    unsigned char* at_;
};

// The value of an address field added by hand: its size is the address's
// own family's, whatever length the template announces.
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

StrellRecord::StrellRecord(const Vorn::TrafficFlowRecord& flow) { assign(flow); }

void StrellRecord::assign(const Vorn::TrafficFlowRecord& flow) {
    if (!families_agree(flow)) {
        std::fputs("Incorrect netflow data\n", stdout);
        std::fflush(stdout);
        std::exit(1);
    }
    const bool v6 = flow.s_addr.family() == IP_address::IPv6;
    // Three addresses, then 27 bytes of ports, AS numbers, interfaces,
    // counters and the three one-byte fields.
    const size_t record_size = 3 * (v6 ? 16 : 4) + 27;
    wire_.clear();
    WireWriter out(wire_.extend(record_size));
    if (v6) {
        out.put_v6(flow.s_addr);
        out.put_v6(flow.d_addr);
        out.put_v6(flow.nexthop_addr);
    } else {
        out.put_v4(flow.s_addr);
        out.put_v4(flow.d_addr);
        out.put_v4(flow.nexthop_addr);
    }
    out.put(flow.sport);
    out.put(flow.dport);
    out.put(flow.src_as);
    out.put(flow.dst_as);
    out.put(flow.iface);
    out.put(flow.oface);
    out.put(flow.d_oct);
    out.put(flow.d_pkt);
    out.put(flow.tos);
    out.put(flow.tcp_flags);
    out.put(flow.proto);
    data_length_ = static_cast<uint32_t>(record_size);
    flow_is_v6_ = v6;
    lists_stale_ = true;
}

// The values come back from the wire bytes, reversed once more.
void StrellRecord::rebuild_lists() const {
    const size_t family = flow_is_v6_ ? 1 : 0;
    constexpr size_t count = sizeof flow_fields / sizeof flow_fields[0];
    fields_.clear();
    fields_.reserve(count);
    data_.clear();
    data_.reserve(count);
    const unsigned char* at = wire_.data();
    for (const FlowField& field : flow_fields) {
        const uint16_t length = field.length[family];
        unsigned char value[16];
        RawData::hton(at, length, value);
        fields_.push_back(TemplateField{field.type[family], length});
        data_.emplace_back(value, length);
        at += length;
    }
    lists_stale_ = false;
}

void StrellRecord::append(unsigned short type, unsigned short length, const void* bytes, size_t size) {
    make_lists();
    fields_.push_back(TemplateField{type, length});
    data_.emplace_back(bytes, size);
    data_length_ += static_cast<uint32_t>(size);
    RawData::hton(static_cast<const unsigned char*>(bytes), size, wire_.extend(size));
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
