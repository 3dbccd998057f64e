#include "vorn/net/socket_impl.h"

#include <cerrno>
#include <cstring>

#include "vorn/net/socket_error.h"

namespace Vorn {

namespace {

// strerror_r comes in two flavours; both overloads give the text to use.
[[maybe_unused]] const char* error_text(int result, const char* buffer) { return result == 0 ? buffer : "Unknown error"; }
[[maybe_unused]] const char* error_text(const char* result, const char*) { return result; }

}  // namespace

namespace SocketImpl {

std::string describe_error(const std::string& operation) {
    const int error = errno;  // read once, before anything can change it
    char buffer[256];
    const char* text = error_text(strerror_r(error, buffer, sizeof buffer), buffer);
    std::string result;
    result.reserve(8 + operation.size() + 2 + std::strlen(text));
    result.append(" failed ").append(operation).append(": ").append(text);
    return result;
}

std::string describe_errno(const char* operation) {
    const int error = errno;
    std::string name(operation);
    errno = error;
    return describe_error(name);
}

void invalid_endpoint() { throw SocketError("fill_sockaddr: invalid endpoint"); }

Socket::Endpoint fill_endpoint(const SockAddr& address, socklen_t size) {
    Socket::Endpoint endpoint;
    switch (address.base.sa_family) {
        case AF_INET:
            if (size < sizeof(sockaddr_in)) throw SocketError("fill_endpoint: invalid data size");
            endpoint.address = IP_address::from_raw(IP_address::IPv4, &address.v4.sin_addr, 4);
            endpoint.port = load_be<uint16_t>(reinterpret_cast<const unsigned char*>(&address.v4.sin_port));
            return endpoint;
        case AF_INET6:
            // Deliberately the IPv4 bound of 16 bytes, not the full 28.
            if (size < sizeof(sockaddr_in)) throw SocketError("fill_endpoint: invalid data size");
            endpoint.address = IP_address::from_raw(IP_address::IPv6, address.v6.sin6_addr.s6_addr, 16);
            endpoint.port = load_be<uint16_t>(reinterpret_cast<const unsigned char*>(&address.v6.sin6_port));
            return endpoint;
    }
    throw SocketError("fill_endpoint: unsupported address family");
}

}  // namespace SocketImpl

}  // namespace Vorn
