#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Vorn {

// Byte order, the one place that knows it. Integers go on the wire (NetFlow,
// socket addresses) most significant byte first and into detail files least
// significant byte first; these loads and stores read and write bytes in the
// order their names say, whatever the host's own: each is a single load or
// store, with one byte swap where the host's order differs.

namespace ByteOrder {

constexpr bool host_is_little_endian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

inline uint16_t swap(uint16_t v) { return __builtin_bswap16(v); }
inline uint32_t swap(uint32_t v) { return __builtin_bswap32(v); }
inline uint64_t swap(uint64_t v) { return __builtin_bswap64(v); }

template <typename T>
T load(const unsigned char* p, bool little) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return little == host_is_little_endian ? v : swap(v);
}

template <typename T>
void store(unsigned char* p, T v, bool little) {
    if (little != host_is_little_endian) v = swap(v);
    std::memcpy(p, &v, sizeof v);
}

}  // namespace ByteOrder

inline uint16_t load_le16(const unsigned char* p) { return ByteOrder::load<uint16_t>(p, true); }
inline uint32_t load_le32(const unsigned char* p) { return ByteOrder::load<uint32_t>(p, true); }
inline uint64_t load_le64(const unsigned char* p) { return ByteOrder::load<uint64_t>(p, true); }
inline void store_le16(unsigned char* p, uint16_t v) { ByteOrder::store(p, v, true); }
inline void store_le32(unsigned char* p, uint32_t v) { ByteOrder::store(p, v, true); }
inline void store_le64(unsigned char* p, uint64_t v) { ByteOrder::store(p, v, true); }

inline uint16_t load_be16(const unsigned char* p) { return ByteOrder::load<uint16_t>(p, false); }
inline uint32_t load_be32(const unsigned char* p) { return ByteOrder::load<uint32_t>(p, false); }
inline uint64_t load_be64(const unsigned char* p) { return ByteOrder::load<uint64_t>(p, false); }
inline void store_be16(unsigned char* p, uint16_t v) { ByteOrder::store(p, v, false); }
inline void store_be32(unsigned char* p, uint32_t v) { ByteOrder::store(p, v, false); }
inline void store_be64(unsigned char* p, uint64_t v) { ByteOrder::store(p, v, false); }

// A 128-bit number as its two 64-bit halves, in either order; an IPv6
// address is one (the high half its first 8 bytes).
inline void store_be128(unsigned char* p, uint64_t high, uint64_t low) {
    store_be64(p, high);
    store_be64(p + 8, low);
}

inline void store_le128(unsigned char* p, uint64_t high, uint64_t low) {
    store_le64(p, low);
    store_le64(p + 8, high);
}

// The n bytes of a little-endian number of any width, written big-endian:
// the bytes in reverse order.
inline void le_to_be(const unsigned char* src, size_t n, unsigned char* dst) {
    switch (n) {
    case 1: dst[0] = src[0]; break;
    case 2: store_be16(dst, load_le16(src)); break;
    case 4: store_be32(dst, load_le32(src)); break;
    case 8: store_be64(dst, load_le64(src)); break;
    case 16: store_be128(dst, load_le64(src + 8), load_le64(src)); break;
    default:
        for (size_t i = 0; i < n; ++i) dst[i] = src[n - 1 - i];
        break;
    }
}

}  // namespace Vorn
