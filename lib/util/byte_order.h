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

// T is uint16_t, uint32_t or uint64_t: load_le<uint32_t>(p), store_be<uint16_t>(p, v).
template <typename T>
T load_le(const unsigned char* p) {
    return ByteOrder::load<T>(p, true);
}
template <typename T>
T load_be(const unsigned char* p) {
    return ByteOrder::load<T>(p, false);
}
template <typename T>
void store_le(unsigned char* p, T v) {
    ByteOrder::store(p, v, true);
}
template <typename T>
void store_be(unsigned char* p, T v) {
    ByteOrder::store(p, v, false);
}

// A 128-bit number as its two 64-bit halves, in either order; an IPv6
// address is one (the high half its first 8 bytes).
inline void store_be128(unsigned char* p, uint64_t high, uint64_t low) {
    store_be<uint64_t>(p, high);
    store_be<uint64_t>(p + 8, low);
}

inline void store_le128(unsigned char* p, uint64_t high, uint64_t low) {
    store_le<uint64_t>(p, low);
    store_le<uint64_t>(p + 8, high);
}

// The n bytes of a little-endian number of any width, written big-endian:
// the bytes in reverse order.
inline void le_to_be(const unsigned char* src, size_t n, unsigned char* dst) {
    switch (n) {
    case 1: dst[0] = src[0]; break;
    case 2: store_be<uint16_t>(dst, load_le<uint16_t>(src)); break;
    case 4: store_be<uint32_t>(dst, load_le<uint32_t>(src)); break;
    case 8: store_be<uint64_t>(dst, load_le<uint64_t>(src)); break;
    case 16: store_be128(dst, load_le<uint64_t>(src + 8), load_le<uint64_t>(src)); break;
    default:
        for (size_t i = 0; i < n; ++i) dst[i] = src[n - 1 - i];
        break;
    }
}

}  // namespace Vorn
