#include "vorn/stat/detail_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace Vorn {

namespace {

// The parser seeks, so a FIFO can never be read; it is refused at once
// instead of being waited on in open() until some writer comes.
FILE* open_unless_fifo(const char* path) {
    const int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return nullptr;
    struct stat info;
    const int flags = fcntl(fd, F_GETFL);
    if (fstat(fd, &info) != 0 || S_ISFIFO(info.st_mode) || flags == -1 ||
        fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
        ::close(fd);
        return nullptr;
    }
    FILE* file = fdopen(fd, "rb");
    if (file == nullptr) ::close(fd);
    return file;
}

}  // namespace

const unsigned char DetailInput::nothing = 0;

bool DetailInput::open(const char* path) {
    close();
    file_ = open_unless_fifo(path);
    if (file_ == nullptr) return false;
    std::setvbuf(file_, nullptr, _IONBF, 0);
    if (!buffer_) buffer_.reset(new unsigned char[capacity + 1]);
    empty_at(buffer_.get());
    return true;
}

void DetailInput::close() {
    if (file_ != nullptr) std::fclose(file_);
    file_ = nullptr;
    if (buffer_)
        empty_at(buffer_.get());
    else
        next_ = end_ = &nothing;
}

void DetailInput::empty_at(unsigned char* position) {
    *position = 0;
    next_ = end_ = position;
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
    start[have] = 0;  // the byte past the end that next() lets a reader look at
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
    empty_at(buffer_.get());
    return true;
}

long DetailInput::tell() {
    if (file_ == nullptr) return -1;
    const long position = std::ftell(file_);
    return position == -1 ? -1 : position - static_cast<long>(buffered());
}

}  // namespace Vorn
