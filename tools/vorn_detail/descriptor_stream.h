#pragma once

#include <istream>
#include <streambuf>
#include <string>

namespace Vorn {

// An input stream over a file descriptor whose read errors are a Failure
// naming the input ("cannot read NAME: reason"), so that no reader of it,
// line by line or through a JSON parser, takes an error for the end.
class DescriptorStream : public std::istream {
public:
    // fd < 0 stands for a descriptor the program was started without: the
    // stream is bad from the start. An owned descriptor (never -1) is closed
    // at the end.
    DescriptorStream(int fd, std::string name, bool owned);
    ~DescriptorStream() override;
    DescriptorStream(const DescriptorStream&) = delete;
    DescriptorStream& operator=(const DescriptorStream&) = delete;

private:
    class Buffer : public std::streambuf {
    public:
        Buffer(int fd, std::string name) : fd_(fd), name_(std::move(name)) {}
        int fd() const { return fd_; }

    protected:
        int_type underflow() override;

    private:
        int fd_;
        std::string name_;
        char bytes_[64 * 1024];
    };

    Buffer buffer_;
    bool owned_;
};

// Throws the Failure for a closed standard input unless in is good: a
// program started with its input closed must not read the empty input of
// whatever file takes descriptor 0.
void require_standard_input(const std::istream& in);

}  // namespace Vorn
