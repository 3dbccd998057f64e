#include "stat/detail_input.h"

#include <algorithm>
#include <cstring>

namespace Vorn {

bool DetailInput::open(const char* path) {
    close();
    file_ = std::fopen(path, "rb");
    if (file_ == nullptr) return false;
    std::setvbuf(file_, nullptr, _IONBF, 0);
    if (!buffer_) buffer_.reset(new unsigned char[capacity]);
    next_ = end_ = buffer_.get();
    return true;
}

void DetailInput::close() {
    if (file_ != nullptr) std::fclose(file_);
    file_ = nullptr;
    next_ = end_ = buffer_.get();
}

bool DetailInput::refill(size_t n) {
    if (file_ == nullptr) return false;
    unsigned char* const start = buffer_.get();
    size_t have = buffered();
    std::memmove(start, next_, have);
    next_ = start;
    while (have < n) {
        const size_t got = std::fread(start + have, 1, capacity - have, file_);
        if (got == 0) break;
        have += got;
    }
    end_ = start + have;
    return have >= n;
}

bool DetailInput::read_byte(unsigned char& byte) {
    if (!fill(1)) return false;
    byte = *next_++;
    return true;
}

size_t DetailInput::read(unsigned char* out, size_t n) {
    fill(n);
    const size_t got = std::min(n, buffered());
    if (got != 0) std::memcpy(out, next_, got);
    next_ += got;
    return got;
}

bool DetailInput::seek(long offset, int whence) {
    if (file_ == nullptr) return false;
    // A short skip forward stays in the buffer: the stream, which has
    // already been positioned at will, could go there just the same.
    if (whence == SEEK_CUR && offset >= 0 && static_cast<size_t>(offset) <= buffered()) {
        next_ += offset;
        return true;
    }
    if (whence == SEEK_CUR) offset -= static_cast<long>(buffered());
    // A failed seek leaves the stream, and so the buffer, where they were.
    if (std::fseek(file_, offset, whence) != 0) return false;
    next_ = end_ = buffer_.get();
    return true;
}

long DetailInput::tell() {
    if (file_ == nullptr) return -1;
    const long position = std::ftell(file_);
    return position == -1 ? -1 : position - static_cast<long>(buffered());
}

}  // namespace Vorn
