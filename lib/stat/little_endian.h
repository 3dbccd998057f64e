#pragma once

#include <cstdint>

namespace Vorn {

// Detail files store every integer little-endian. These are the only places
// that know it; the compiler folds each into a single load or store on
// little-endian hosts.
namespace LittleEndian {

inline uint16_t load16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

inline uint32_t load32(const unsigned char* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

inline uint64_t load64(const unsigned char* p) { return uint64_t(load32(p)) | (uint64_t(load32(p + 4)) << 32); }

inline void store16(unsigned char* p, uint16_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}

inline void store32(unsigned char* p, uint32_t v) {
    store16(p, static_cast<uint16_t>(v));
    store16(p + 2, static_cast<uint16_t>(v >> 16));
}

inline void store64(unsigned char* p, uint64_t v) {
    store32(p, static_cast<uint32_t>(v));
    store32(p + 4, static_cast<uint32_t>(v >> 32));
}

}  // namespace LittleEndian
}  // namespace Vorn
