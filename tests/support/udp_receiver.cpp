#include "udp_receiver.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace StrellTest {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error("UdpReceiver: " + what + ": " + std::strerror(errno));
}

}  // namespace

UdpReceiver::UdpReceiver(const std::string& address, int buffer_bytes) : address_(address) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(address.c_str(), "0", &hints, &found) != 0) fail("address " + address);
    fd_ = ::socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool bound = fd_ >= 0 && ::bind(fd_, found->ai_addr, found->ai_addrlen) == 0;
    ::freeaddrinfo(found);
    if (!bound) fail("bind " + address);
    // FORCE passes the system cap but needs root; plain SO_RCVBUF is capped.
    if (::setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &buffer_bytes, sizeof buffer_bytes) != 0) {
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &buffer_bytes, sizeof buffer_bytes);
    }
    sockaddr_in6 bound_to{};  // sin_port and sin6_port share their offset
    socklen_t length = sizeof bound_to;
    if (::getsockname(fd_, reinterpret_cast<sockaddr*>(&bound_to), &length) != 0) fail("getsockname");
    port_ = ntohs(bound_to.sin6_port);
}

UdpReceiver::~UdpReceiver() {
    if (fd_ >= 0) ::close(fd_);
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

std::vector<Datagram> UdpReceiver::collect(std::chrono::milliseconds idle, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::vector<Datagram> datagrams;
    while (std::chrono::steady_clock::now() < deadline) {
        auto datagram = receive(idle);
        if (!datagram) break;
        datagrams.push_back(std::move(*datagram));
    }
    return datagrams;
}

}  // namespace StrellTest
