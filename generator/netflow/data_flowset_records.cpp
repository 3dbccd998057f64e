#include "generator/netflow/data_flowset_records.h"

#include "generator/netflow/raw_data.h"

namespace Strell {

void DataFlowsetRecords::add_record(const std::vector<DataField>& record) {
    size_t total = 0;
    for (const DataField& field : record) {
        total += field.length();
    }
    WireWriter out(add_record(total));
    for (const DataField& field : record) {
        size_t n = 0;
        const unsigned char* value = field.get_data(n);
        out.write_reversed(value, n);
    }
}

void DataFlowsetRecords::clear() {
    count_ = 0;
    bytes_.clear();
}

void DataFlowsetRecords::serialize(RawData& out) const {
    out.append(bytes_.data(), bytes_.size());
    out.padding(static_cast<int>(padding()));
}

}  // namespace Strell
