#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "generator/byte_buffer.h"
#include "generator/data_field.h"
#include "generator/strell_record.h"

namespace Strell {

class RawData;

// Body of one data flowset: the fields of every record back to back; record
// boundaries are not kept. The fields are held as the bytes they go out as
// (each one reversed by RawData when it is added), so that a full flowset
// serialises with one copy.
class DataFlowsetRecords {
public:
    // An empty vector still counts as a record.
    void add_record(const std::vector<DataField>& record);
    // The same as add_record(record.data()), from the bytes the record keeps
    // ready: one copy per flow instead of one reversal per field.
    void add_record_from(const StrellRecord& record);
    // No records any more; the storage stays for the next ones.
    void clear();

    uint16_t records_count() const { return count; }
    size_t padding() const { return bytes.size() % 4 == 0 ? 0 : 4 - bytes.size() % 4; }
    // Data plus padding, without the flowset header.
    size_t length() const { return bytes.size() + padding(); }
    void serialize(RawData& out) const;

private:
    uint16_t count = 0;
    ByteBuffer bytes;
};

}  // namespace Strell
