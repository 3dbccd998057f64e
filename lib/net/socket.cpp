#include "vorn/net/socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "vorn/log/log_stream.h"
#include "vorn/net/socket_impl.h"

#define VORN_UNLIKELY(condition) __builtin_expect(static_cast<bool>(condition), 0)

namespace Vorn {

namespace {

const LogStream& network_log() {
    static const LogStream log("Network");
    return log;
}

// The throwing paths live out of line so that the hot calls (sendto) stay small.
[[noreturn, gnu::noinline, gnu::cold]] void fail(const char* text) { throw SocketError(text); }

[[noreturn, gnu::noinline, gnu::cold]] void fail_described(const char* operation) {
    throw SocketError(SocketImpl::describe_errno(operation));
}

// Only listen closes the socket when it fails; errno is read before close can change it.
[[noreturn]] void close_and_fail(Socket& socket, const char* operation) {
    const std::string text = SocketImpl::describe_errno(operation);
    socket.close();
    throw SocketError(text);
}

bool apply_option(int descriptor, const SocketOption& option) {
    const std::string& text = option.text_value();
    if (!text.empty())
        return ::setsockopt(descriptor, option.level(), option.name(), text.data(),
                            static_cast<socklen_t>(text.size())) == 0;
    const int value = option.int_value();
    return ::setsockopt(descriptor, option.level(), option.name(), &value, sizeof value) == 0;
}

// The first steps of listen and connect: open for the endpoint's family,
// apply the options, and give the endpoint's socket address.
socklen_t open_for(Socket& socket, const Socket::Endpoint& endpoint, SocketImpl::SockAddr& address) {
    socket.open(endpoint.address.family());
    socket.set_options();
    return SocketImpl::fill_sockaddr(endpoint, address);
}

int duplicate(int descriptor) {
    // Like dup, but the copy keeps close-on-exec as every socket of this layer has it.
    return descriptor < 0 ? -1 : ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

}  // namespace

// ---------------------------------------------------------------- life cycle

Socket::Socket(Protocol protocol) : protocol_(protocol) {}

Socket::Socket(int descriptor, const Endpoint& peer)
    : descriptor_(descriptor), protocol_(TCP), family_(peer.address.family()), endpoint_(peer) {}

Socket::Socket(const Socket& other)
    : descriptor_(duplicate(other.descriptor_)),
      protocol_(other.protocol_),
      family_(other.family_),
      endpoint_(other.endpoint_),
      listening_(other.listening_),
      max_conn_(other.max_conn_) {}

Socket& Socket::operator=(const Socket& other) {
    if (this == &other) return *this;
    descriptor_ = duplicate(other.descriptor_);  // the one held before is deliberately not closed
    protocol_ = other.protocol_;
    family_ = other.family_;
    endpoint_ = other.endpoint_;
    listening_ = other.listening_;
    max_conn_ = other.max_conn_;
    options_.clear();
    client_options_.clear();
    return *this;
}

Socket::~Socket() { close(); }

Socket Socket::clone() const { return Socket(*this); }

// ---------------------------------------------------------------- settings

void Socket::set_option(const SocketOption& option) {
    if (descriptor_ != -1) fail("set_option: socket is already opened");
    options_.push_back(option);
}

void Socket::set_client_option(const SocketOption& option) { client_options_.push_back(option); }

void Socket::set_max_conn(unsigned max_conn) {
    if (descriptor_ != -1) fail("set_max_conn: socket is already opened");
    if (protocol_ != TCP) fail("set_max_conn: invoked for UDP socket");
    max_conn_ = max_conn;
}

void Socket::set_options() {
    if (descriptor_ == -1) fail("set_options: socket is not opened");
    for (const SocketOption& option : options_) {
        if (option.name() == -1) continue;
        if (!apply_option(descriptor_, option)) {
            const std::string text = SocketImpl::describe_errno("set socket option");
            network_log()(Logger::Debug) << text;
        }
    }
}

// ---------------------------------------------------------------- opening

void Socket::open(IP_address::Family family) {
    if (family != IP_address::IPv4 && family != IP_address::IPv6) fail("open: invalid address family");
    family_ = family;
    const int domain = family == IP_address::IPv6 ? AF_INET6 : AF_INET;
    const int type = protocol_ == TCP ? SOCK_STREAM : SOCK_DGRAM;
    const int descriptor = ::socket(domain, type | SOCK_CLOEXEC, 0);
    if (descriptor < 0) fail_described("open: socket");
    descriptor_ = descriptor;
}

void Socket::listen(const Endpoint& endpoint) {
    SocketImpl::SockAddr address;
    const socklen_t length = open_for(*this, endpoint, address);
    if (::bind(descriptor_, &address.base, length) != 0) close_and_fail(*this, "bind");
    if (protocol_ == TCP && ::listen(descriptor_, static_cast<int>(max_conn_)) != 0) close_and_fail(*this, "listen");
    endpoint_ = endpoint;
    listening_ = true;
}

void Socket::connect(const Endpoint& endpoint) {
    SocketImpl::SockAddr address;
    const socklen_t length = open_for(*this, endpoint, address);
    if (::connect(descriptor_, &address.base, length) != 0) fail_described("connect");  // stays open
    endpoint_ = endpoint;
}

Socket Socket::accept() {
    if (!listening_) fail("accept: invoked for non-listening socket");
    if (protocol_ != TCP) fail("accept: invoked for UDP socket");
    SocketImpl::SockAddr address;
    std::memset(&address, 0, sizeof address);
    socklen_t length = sizeof address;
    const int client = ::accept4(descriptor_, &address.base, &length, SOCK_CLOEXEC);
    if (client < 0) fail_described("accept");
    for (const SocketOption& option : client_options_) {
        // Unknown options (name -1) are deliberately not skipped here; they fail harmlessly.
        if (!apply_option(client, option))
            network_log()(Logger::Debug) << "setsockopt(level=" << option.level() << ",opt=" << option.name()
                                         << ") failed";
    }
    Endpoint peer;
    try {
        peer = SocketImpl::fill_endpoint(address, length);
    } catch (...) {
        ::close(client);
        throw;
    }
    return Socket(client, peer);
}

// ---------------------------------------------------------------- data

size_t Socket::read(void* data, size_t size) {
    if (VORN_UNLIKELY(descriptor_ == -1)) fail("read: socket is closed");
    const ssize_t count = ::read(descriptor_, data, size);
    if (VORN_UNLIKELY(count < 0)) fail_described("socket read");
    return static_cast<size_t>(count);
}

size_t Socket::write(const void* data, size_t size) {
    if (VORN_UNLIKELY(descriptor_ == -1)) fail("write: socket is closed");
    const ssize_t count = ::write(descriptor_, data, size);
    if (VORN_UNLIKELY(count < 0)) fail_described("socket write");
    return static_cast<size_t>(count);
}

size_t Socket::recvfrom(void* data, size_t size, Endpoint& from) {
    if (VORN_UNLIKELY(descriptor_ == -1)) fail("recvfrom: socket is closed");
    SocketImpl::SockAddr address;
    std::memset(&address, 0, sizeof address);
    socklen_t length = sizeof address;
    const ssize_t count = ::recvfrom(descriptor_, data, size, 0, &address.base, &length);
    if (VORN_UNLIKELY(count < 0)) fail_described("recvfrom");
    from = SocketImpl::fill_endpoint(address, length);
    return static_cast<size_t>(count);
}

// The generator's hot path: no allocation, no logging, one system call.
size_t Socket::sendto(const void* data, size_t size, const Endpoint& to) {
    if (VORN_UNLIKELY(descriptor_ == -1)) fail("sendto: socket is closed");
    SocketImpl::SockAddr address;
    const socklen_t length = SocketImpl::fill_sockaddr(to, address);
    const ssize_t count = ::sendto(descriptor_, data, size, 0, &address.base, length);
    if (VORN_UNLIKELY(count < 0)) fail_described("sendto");
    return static_cast<size_t>(count);
}

int Socket::shutdown(ShutdownType type) {
    if (static_cast<unsigned>(type) >= 3) fail("shutdown: invalid shudown type");  // spelt so on purpose
    return ::shutdown(descriptor_, static_cast<int>(type));
}

void Socket::close() {
    if (descriptor_ == -1) return;
    ::close(descriptor_);
    descriptor_ = -1;
}

// ---------------------------------------------------------------- accessors

int Socket::get_native_socket() const {
    if (descriptor_ == -1) fail("get_native_socket: socket is closed");
    return descriptor_;
}

// Both getters deliberately reuse the wording of accept for their first check.
Socket::Endpoint Socket::get_local_endpoint() const {
    if (!listening_) fail("accept: invoked for non-listening socket");
    if (descriptor_ == -1) fail("get_local_endpoint: socket is closed");
    return endpoint_;
}

Socket::Endpoint Socket::get_remote_endpoint() const {
    if (listening_) fail("accept: invoked for listening socket");
    if (descriptor_ == -1) fail("get_remote_endpoint: socket is closed");
    return endpoint_;
}

}  // namespace Vorn
