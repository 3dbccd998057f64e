#include "generator/raw_data.h"

#include <cstring>

namespace Strell {

unsigned char* RawData::hton(const unsigned char* src, size_t n, unsigned char* dst) {
    for (size_t i = 0; i < n; ++i) {
        dst[i] = src[n - 1 - i];
    }
    return dst;
}

void RawData::write(const unsigned char* bytes, size_t n) {
    hton(bytes, n, cursor_);
    cursor_ += n;
    remaining_ -= n;
}

void RawData::padding(int n) {
    std::memset(cursor_, 0, static_cast<size_t>(n));
    cursor_ += n;
    remaining_ -= static_cast<size_t>(n);
}

}  // namespace Strell
