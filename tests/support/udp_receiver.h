#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace StrellTest {

using Datagram = std::vector<uint8_t>;

// A collector stand-in: a UDP socket on a port the system picks, on a loopback
// address (127.0.0.0/8, ::1 or ::ffff:127.x.y.z), with a receive buffer raised
// past the system cap where the process may. Every wait is bounded.
class UdpReceiver {
public:
    explicit UdpReceiver(const std::string& address = "127.0.0.1", int buffer_bytes = 8 << 20);
    UdpReceiver(const UdpReceiver&) = delete;
    UdpReceiver& operator=(const UdpReceiver&) = delete;
    ~UdpReceiver();

    const std::string& address() const { return address_; }
    uint16_t port() const { return port_; }
    int fd() const { return fd_; }

    std::optional<Datagram> receive(std::chrono::milliseconds timeout);
    // Until `idle` passes without a datagram, or `limit` in all; idle 0 takes what is queued.
    std::vector<Datagram> collect(std::chrono::milliseconds idle, std::chrono::milliseconds limit = std::chrono::seconds(30));

private:
    std::string address_;
    int fd_ = -1;
    uint16_t port_ = 0;
};

}  // namespace StrellTest
