#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "vorn/net/ip_address.h"
#include "vorn/util/byte_order.h"

namespace Strell {

// Writes values one after the other from a position in memory, each in
// network byte order (lib/util/byte_order.h). RawData writes through it, and
// so do the flowset and packet bodies that keep their records as the bytes
// they go out as.
class WireWriter {
public:
    explicit WireWriter(unsigned char* at) : at_(at) {}

    // unsigned char, short and int values, most significant byte first. The
    // position is kept in a local meanwhile: a byte store could alias the
    // member, which would have it reloaded after every value.
    template <typename... T>
    void write(const T&... values) {
        unsigned char* at = at_;
        ((at = put(at, values)), ...);
        at_ = at;
    }

    // The n bytes of a little-endian value, reversed as one unit: a 16-byte
    // value lands as one 16-byte big-endian number.
    void write_reversed(const unsigned char* bytes, size_t n) {
        Vorn::le_to_be(bytes, n, at_);
        at_ += n;
    }

    // Bytes that are in network order already, copied as they are.
    void append(const unsigned char* bytes, size_t n) {
        if (n != 0) {
            std::memcpy(at_, bytes, n);
            at_ += n;
        }
    }

    void padding(size_t n) {
        std::memset(at_, 0, n);
        at_ += n;
    }

    unsigned char* position() const { return at_; }

private:
    template <typename T>
    static unsigned char* put(unsigned char* at, const T& value) {
        static_assert(std::is_same_v<T, unsigned char> || std::is_same_v<T, unsigned short> ||
                          std::is_same_v<T, unsigned int>,
                      "network-order writes take unsigned char, short and int only");
        if constexpr (sizeof(T) == 1)
            *at = value;
        else if constexpr (sizeof(T) == 2)
            Vorn::store_be<uint16_t>(at, value);
        else
            Vorn::store_be<uint32_t>(at, value);
        return at + sizeof(T);
    }

    unsigned char* at_;
};

// A value at a given width, most significant byte first: a number cut to the
// width, an address as its 4-byte value or its 16 bytes.
template <size_t width, typename T>
[[gnu::always_inline]] inline void store_wire(unsigned char* at, const T& value) {
    if constexpr (std::is_same_v<T, Vorn::IP_address>) {
        static_assert(width == 4 || width == 16, "an address is 4 or 16 bytes");
        if constexpr (width == 16)
            Vorn::store_be128(at, static_cast<uint64_t>(value.to_high()), static_cast<uint64_t>(value.to_low()));
        else
            Vorn::store_be<uint32_t>(at, value.to_int());
    } else if constexpr (width == 1) {
        *at = static_cast<unsigned char>(value);
    } else if constexpr (width == 2) {
        Vorn::store_be<uint16_t>(at, static_cast<uint16_t>(value));
    } else {
        static_assert(width == 4, "numbers are 1, 2 or 4 bytes");
        Vorn::store_be<uint32_t>(at, static_cast<uint32_t>(value));
    }
}

}  // namespace Strell
