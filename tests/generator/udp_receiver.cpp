#include "udp_receiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace StrellTest {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error("UdpReceiver: " + what + ": " + std::strerror(errno));
}

}  // namespace

UdpReceiver::UdpReceiver(const std::string& address, int receive_buffer) : address_(address) {
    const bool v6 = address.find(':') != std::string::npos;
    fd_ = ::socket(v6 ? AF_INET6 : AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd_ < 0) fail("socket");
    if (receive_buffer > 0 &&
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &receive_buffer, sizeof(receive_buffer)) != 0) {
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof(receive_buffer));
    }
    sockaddr_storage storage{};
    socklen_t length = 0;
    if (v6) {
        auto* sa = reinterpret_cast<sockaddr_in6*>(&storage);
        sa->sin6_family = AF_INET6;
        if (::inet_pton(AF_INET6, address.c_str(), &sa->sin6_addr) != 1) fail("address " + address);
        length = sizeof(sockaddr_in6);
    } else {
        auto* sa = reinterpret_cast<sockaddr_in*>(&storage);
        sa->sin_family = AF_INET;
        if (::inet_pton(AF_INET, address.c_str(), &sa->sin_addr) != 1) fail("address " + address);
        length = sizeof(sockaddr_in);
    }
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&storage), length) != 0) fail("bind");
    length = sizeof(storage);
    if (::getsockname(fd_, reinterpret_cast<sockaddr*>(&storage), &length) != 0) fail("getsockname");
    port_ = ntohs(v6 ? reinterpret_cast<sockaddr_in6*>(&storage)->sin6_port
                     : reinterpret_cast<sockaddr_in*>(&storage)->sin_port);
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

std::vector<Datagram> UdpReceiver::drain() {
    std::vector<Datagram> datagrams;
    while (auto datagram = receive(std::chrono::milliseconds(0))) {
        datagrams.push_back(std::move(*datagram));
    }
    return datagrams;
}

std::vector<Datagram> UdpReceiver::collect(size_t count, std::chrono::milliseconds idle,
                                           std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::vector<Datagram> datagrams;
    while (datagrams.size() < count) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        auto datagram = receive(std::min(idle, left));
        if (!datagram) break;
        datagrams.push_back(std::move(*datagram));
    }
    return datagrams;
}

}  // namespace StrellTest
