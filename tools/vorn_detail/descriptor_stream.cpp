#include "tools/vorn_detail/descriptor_stream.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/vorn_detail/failure.h"

namespace Vorn {

DescriptorStream::DescriptorStream(int fd, std::string name, bool owned)
    : std::istream(nullptr), buffer_(fd, std::move(name)), owned_(owned) {
    if (fd < 0) return;  // no buffer: bad
    rdbuf(&buffer_);
    // A Failure from the buffer passes through getline and the like.
    exceptions(std::ios::badbit);
}

DescriptorStream::~DescriptorStream() {
    if (owned_) ::close(buffer_.fd());
}

DescriptorStream::Buffer::int_type DescriptorStream::Buffer::underflow() {
    ssize_t got;
    do got = ::read(fd_, bytes_, sizeof bytes_);
    while (got < 0 && errno == EINTR);
    if (got < 0) throw Failure("cannot read " + name_ + ": " + std::strerror(errno));
    if (got == 0) return traits_type::eof();
    setg(bytes_, bytes_, bytes_ + got);
    return traits_type::to_int_type(bytes_[0]);
}

void require_standard_input(const std::istream& in) {
    if (!in.good()) throw Failure("cannot read standard input: it is closed");
}

}  // namespace Vorn
