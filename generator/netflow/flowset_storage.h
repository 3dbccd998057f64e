#pragma once

#include <cstdint>

#include "generator/netflow/data_flowset_records.h"
#include "generator/netflow/template_flowset_records.h"

namespace Strell {

// One flowset: its body, its id (0 for templates, the template id for data)
// and the length that serialisation computes just before writing it.
template <typename T>
struct FlowsetStorage {
    explicit FlowsetStorage(uint16_t id = 0) : flowset_id(id) {}

    T records;
    uint16_t flowset_id = 0;
    mutable uint16_t flowset_length = 0;
};

}  // namespace Strell
