#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "generator/netflow/byte_buffer.h"
#include "generator/netflow/data_field.h"

namespace Strell {

class RawData;

// Body of one data flowset: the fields of every record back to back; record
// boundaries are not kept. The fields are held as the bytes they go out as,
// so that a full flowset serialises with one copy.
class DataFlowsetRecords {
public:
    // Counts one more record and returns where its bytes go, in network
    // order: the one way records get in.
    unsigned char* add_record(size_t n) {
        ++count_;
        return bytes_.extend(n);
    }
    // A record from its field values, each reversed as DataField::serialize
    // writes it. An empty vector still counts as a record.
    void add_record(const std::vector<DataField>& record);
    // No records any more; the storage stays for the next ones.
    void clear();

    uint16_t records_count() const { return count_; }
    size_t padding() const { return length() - bytes_.size(); }
    // Data plus padding (up to a multiple of 4), without the flowset header.
    size_t length() const { return (bytes_.size() + 3) & ~size_t(3); }
    void serialize(RawData& out) const;

private:
    uint16_t count_ = 0;
    ByteBuffer bytes_;
};

}  // namespace Strell
