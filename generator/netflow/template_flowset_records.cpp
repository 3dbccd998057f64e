#include "generator/netflow/template_flowset_records.h"

#include "generator/netflow/raw_data.h"

namespace Strell {

void TemplateFlowsetRecords::add_record(unsigned short template_id, const std::vector<TemplateField>& fields) {
    records_.push_back(Record{template_id, static_cast<uint16_t>(fields.size()), fields});
}

size_t TemplateFlowsetRecords::length() const {
    size_t total = 0;
    for (const Record& record : records_) {
        total += 4 + 4 * record.fields.size();
    }
    return total;
}

void TemplateFlowsetRecords::serialize(RawData& out) const {
    for (const Record& record : records_) {
        out.write(record.template_id);
        out.write(record.field_count);
        for (const TemplateField& field : record.fields) {
            out.write(field.type);
            out.write(field.length);
        }
    }
}

}  // namespace Strell
