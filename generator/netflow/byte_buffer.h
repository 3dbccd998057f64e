#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

namespace Strell {

// A growable byte array whose new bytes are left for the caller to write:
// a flowset body grows by a few dozen bytes per flow, and zeroing them first
// (as a vector's resize would) is wasted work. Copies are deep.
class ByteBuffer {
public:
    ByteBuffer() = default;
    ByteBuffer(const ByteBuffer& other) { *this = other; }
    // Reuses this buffer's storage when it is large enough.
    ByteBuffer& operator=(const ByteBuffer& other) {
        if (this != &other) {
            size_ = 0;
            if (other.size_ != 0) {
                std::memcpy(extend(other.size_), other.data(), other.size_);
            }
        }
        return *this;
    }
    // Moves are for the vectors of flowsets growing; nothing move-assigns.
    ByteBuffer(ByteBuffer&& other) noexcept { swap(other); }

    // n more bytes at the end, uninitialised; the pointer is valid until the
    // next extend.
    unsigned char* extend(size_t n) {
        if (capacity_ - size_ < n) {
            grow(size_ + n);
        }
        unsigned char* at = bytes_.get() + size_;
        size_ += n;
        return at;
    }
    // Keeps the storage.
    void clear() { size_ = 0; }

    const unsigned char* data() const { return bytes_.get(); }
    size_t size() const { return size_; }

private:
    void swap(ByteBuffer& other) noexcept {
        std::swap(bytes_, other.bytes_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

    // Out of line: the callers that append a record per flow keep their
    // values in registers on the common path.
    [[gnu::noinline, gnu::cold]] void grow(size_t needed) {
        size_t capacity = capacity_ < 64 ? 64 : capacity_ * 2;
        while (capacity < needed) {
            capacity *= 2;
        }
        std::unique_ptr<unsigned char[]> bigger(new unsigned char[capacity]);
        if (size_ != 0) {
            std::memcpy(bigger.get(), bytes_.get(), size_);
        }
        bytes_ = std::move(bigger);
        capacity_ = capacity;
    }

    std::unique_ptr<unsigned char[]> bytes_;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

}  // namespace Strell
