#include "generator/data_flowset_records.h"

#include "generator/raw_data.h"

namespace Strell {

void DataFlowsetRecords::add_record(const std::vector<DataField>& record) {
    ++count;
    for (const DataField& field : record) {
        fields.push_back(field);
        data_bytes += field.length();
    }
}

void DataFlowsetRecords::serialize(RawData& out) const {
    for (const DataField& field : fields) {
        field.serialize(out);
    }
    out.padding(static_cast<int>(padding()));
}

}  // namespace Strell
