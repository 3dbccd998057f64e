#pragma once

#include <cstdint>

namespace Strell {

// One entry of a NetFlow v9 template: field type and announced length.
struct TemplateField {
    uint16_t type = 0;
    uint16_t length = 0;
};

}  // namespace Strell
