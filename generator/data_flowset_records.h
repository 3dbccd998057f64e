#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "generator/data_field.h"

namespace Strell {

class RawData;

// Body of one data flowset: the fields of every record back to back; record
// boundaries are not kept.
class DataFlowsetRecords {
public:
    // An empty vector still counts as a record.
    void add_record(const std::vector<DataField>& record);

    uint16_t records_count() const { return count; }
    size_t padding() const { return data_bytes % 4 == 0 ? 0 : 4 - data_bytes % 4; }
    // Data plus padding, without the flowset header.
    size_t length() const { return data_bytes + padding(); }
    void serialize(RawData& out) const;

private:
    uint16_t count = 0;
    std::vector<DataField> fields;
    // Sum of the fields' lengths, kept so that the size test a manager makes
    // for every flow does not walk every field.
    size_t data_bytes = 0;
};

}  // namespace Strell
