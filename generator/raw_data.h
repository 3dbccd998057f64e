#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Strell {

// Fixed 1500-byte output buffer every datagram is serialised into. The bytes
// live inside the object, so a fresh buffer per datagram costs no allocation.
// Writes do not check the space left: callers keep a datagram within 1500 bytes.
//
// This is the one place that decides byte order: on the little-endian hosts
// we run on, reversing a host-order value gives network order.
class RawData {
public:
    static constexpr size_t capacity = 1500;

    RawData() = default;
    RawData(const RawData&) = delete;
    RawData& operator=(const RawData&) = delete;

    // Copies n bytes from src to dst last byte first; the widths our fields
    // have take a single byte swap.
    static unsigned char* hton(const unsigned char* src, size_t n, unsigned char* dst) {
        switch (n) {
        case 1: dst[0] = src[0]; break;
        case 2: store(dst, __builtin_bswap16(load<uint16_t>(src))); break;
        case 4: store(dst, __builtin_bswap32(load<uint32_t>(src))); break;
        case 8: store(dst, __builtin_bswap64(load<uint64_t>(src))); break;
        case 16:
            store(dst, __builtin_bswap64(load<uint64_t>(src + 8)));
            store(dst + 8, __builtin_bswap64(load<uint64_t>(src)));
            break;
        default: reverse(src, n, dst); break;
        }
        return dst;
    }

    template <typename T>
    void write(const T& value) {
        cursor_ = put(cursor_, value);
    }

    // Several values in a row: one cursor update for all of them, which the
    // per-record serialisers depend on.
    template <typename... T>
    void write_all(const T&... values) {
        unsigned char* at = cursor_;
        ((at = put(at, values)), ...);
        cursor_ = at;
    }

    // Reverses the n bytes as one unit: a 16-byte value stored least
    // significant byte first lands as one 16-byte big-endian number.
    void write(const unsigned char* bytes, size_t n) {
        hton(bytes, n, cursor_);
        cursor_ += n;
    }

    // Bytes that are in network order already (made by hton), copied as
    // they are.
    void append(const unsigned char* bytes, size_t n) {
        if (n != 0) {
            std::memcpy(cursor_, bytes, n);
            cursor_ += n;
        }
    }

    void padding(int n) {
        std::memset(cursor_, 0, static_cast<size_t>(n));
        cursor_ += n;
    }

    const unsigned char* data() const { return data_; }
    size_t size() const { return static_cast<size_t>(cursor_ - data_); }

private:
    template <typename T>
    static T load(const unsigned char* src) {
        T value;
        std::memcpy(&value, src, sizeof value);
        return value;
    }

    template <typename T>
    static void store(unsigned char* dst, T value) {
        std::memcpy(dst, &value, sizeof value);
    }

    static void reverse(const unsigned char* src, size_t n, unsigned char* dst) {
        for (size_t i = 0; i < n; ++i) {
            dst[i] = src[n - 1 - i];
        }
    }

    template <typename T>
    static unsigned char* put(unsigned char* at, const T& value) {
        static_assert(std::is_same_v<T, unsigned char> || std::is_same_v<T, unsigned short> ||
                          std::is_same_v<T, unsigned int>,
                      "RawData writes unsigned char, short and int only");
        if constexpr (sizeof(T) == 1) {
            *at = value;
        } else if constexpr (sizeof(T) == 2) {
            store(at, __builtin_bswap16(value));
        } else {
            store(at, __builtin_bswap32(value));
        }
        return at + sizeof(T);
    }

    unsigned char data_[capacity];
    unsigned char* cursor_ = data_;
};

}  // namespace Strell
