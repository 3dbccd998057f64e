#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

namespace Vorn {

// A detail file read through standard I/O into a buffer of its own, so that
// a whole record can be decoded where it lies. The stream itself is left
// unbuffered: each refill is one large read straight into this buffer.
// Positions are those of the bytes handed out, not of the stream.
class DetailInput {
public:
    DetailInput() = default;
    DetailInput(const DetailInput&) = delete;
    DetailInput& operator=(const DetailInput&) = delete;
    ~DetailInput() { close(); }

    bool open(const char* path);
    bool is_open() const { return file_ != nullptr; }
    void close();

    // Bytes available at next() without a refill.
    size_t buffered() const { return static_cast<size_t>(end_ - next_); }
    // Where the next byte is; one byte there may be read even when nothing
    // is buffered (or no file is open), so that a reader can look at what
    // may be a record's first byte before it asks whether a record is there.
    const unsigned char* next() const { return next_; }
    void consume(size_t n) { next_ += n; }
    // At least n bytes at next(), refilling when needed (n at most the
    // buffer's size); false at the end of the file or on a read error.
    bool fill(size_t n) { return buffered() >= n || refill(n); }

    bool read_byte(unsigned char& byte);
    // Up to n bytes into out; what arrived is consumed either way.
    size_t read(unsigned char* out, size_t n);
    // fseek's success, whence SEEK_SET, SEEK_CUR or SEEK_END.
    bool seek(long offset, int whence);
    // -1 when the stream cannot tell.
    long tell();

private:
    static constexpr size_t capacity = 256 * 1024;

    bool refill(size_t n);

    // Where next() points while there is no buffer.
    static const unsigned char nothing;

    // Nothing buffered, next() at position, whose byte is defined.
    void empty_at(unsigned char* position);

    FILE* file_ = nullptr;
    // Kept from one file to the next; one byte longer than capacity, for the
    // byte past the end.
    std::unique_ptr<unsigned char[]> buffer_;
    const unsigned char* next_ = &nothing;
    const unsigned char* end_ = &nothing;
};

}  // namespace Vorn
