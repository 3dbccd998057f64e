#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "generator/netflow/template_field.h"

namespace Strell {

class RawData;

// Body of one template flowset.
class TemplateFlowsetRecords {
public:
    struct Record {
        uint16_t template_id = 0;
        uint16_t field_count = 0;
        std::vector<TemplateField> fields;
    };

    void add_record(unsigned short template_id, const std::vector<TemplateField>& fields);

    size_t records_count() const { return records_.size(); }
    // Always a multiple of 4, so never padded.
    size_t length() const;
    void serialize(RawData& out) const;

private:
    std::vector<Record> records_;
};

}  // namespace Strell
