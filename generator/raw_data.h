#pragma once

#include <cstddef>
#include <type_traits>

namespace Strell {

// Fixed 1500-byte output buffer every datagram is serialised into. The bytes
// live inside the object, so a fresh buffer per datagram costs no allocation.
// Writes do not check the space left: callers keep a datagram within 1500 bytes.
class RawData {
public:
    static constexpr size_t capacity = 1500;

    RawData() = default;
    RawData(const RawData&) = delete;
    RawData& operator=(const RawData&) = delete;

    // Copies n bytes from src to dst last byte first. This is the only place
    // that decides byte order: on the little-endian hosts we run on, reversing
    // a host-order value gives network order.
    static unsigned char* hton(const unsigned char* src, size_t n, unsigned char* dst);

    template <typename T>
    void write(const T& value) {
        static_assert(std::is_same_v<T, unsigned char> || std::is_same_v<T, unsigned short> ||
                          std::is_same_v<T, unsigned int>,
                      "RawData writes unsigned char, short and int only");
        write(reinterpret_cast<const unsigned char*>(&value), sizeof(T));
    }

    // Reverses the n bytes as one unit: a 16-byte value stored least
    // significant byte first lands as one 16-byte big-endian number.
    void write(const unsigned char* bytes, size_t n);
    void padding(int n);

    const unsigned char* data() const { return data_; }
    size_t size() const { return capacity - remaining_; }

private:
    unsigned char data_[capacity];
    unsigned char* cursor_ = data_;
    size_t remaining_ = capacity;
};

}  // namespace Strell
