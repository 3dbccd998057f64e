#include "test_support.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace StrellTest {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error("UdpReceiver: " + what + ": " + std::strerror(errno));
}

}  // namespace

TempFile::TempFile(const std::vector<uint8_t>& bytes) {
    char name[] = "/tmp/strell-test-XXXXXX";
    const int fd = ::mkstemp(name);
    if (fd < 0) throw std::runtime_error("mkstemp failed");
    path_ = name;
    const bool written = ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    ::close(fd);
    if (!written) throw std::runtime_error("cannot write " + path_);
}

TempFile::~TempFile() { std::remove(path_.c_str()); }

UdpReceiver::UdpReceiver(const std::string& address, int receive_buffer) : address_(address) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(address.c_str(), "0", &hints, &found) != 0) fail("address " + address);
    fd_ = ::socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool bound = fd_ >= 0 && ::bind(fd_, found->ai_addr, found->ai_addrlen) == 0;
    ::freeaddrinfo(found);
    if (!bound) fail("bind");
    if (receive_buffer > 0 &&
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &receive_buffer, sizeof(receive_buffer)) != 0) {
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof(receive_buffer));
    }
    sockaddr_storage storage{};
    socklen_t length = sizeof(storage);
    if (::getsockname(fd_, reinterpret_cast<sockaddr*>(&storage), &length) != 0) fail("getsockname");
    // sin_port and sin6_port lie at the same offset.
    port_ = ntohs(reinterpret_cast<sockaddr_in*>(&storage)->sin_port);
}

UdpReceiver::~UdpReceiver() {
    if (fd_ >= 0) ::close(fd_);
}

int UdpReceiver::actual_receive_buffer() const {
    int size = 0;
    socklen_t length = sizeof(size);
    ::getsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &size, &length);
    return size;
}

std::optional<Datagram> UdpReceiver::receive(std::chrono::milliseconds timeout) {
    pollfd entry{fd_, POLLIN, 0};
    const int ready = ::poll(&entry, 1, static_cast<int>(timeout.count()));
    if (ready < 0 && errno != EINTR) fail("poll");
    if (ready <= 0) return std::nullopt;
    Datagram datagram(65536);
    const ssize_t got = ::recv(fd_, datagram.data(), datagram.size(), 0);
    if (got < 0) fail("recv");
    datagram.resize(static_cast<size_t>(got));
    return datagram;
}

std::vector<Datagram> UdpReceiver::collect(size_t count, std::chrono::milliseconds idle,
                                           std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::vector<Datagram> datagrams;
    while (datagrams.size() < count) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        auto datagram = receive(std::clamp(left, std::chrono::milliseconds(0), idle));
        if (!datagram) break;
        datagrams.push_back(std::move(*datagram));
    }
    return datagrams;
}

}  // namespace StrellTest
