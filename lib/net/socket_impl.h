#pragma once

// Internal helpers of the socket layer, visible to its tests.

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>

#include "net/socket.h"

namespace Vorn {
namespace SocketImpl {

// A socket address of either family: 28 bytes, the size of sockaddr_in6.
union SockAddr {
    sockaddr base;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

// describe_error for an operation named by a literal: errno is saved before the
// name becomes a std::string (which may allocate) and restored for describe_error.
std::string describe_errno(const char* operation);

// Fills `out` from an endpoint and returns its length (16 or 28); any family
// other than IPv4 and IPv6 throws SocketError "fill_sockaddr: invalid endpoint".
socklen_t fill_sockaddr(const Socket::Endpoint& endpoint, SockAddr& out);

// Reads an endpoint from a socket address of `size` bytes; throws SocketError
// "fill_endpoint: invalid data size" or "fill_endpoint: unsupported address family".
Socket::Endpoint fill_endpoint(const SockAddr& address, socklen_t size);

}  // namespace SocketImpl
}  // namespace Vorn
