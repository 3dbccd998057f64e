#pragma once

// Internal helpers of the socket layer, visible to its tests.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>
#include <string>

#include "vorn/net/socket.h"
#include "vorn/util/byte_order.h"

namespace Vorn {
namespace SocketImpl {

// " failed <operation>: <strerror(errno)>"; the leading blank is kept on purpose,
// so what() shows two blanks after the colon.
std::string describe_error(const std::string& operation);

// describe_error for an operation named by a literal: errno is saved before the
// name becomes a std::string (which may allocate) and restored for describe_error.
std::string describe_errno(const char* operation);

// A socket address of either family: 28 bytes, the size of sockaddr_in6.
union SockAddr {
    sockaddr base;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

// Throws SocketError "fill_sockaddr: invalid endpoint"; out of line so that
// fill_sockaddr stays small.
[[noreturn, gnu::cold]] void invalid_endpoint();

// Fills `out` from an endpoint and returns its length (16 or 28); any family
// other than IPv4 and IPv6 throws. Inline: every sendto builds one.
[[gnu::always_inline]] inline socklen_t fill_sockaddr(const Socket::Endpoint& endpoint, SockAddr& out) {
    switch (endpoint.address.family()) {
        case IP_address::IPv4:
            std::memset(&out.v4, 0, sizeof out.v4);
            out.v4.sin_family = AF_INET;
            store_be<uint16_t>(reinterpret_cast<unsigned char*>(&out.v4.sin_port), endpoint.port);
            endpoint.address.hton(reinterpret_cast<unsigned char*>(&out.v4.sin_addr), IP_address::IPv4);
            return sizeof out.v4;
        case IP_address::IPv6:
            std::memset(&out.v6, 0, sizeof out.v6);
            out.v6.sin6_family = AF_INET6;
            store_be<uint16_t>(reinterpret_cast<unsigned char*>(&out.v6.sin6_port), endpoint.port);
            endpoint.address.hton(out.v6.sin6_addr.s6_addr, IP_address::IPv6);
            return sizeof out.v6;
    }
    invalid_endpoint();
}

// Reads an endpoint from a socket address of `size` bytes; throws SocketError
// "fill_endpoint: invalid data size" or "fill_endpoint: unsupported address family".
Socket::Endpoint fill_endpoint(const SockAddr& address, socklen_t size);

}  // namespace SocketImpl
}  // namespace Vorn
