#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "generator/netflow/data_field.h"
#include "generator/netflow/wire_writer.h"
#include "generator/netflow/template_field.h"
#include "vorn/net/ip_address.h"
#include "vorn/stat/netflow_fields.h"
#include "vorn/stat/traffic_flow_record.h"

namespace Strell {

// One flow as a NetFlow v9 template (type, length pairs) and the matching
// values. The i-th template entry and the i-th value always describe the same
// field; their order is the byte order of a data record.
class StrellRecord {
public:
    StrellRecord() = default;
    // The fields of a replayed flow (Vorn::v9_flow_types). Mixed address
    // families print "Incorrect netflow data" and end the process.
    explicit StrellRecord(const Vorn::TrafficFlowRecord& flow);

    // The number of value bytes comes from the value's type (for an address,
    // from its own family), never from length: a caller that announces a
    // different length gets an inconsistent template, as it asked.
    template <typename T>
    void add_field(unsigned short type, unsigned short length, const T& value);
    template <typename T>
    void add_field(unsigned short type, const T& value);

    const std::vector<TemplateField>& fields() const { return fields_; }
    const std::vector<DataField>& data() const { return data_; }
    // Sum of the values' lengths, cut to 32 bits.
    uint32_t data_length() const { return data_length_; }

    // The data record that StrellRecord(flow) gives, as the bytes it goes out
    // as: Vorn::v9_flow_length(v6) of them at at, from any source of a flow's
    // values (flow_values.h) whose addresses are of the family v6. The v9
    // manager writes its flowsets so.
    // The source comes by value: held in registers, it cannot be among what
    // the byte stores might overwrite, and is not read again after each.
    template <bool v6, typename Flow>
    static void write_flow(Flow flow, unsigned char* at);

    // Ends the process, as the constructor does, unless the three addresses
    // are all IPv4 or all IPv6.
    static void require_one_family(const Vorn::TrafficFlowRecord& flow) {
        const auto source = flow.s_addr.family();
        if ((source != Vorn::IP_address::IPv4 && source != Vorn::IP_address::IPv6) || !Vorn::one_address_family(flow)) {
            refuse_mixed_families();
        }
    }

private:
    [[noreturn]] static void refuse_mixed_families();
    void append(unsigned short type, unsigned short length, const unsigned char* bytes, size_t size);

    std::vector<TemplateField> fields_;
    std::vector<DataField> data_;
    uint32_t data_length_ = 0;
};

// visit(i) for every field of a replayed flow, i an index into
// Vorn::v9_flow_types known at compile time.
template <typename Visit, size_t... I>
[[gnu::always_inline]] inline void for_each_flow_field(Visit&& visit, std::index_sequence<I...>) {
    (visit(std::integral_constant<size_t, I>()), ...);
}
template <typename Visit>
[[gnu::always_inline]] inline void for_each_flow_field(Visit&& visit) {
    for_each_flow_field(visit, std::make_index_sequence<Vorn::v9_flow_field_count>());
}

template <bool v6, typename Flow>
[[gnu::always_inline]] inline void StrellRecord::write_flow(Flow flow, unsigned char* at) {
    for_each_flow_field([&](auto i) {
        constexpr Vorn::TrafficMember member = Vorn::netflow_field(Vorn::v9_flow_types[i]).member;
        constexpr size_t width = Vorn::v9_flow_width(i, v6);
        store_wire<width>(at, flow.template get<member>());
        at += width;
    });
}

template <>
void StrellRecord::add_field<Vorn::IP_address>(unsigned short type, unsigned short length,
                                                const Vorn::IP_address& address);
template <>
void StrellRecord::add_field<unsigned int>(unsigned short type, unsigned short length, const unsigned int& value);
template <>
void StrellRecord::add_field<unsigned short>(unsigned short type, unsigned short length,
                                             const unsigned short& value);
template <>
void StrellRecord::add_field<unsigned short>(unsigned short type, const unsigned short& value);
template <>
void StrellRecord::add_field<unsigned char>(unsigned short type, const unsigned char& value);

}  // namespace Strell
