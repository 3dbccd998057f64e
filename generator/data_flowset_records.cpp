#include "generator/data_flowset_records.h"

#include <cstring>

#include "generator/raw_data.h"

namespace Strell {

void DataFlowsetRecords::add_record(const std::vector<DataField>& record) {
    ++count;
    size_t added = 0;
    for (const DataField& field : record) {
        added += field.length();
    }
    unsigned char* at = bytes.extend(added);
    for (const DataField& field : record) {
        size_t n = 0;
        const unsigned char* value = field.get_data(n);
        RawData::hton(value, n, at);
        at += n;
    }
}

void DataFlowsetRecords::add_record_from(const StrellRecord& record) {
    ++count;
    const ByteBuffer& wire = record.wire_bytes();
    if (wire.size() != 0) {
        std::memcpy(bytes.extend(wire.size()), wire.data(), wire.size());
    }
}

void DataFlowsetRecords::clear() {
    count = 0;
    bytes.clear();
}

void DataFlowsetRecords::serialize(RawData& out) const {
    out.append(bytes.data(), bytes.size());
    out.padding(static_cast<int>(padding()));
}

}  // namespace Strell
