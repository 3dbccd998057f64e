#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "generator/netflow/export_constants.h"
#include "vorn/net/ip_address.h"

namespace Strell {

// Writes values one after the other from a position in memory, each in
// network byte order. This is the one place that decides byte order: on the
// little-endian hosts we run on, reversing a host-order value gives network
// order. RawData writes through it, and so do the flowset and packet bodies
// that keep their records as the bytes they go out as.
class WireWriter {
public:
    explicit WireWriter(unsigned char* at) : at_(at) {}

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

    // unsigned char, short and int values, most significant byte first. The
    // position is kept in a local meanwhile: a byte store could alias the
    // member, which would have it reloaded after every value.
    template <typename... T>
    void write(const T&... values) {
        unsigned char* at = at_;
        ((at = put(at, values)), ...);
        at_ = at;
    }

    // Reverses the n bytes as one unit: a 16-byte value stored least
    // significant byte first lands as one 16-byte big-endian number.
    void write_reversed(const unsigned char* bytes, size_t n) {
        hton(bytes, n, at_);
        at_ += n;
    }

    // An IPv4 address is its 32-bit value, an IPv6 address its 16 bytes.
    void write_address(const Vorn::IP_address& address) {
        if (address.family() == Vorn::IP_address::IPv6) {
            address.hton(at_, Vorn::IP_address::IPv6);
            at_ += 16;
        } else {
            write(address.to_int());
        }
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
                      "network-order writes take unsigned char, short and int only");
        if constexpr (sizeof(T) == 1) {
            *at = value;
        } else if constexpr (sizeof(T) == 2) {
            store(at, __builtin_bswap16(value));
        } else {
            store(at, __builtin_bswap32(value));
        }
        return at + sizeof(T);
    }

    unsigned char* at_;
};

// Fixed 1500-byte output buffer every datagram is serialised into. The bytes
// live inside the object, so a fresh buffer per datagram costs no allocation.
// Writes do not check the space left: callers keep a datagram within 1500 bytes.
class RawData {
public:
    static constexpr size_t capacity = max_datagram_length;

    RawData() = default;
    RawData(const RawData&) = delete;
    RawData& operator=(const RawData&) = delete;

    static unsigned char* hton(const unsigned char* src, size_t n, unsigned char* dst) {
        return WireWriter::hton(src, n, dst);
    }

    template <typename T>
    void write(const T& value) {
        out_.write(value);
    }
    // Several values in a row: one cursor update for all of them.
    template <typename... T>
    void write_all(const T&... values) {
        out_.write(values...);
    }
    // Reverses the n bytes as one unit (see WireWriter::write_reversed).
    void write(const unsigned char* bytes, size_t n) { out_.write_reversed(bytes, n); }
    // Bytes that are in network order already, copied as they are.
    void append(const unsigned char* bytes, size_t n) { out_.append(bytes, n); }
    void padding(int n) { out_.padding(static_cast<size_t>(n)); }

    const unsigned char* data() const { return data_; }
    size_t size() const { return static_cast<size_t>(out_.position() - data_); }

private:
    unsigned char data_[capacity];
    WireWriter out_{data_};
};

}  // namespace Strell
