#pragma once

namespace Strell {

// strtol(text, nullptr, base), except that base 0 also takes a "0b"/"0B"
// binary prefix, as C libraries that know it do. Nothing is checked: bad text
// gives 0, trailing text is ignored, out-of-range values saturate.
long read_number(const char* text, int base);

}  // namespace Strell
