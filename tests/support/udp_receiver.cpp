#include "udp_receiver.h"

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace StrellTest {

UdpReceiver::UdpReceiver(const std::string& address, int buffer_bytes) : address_(address) {
    sockaddr_in6 bound{};  // sin_port and sin6_port share their offset
    auto* v4 = reinterpret_cast<sockaddr_in*>(&bound);
    const bool v6 = inet_pton(AF_INET6, address.c_str(), &bound.sin6_addr) == 1;
    bound.sin6_family = v6 ? AF_INET6 : AF_INET;
    socklen_t length = v6 ? sizeof bound : sizeof *v4;
    fd_ = ::socket(bound.sin6_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    // FORCE passes the system cap but needs root; plain SO_RCVBUF is capped.
    if (::setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &buffer_bytes, sizeof buffer_bytes) != 0) {
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &buffer_bytes, sizeof buffer_bytes);
    }
    if ((!v6 && inet_pton(AF_INET, address.c_str(), &v4->sin_addr) != 1) ||
        ::bind(fd_, reinterpret_cast<sockaddr*>(&bound), length) != 0 ||
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&bound), &length) != 0) {
        throw std::runtime_error("UdpReceiver on " + address + ": " + std::strerror(errno));
    }
    port_ = ntohs(bound.sin6_port);
}

UdpReceiver::~UdpReceiver() { ::close(fd_); }

std::optional<Datagram> UdpReceiver::receive(std::chrono::milliseconds timeout) {
    pollfd entry{fd_, POLLIN, 0};
    if (::poll(&entry, 1, static_cast<int>(timeout.count())) <= 0) return std::nullopt;
    Datagram datagram(65536);
    const ssize_t got = ::recv(fd_, datagram.data(), datagram.size(), 0);
    datagram.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return datagram;
}

std::vector<Datagram> UdpReceiver::collect(std::chrono::milliseconds idle, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::vector<Datagram> datagrams;
    for (auto datagram = receive(idle); datagram; datagram = std::chrono::steady_clock::now() < deadline ? receive(idle) : std::nullopt)
        datagrams.push_back(std::move(*datagram));
    return datagrams;
}

}  // namespace StrellTest
