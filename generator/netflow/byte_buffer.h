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
            clear();
            if (other.size() != 0) {
                std::memcpy(extend(other.size()), other.data(), other.size());
            }
        }
        return *this;
    }
    // Moves are for the vectors of flowsets growing; nothing move-assigns.
    ByteBuffer(ByteBuffer&& other) noexcept { swap(other); }

    // n more bytes at the end, uninitialised; the pointer is valid until the
    // next extend.
    unsigned char* extend(size_t n) {
        if (static_cast<size_t>(limit_ - end_) < n) {
            grow(size() + n);
        }
        unsigned char* at = end_;
        end_ += n;
        return at;
    }
    // Keeps the storage.
    void clear() { end_ = bytes_.get(); }

    const unsigned char* data() const { return bytes_.get(); }
    size_t size() const { return static_cast<size_t>(end_ - bytes_.get()); }

private:
    void swap(ByteBuffer& other) noexcept {
        std::swap(bytes_, other.bytes_);
        std::swap(end_, other.end_);
        std::swap(limit_, other.limit_);
    }

    // Out of line: the callers that append a record per flow keep their
    // values in registers on the common path.
    [[gnu::noinline, gnu::cold]] void grow(size_t needed) {
        const size_t capacity = static_cast<size_t>(limit_ - bytes_.get());
        size_t bigger_capacity = capacity < 64 ? 64 : capacity * 2;
        while (bigger_capacity < needed) {
            bigger_capacity *= 2;
        }
        std::unique_ptr<unsigned char[]> bigger(new unsigned char[bigger_capacity]);
        const size_t used = size();
        if (used != 0) {
            std::memcpy(bigger.get(), bytes_.get(), used);
        }
        bytes_ = std::move(bigger);
        end_ = bytes_.get() + used;
        limit_ = bytes_.get() + bigger_capacity;
    }

    std::unique_ptr<unsigned char[]> bytes_;
    unsigned char* end_ = nullptr;    // of what is written
    unsigned char* limit_ = nullptr;  // of the storage
};

}  // namespace Strell
