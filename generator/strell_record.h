#pragma once

#include <cstdint>
#include <vector>

#include "generator/data_field.h"
#include "net/ip_address.h"
#include "stat/traffic_flow_record.h"

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
    uint32_t data_length() const;

private:
    void append(unsigned short type, unsigned short length, const void* bytes, size_t size);

    std::vector<TemplateField> fields_;
    std::vector<DataField> data_;
};

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
