#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace StrellTest {

using Datagram = std::vector<uint8_t>;

// A collector stand-in: a UDP socket bound to port 0 on 127.0.0.1 or ::1.
// Every wait is bounded, so a test that sends too little fails instead of hanging.
class UdpReceiver {
public:
    // receive_buffer > 0 asks for that SO_RCVBUF (forced past the system cap
    // when the process may); actual_receive_buffer() tells what was granted.
    explicit UdpReceiver(const std::string& address = "127.0.0.1", int receive_buffer = 0);
    UdpReceiver(const UdpReceiver&) = delete;
    UdpReceiver& operator=(const UdpReceiver&) = delete;
    ~UdpReceiver();

    uint16_t port() const { return port_; }
    const std::string& address() const { return address_; }
    int actual_receive_buffer() const;

    // One datagram, or nothing after timeout.
    std::optional<Datagram> receive(std::chrono::milliseconds timeout);
    // Everything already queued, without waiting.
    std::vector<Datagram> drain();
    // Until count datagrams, `idle` without one, or `limit` overall.
    std::vector<Datagram> collect(size_t count, std::chrono::milliseconds idle,
                                  std::chrono::milliseconds limit = std::chrono::seconds(30));

private:
    std::string address_;
    int fd_ = -1;
    uint16_t port_ = 0;
};

}  // namespace StrellTest
