#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "log/log_stream.h"
#include "net/socket.h"

namespace net_test {

// Runs `action` and expects an exception of type E whose what() is `message`.
template <typename E, typename F>
void expect_error(F action, const std::string& message) {
    try {
        action();
        ADD_FAILURE() << "no exception, expected: " << message;
    } catch (const E& error) { EXPECT_EQ(message, error.what()); }
}

// No operation makes an address of an invalid family; the family is the first field
// of IP_address, so tests forge one.
inline Vorn::IP_address invalid_address(const char* text = "1.2.3.4") {
    Vorn::IP_address address = Vorn::IP_address::from_string(text);
    const int32_t zero = 0;
    std::memcpy(static_cast<void*>(&address), &zero, sizeof zero);
    return address;
}

inline Vorn::Socket::Endpoint endpoint(const std::string& address, uint16_t port) {
    return {Vorn::IP_address::from_string(address), port};
}

// The port the system chose (get_local_endpoint keeps the requested one).
inline uint16_t bound_port(const Vorn::Socket& socket) {
    sockaddr_in6 address{};  // sin_port and sin6_port share their offset
    socklen_t size = sizeof address;
    getsockname(socket.get_native_socket(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin6_port);
}

// Points the LogStream front end at itself while it lives and keeps every line.
struct LogCapture : Vorn::Logger {
    struct Line { int level; std::string facility, text; };
    std::vector<Line> lines;
    LogCapture() { Vorn::LogStream::init(this); }
    ~LogCapture() override { Vorn::LogStream::init(nullptr); }
    void write(Level level, const std::string& facility, const std::string& text) override {
        lines.push_back({level, facility, text});
    }
};

}  // namespace net_test
