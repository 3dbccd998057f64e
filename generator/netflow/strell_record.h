#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "generator/netflow/data_field.h"
#include "generator/netflow/template_field.h"
#include "vorn/net/ip_address.h"
#include "vorn/stat/traffic_flow_record.h"

namespace Strell {

// One flow as a NetFlow v9 template (type, length pairs) and the matching
// values. The i-th template entry and the i-th value always describe the same
// field; their order is the byte order of a data record.
class StrellRecord {
public:
    StrellRecord() = default;
    // Exports the 14 fields a collector needs of a detail-file flow. Mixed
    // address families print "Incorrect netflow data" and end the process.
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

    // The field list of a flow, the one definition of it: visit(type, value)
    // for each field in the order of the data record, value being the flow's
    // IP_address, uint32_t, uint16_t or uint8_t member. The v9 manager writes
    // a flow's values straight into its flowset with it.
    template <typename Visit>
    static void for_each_field(const Vorn::TrafficFlowRecord& flow, Visit&& visit);
    // Ends the process, as the constructor does, unless the three addresses
    // are all IPv4 or all IPv6.
    static void require_one_family(const Vorn::TrafficFlowRecord& flow) {
        const auto source = flow.s_addr.family();
        if ((source != Vorn::IP_address::IPv4 && source != Vorn::IP_address::IPv6) || flow.d_addr.family() != source ||
            flow.nexthop_addr.family() != source) {
            refuse_mixed_families();
        }
    }
    // data_length() of the record made from a flow of the family.
    static constexpr uint32_t flow_data_length(bool v6) { return 3 * (v6 ? 16 : 4) + 27; }

private:
    [[noreturn]] static void refuse_mixed_families();
    void append(unsigned short type, unsigned short length, const void* bytes, size_t size);

    std::vector<TemplateField> fields_;
    std::vector<DataField> data_;
    uint32_t data_length_ = 0;
};

template <typename Visit>
void StrellRecord::for_each_field(const Vorn::TrafficFlowRecord& flow, Visit&& visit) {
    const bool v6 = flow.s_addr.family() == Vorn::IP_address::IPv6;
    visit(v6 ? 27 : 8, flow.s_addr);
    visit(v6 ? 28 : 12, flow.d_addr);
    // The next hop is type 62 in both families (length 4 for IPv4): the
    // templates 256 and 257 are fixed that way. Do not turn it into type 15.
    visit(62, flow.nexthop_addr);
    visit(7, flow.sport);
    visit(11, flow.dport);
    visit(16, flow.src_as);
    visit(17, flow.dst_as);
    visit(10, flow.iface);
    visit(14, flow.oface);
    visit(1, flow.d_oct);  // bytes before packets
    visit(2, flow.d_pkt);
    visit(5, flow.tos);  // before the flags and the protocol
    visit(6, flow.tcp_flags);
    visit(4, flow.proto);
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
