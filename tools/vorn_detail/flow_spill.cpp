#include "tools/vorn_detail/flow_spill.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tools/vorn_detail/failure.h"

namespace Vorn {

namespace {

std::string temporary_directory() {
    const char* dir = std::getenv("TMPDIR");
    return dir != nullptr && *dir != '\0' ? dir : "/tmp";
}

[[noreturn]] void fail(const std::string& what) {
    throw Failure(what + " a temporary file in " + temporary_directory() + ": " + std::strerror(errno));
}

}  // namespace

FlowSpill::~FlowSpill() {
    if (fd_ >= 0) ::close(fd_);
}

void FlowSpill::open() {
    const std::string dir = temporary_directory();
    fd_ = ::open(dir.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd_ < 0 && (errno == EOPNOTSUPP || errno == EISDIR)) {
        // A file system without unnamed files: a named one, unlinked at once.
        std::string name = dir + "/vorn-detail.XXXXXX";
        fd_ = mkostemp(name.data(), O_CLOEXEC);
        if (fd_ >= 0) unlink(name.c_str());
    }
    if (fd_ < 0) fail("cannot create");
    pending_.reserve(block_flows);
}

void FlowSpill::append(const ComparedFlow& flow) {
    if (fd_ < 0) open();
    pending_.push_back(flow);
    ++size_;
    if (pending_.size() == block_flows) flush();
}

void FlowSpill::flush() {
    const char* bytes = reinterpret_cast<const char*>(pending_.data());
    size_t left = pending_.size() * sizeof(ComparedFlow);
    while (left > 0) {
        const ssize_t written = ::write(fd_, bytes, left);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) fail("cannot write");
        bytes += written;
        left -= static_cast<size_t>(written);
    }
    pending_.clear();
}

void FlowSpill::read(void* into, size_t bytes, unsigned long index) {
    if (!pending_.empty()) flush();
    auto* at = static_cast<char*>(into);
    off_t offset = static_cast<off_t>(index * sizeof(ComparedFlow));
    while (bytes > 0) {
        const ssize_t got = ::pread(fd_, at, bytes, offset);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) fail("cannot read");
        at += got;
        offset += got;
        bytes -= static_cast<size_t>(got);
    }
}

ComparedFlow FlowSpill::at(unsigned long index) {
    ComparedFlow flow;
    read(&flow, sizeof flow, index);
    return flow;
}

void FlowSpill::read_block(unsigned long start) {
    block_.resize(static_cast<size_t>(std::min(block_flows, size_ - start)));
    read(block_.data(), block_.size() * sizeof(ComparedFlow), start);
}

}  // namespace Vorn
