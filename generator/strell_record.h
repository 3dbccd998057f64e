#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "generator/byte_buffer.h"
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
    // Turns this record into the field list of flow, exactly as the
    // constructor would, reusing the storage it already has: the v9 manager
    // refills one record for every flow it is handed.
    void assign(const Vorn::TrafficFlowRecord& flow);

    // The number of value bytes comes from the value's type (for an address,
    // from its own family), never from length: a caller that announces a
    // different length gets an inconsistent template, as it asked.
    template <typename T>
    void add_field(unsigned short type, unsigned short length, const T& value);
    template <typename T>
    void add_field(unsigned short type, const T& value);

    const std::vector<TemplateField>& fields() const {
        make_lists();
        return fields_;
    }
    const std::vector<DataField>& data() const {
        make_lists();
        return data_;
    }
    // Sum of the values' lengths, cut to 32 bits.
    uint32_t data_length() const { return data_length_; }
    // Every value in order, each reversed as DataField::serialize writes it:
    // the bytes of one data record, ready to be copied into a flowset.
    const ByteBuffer& wire_bytes() const { return wire_; }

private:
    // assign() writes only the wire bytes, which is all the v9 manager reads;
    // the two lists are made from them when someone asks.
    void make_lists() const {
        if (lists_stale_) {
            rebuild_lists();
        }
    }
    void rebuild_lists() const;
    void append(unsigned short type, unsigned short length, const void* bytes, size_t size);

    mutable std::vector<TemplateField> fields_;
    mutable std::vector<DataField> data_;
    mutable bool lists_stale_ = false;
    bool flow_is_v6_ = false;  // the family of the flow given to assign()
    uint32_t data_length_ = 0;
    ByteBuffer wire_;
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
