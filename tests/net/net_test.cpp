#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "log/log_stream.h"
#include "net/ip_address.h"
#include "net/poll.h"
#include "net/socket.h"
#include "net/socket_impl.h"

using namespace Vorn;
using std::chrono::milliseconds;

namespace {

// Runs each action in turn; each must throw E whose what() is the prefix and its text.
template <typename E>
void expect_errors(const std::vector<std::pair<std::function<void()>, std::string>>& cases, const std::string& prefix) {
    for (const auto& [action, text] : cases) {
        try {
            action();
            ADD_FAILURE() << "no exception, expected: " << prefix + text;
        } catch (const E& error) { EXPECT_EQ(prefix + text, error.what()); }
    }
}

// No operation makes an address of an invalid family; the family is the first field
// of IP_address, so tests forge one.
IP_address invalid_address(const char* text = "1.2.3.4") {
    IP_address address = IP_address::from_string(text);
    const int32_t zero = 0;
    std::memcpy(static_cast<void*>(&address), &zero, sizeof zero);
    return address;
}

IP_address ip(const std::string& text) { return IP_address::from_string(text); }
IP_address v6(uint64_t high, uint64_t low) { IP_address a; a.from_int(long(high), long(low)); return a; }
const auto IPv4 = IP_address::IPv4, IPv6 = IP_address::IPv6, invalid = static_cast<IP_address::Family>(0);
const uint64_t ones = ~0ULL, top = 1ULL << 63;

Socket::Endpoint endpoint(const std::string& address, uint16_t port) { return {ip(address), port}; }

// The port the system chose (get_local_endpoint keeps the requested one).
uint16_t bound_port(const Socket& socket) {
    sockaddr_in6 address{};  // sin_port and sin6_port share their offset
    socklen_t size = sizeof address;
    getsockname(socket.get_native_socket(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin6_port);
}

std::string described(const char* operation, int error) {
    return std::string(" failed ") + operation + ": " + std::strerror(error);
}

// Points the LogStream front end at itself while it lives; lines as "level facility: text".
struct LogCapture : Logger {
    std::vector<std::string> lines;
    LogCapture() { LogStream::init(this); }
    ~LogCapture() override { LogStream::init(nullptr); }
    void write(Level level, const std::string& facility, const std::string& text) override {
        lines.push_back(std::to_string(level) + " " + facility + ": " + text);
    }
};

}  // namespace

TEST(NetIpText, ParsesBothFamiliesAndRejectsBadText) {
    EXPECT_EQ(0x0A000001U, ip("10.0.0.1").to_int());
    EXPECT_EQ("10.0.0.1", ip("10.0.0.1").to_string());
    EXPECT_TRUE(ip("::1").to_high() == 0 && ip("::1").to_low() == 1 && ip("::1").family() == IPv6);
    EXPECT_EQ(IPv6, ip("::ffff:1.2.3.4").family());
    expect_errors<IPAddressStrError>({{[] { ip("1.2.3"); }, "Invalid address format"}, {[] { ip(""); }, "Invalid address format"}},
                                     "IPAddressStrError: ");
}

TEST(NetIpRaw, RawFormsAndArgumentErrors) {
    const unsigned char bytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    EXPECT_EQ(ip("1.2.3.4"), IP_address::from_raw(invalid, bytes, 16));
    EXPECT_EQ(v6(0x0102030405060708, 0x090A0B0C0D0E0F10), IP_address::from_raw(IPv6, bytes, 16));
    unsigned char out[16] = {};
    ip("1.2.3.4").to_raw(out, 4);
    EXPECT_EQ(0, memcmp(out, "\1\2\3\4", 4));
    expect_errors<IP_addressError>({
        {[&] { IP_address::from_raw(IPv6, bytes, 15); }, "ip_from_raw: invalid IPv6 raw address size"},
        {[&] { IP_address::from_raw(IPv4, bytes, 3); }, "ip_from_raw: invalid IPv4 raw address size"},
        {[&] { ip("1.2.3.4").to_raw(out, 3); }, "ip_to_raw: no space for IPv4 address"},
        {[&] { ip("::1").to_raw(out, 15); }, "ip_to_raw: no space for IPv6 address"},
        {[&] { invalid_address().to_raw(out, 16); }, "ip_to_raw: address type is not valid"},
        {[] { mask(IPv4, 33); }, "mask: invalid IPv4 prefix length"},
        {[] { mask(IPv6, 129); }, "mask: invalid IPv6 prefix length"},
        {[] { mask_for_single_ip(invalid_address()); }, "mask_for_single_ip: invalid address type"}},
        "IP_addressError: ");
}

TEST(NetIpArithmetic, IncrementWrapsAndCarries) {
    EXPECT_EQ(ip("0.0.0.0"), ++ip("255.255.255.255"));
    EXPECT_TRUE(v6(6, 0) == ++v6(5, ones) && v6(0, 0) == ++v6(ones, ones));
}

TEST(NetIpCompare, EveryV4BeforeEveryV6) {
    EXPECT_TRUE(ip("255.255.255.255") < ip("::") && ip("::") > ip("255.255.255.255"));
    EXPECT_FALSE(ip("::") < ip("255.255.255.255") || ip("255.255.255.255") >= ip("::"));
    EXPECT_TRUE(ip("1.2.3.4") < ip("200.0.0.1") && v6(1, 0) < v6(top, 0) && v6(1, 1) > v6(1, 0));
    EXPECT_NE(ip("0.0.0.1"), ip("::1"));
}

TEST(NetIpArithmetic, BitwiseOperatorsFollowLeftFamily) {
    EXPECT_EQ(ip("0.255.0.255"), ~ip("255.0.255.0"));
    EXPECT_EQ(ip("10.1.253.252"), ip("10.1.2.3") ^ ip("0.0.255.255"));
    EXPECT_EQ(v6(0x01020304, 0), v6(ones, 0) & ip("1.2.3.4"));  // an IPv4 value sits in high
    EXPECT_EQ(ip("0.0.0.5"), ip("0.0.0.4") | v6(1, 99));
}

TEST(NetIpArithmetic, AddAndSubtractV6StoreCrosswise) {
    EXPECT_EQ(v6(2, 0), v6(0, 1) + v6(0, 1));
    EXPECT_EQ(v6(top, 1), v6(0, ones) + v6(0, 1));  // carry: low recomputed from 63 bits
    EXPECT_EQ(v6(top - 2, 2), v6(5, top) - v6(2, 1));  // borrow
    EXPECT_EQ(ip("255.255.255.255"), ip("0.0.0.1") - ip("0.0.0.2"));  // IPv4 modulo 32 bits
}

TEST(NetIpMask, MaskBitsSingleIpAndAnyAddress) {
    EXPECT_EQ(ip("255.255.255.0"), mask(IPv4, 24));
    EXPECT_EQ(ip("0.0.0.0"), mask(IPv4, 0));
    EXPECT_EQ(v6(ones, top), mask(IPv6, 65));
    const std::pair<const char*, uint32_t> cases[] = {
        {"255.255.254.0", 23}, {"255.127.0.0", 8}, {"0.0.0.0", 0}, {"255.255.255.255", 32}};
    for (auto [text, count] : cases) EXPECT_EQ(count, bits(ip(text))) << text;
    EXPECT_EQ(ip("255.255.255.255"), mask_for_single_ip(ip("1.2.3.4")));
    EXPECT_EQ(v6(ones, ones), mask_for_single_ip(ip("::1")));
    EXPECT_TRUE(make_any_ip(IPv6) == ip("::") && make_any_ip(invalid) == ip("0.0.0.0"));
    EXPECT_TRUE(is_any_ip(ip("0.0.0.0")) && is_any_ip(ip("::")));
    EXPECT_FALSE(is_any_ip(ip("::1")) || is_any_ip(invalid_address("0.0.0.0")));
}

TEST(NetIpDatabase, ColumnsAndParsing) {
    EXPECT_EQ(-1, ip_to_db_low(ip("255.255.255.255")));
    EXPECT_EQ(4294967295ULL, get_ip_id(ip("255.255.255.255")));
    EXPECT_EQ(3, ip_to_db_high(v6(3, ones)));
    EXPECT_EQ(256, ip_to_db_type(ip("::1")));
    EXPECT_EQ(IPv6, ip_type_from_db("256"));
    EXPECT_EQ(invalid, ip_type_from_db("768"));
    EXPECT_EQ(ip("255.255.255.255"), ip_from_db("-1", "junk", IPv4));
    EXPECT_EQ(v6(INT64_MAX, top), ip_from_db("-99999999999999999999", "99999999999999999999", IPv6));
}

TEST(NetSocket, MisuseThrowsPlainMessages) {
    Socket closed(Socket::UDP), opened(Socket::TCP), bound(Socket::UDP);
    opened.open(IP_address::IPv4);
    bound.listen(endpoint("127.0.0.1", 0));
    Poll empty(10);
    expect_errors<SocketError>({
        {[&] { closed.sendto("x", 1, endpoint("127.0.0.1", 9)); }, "sendto: socket is closed"},
        {[&] { closed.set_max_conn(5); }, "set_max_conn: invoked for UDP socket"},
        {[&] { closed.accept(); }, "accept: invoked for non-listening socket"},
        {[&] { closed.get_local_endpoint(); }, "accept: invoked for non-listening socket"},
        {[&] { closed.get_remote_endpoint(); }, "get_remote_endpoint: socket is closed"},
        {[&] { closed.shutdown(Socket::ShutdownType(3)); }, "shutdown: invalid shudown type"},
        {[&] { opened.set_option(SocketOption(SocketOption::reuse_addr, 1)); }, "set_option: socket is already opened"},
        {[&] { opened.set_max_conn(5); }, "set_max_conn: socket is already opened"},
        {[&] { bound.sendto("x", 1, {invalid_address(), 9}); }, "fill_sockaddr: invalid endpoint"},
        {[&] { bound.get_remote_endpoint(); }, "accept: invoked for listening socket"},
        {[&] { bound.accept(); }, "accept: invoked for UDP socket"},
        {[] { Poll::get_event(Poll::Event(4)); }, "Not correct event type"},
        {[&] { empty.wait(); }, "FD set is empty"},
        {[&] { empty.check(bound, Poll::pollin); }, "socket is not from current FD set"},
        {[&] { empty.wait(bound); }, "invalid use of deprecated function"},
        {[&] { Poll(5).check(Poll::pollin); }, "invalid use of deprecated function"}},
        "SocketError: ");
}

TEST(NetSocket, UdpRoundTripsKeepTheRequestedEndpoint) {
    for (const std::string loopback : {"127.0.0.1", "::1"}) {
        Socket receiver(Socket::UDP), sender(Socket::UDP);
        receiver.listen(endpoint(loopback, 0));  // binds only: listen(2) fails for UDP
        EXPECT_TRUE(receiver.get_local_endpoint().address == ip(loopback) && receiver.get_local_endpoint().port == 0);
        sender.set_option(SocketOption(SocketOption::reuse_addr, 1));  // the generator's path
        sender.listen({make_any_ip(receiver.get_local_endpoint().address.family()), 0});
        EXPECT_EQ(5U, sender.sendto("hello", 5, endpoint(loopback, bound_port(receiver))));
        char data[16] = {};
        Socket::Endpoint from;
        EXPECT_EQ(5U, receiver.recvfrom(data, sizeof data, from));
        EXPECT_STREQ("hello", data);
        EXPECT_TRUE(from.address.to_string() == loopback && from.port == bound_port(sender)) << loopback;
        receiver.close();
        expect_errors<SocketError>({{[&] { receiver.get_local_endpoint(); }, "get_local_endpoint: socket is closed"}},
                                   "SocketError: ");
    }
}

TEST(NetSocket, OptionFailuresAreLoggedNotThrown) {
    LogCapture log;
    Socket udp(Socket::UDP);
    udp.set_option(SocketOption(SocketOption::tcp_nodelay, 1));     // not for UDP: fails
    udp.set_option(SocketOption(SocketOption::bind_to_device, 1));  // unknown: skipped
    udp.listen(endpoint("127.0.0.1", 0));
    EXPECT_EQ(log.lines, std::vector<std::string>{std::string("7 Network:  failed set socket option: ") +
                                                  std::strerror(ENOPROTOOPT)});
}

TEST(NetSocket, TcpListenConnectAcceptWithClientOptions) {
    LogCapture log;
    Socket server(Socket::TCP), client(Socket::TCP);
    server.set_client_option(SocketOption(SocketOption::tcp_nodelay, 1));
    server.set_client_option(SocketOption(SocketOption::bind_to_device, 1));  // unknown: tried, fails
    server.listen(endpoint("127.0.0.1", 0));
    client.connect(endpoint("127.0.0.1", bound_port(server)));
    Socket accepted = server.accept();
    EXPECT_EQ(ip("127.0.0.1"), accepted.get_remote_endpoint().address);
    EXPECT_EQ(bound_port(client), accepted.get_remote_endpoint().port);
    int nodelay = 0;
    socklen_t size = sizeof nodelay;
    getsockopt(accepted.get_native_socket(), IPPROTO_TCP, TCP_NODELAY, &nodelay, &size);
    EXPECT_EQ(1, nodelay);
    EXPECT_EQ(log.lines, std::vector<std::string>{"7 Network: setsockopt(level=-1,opt=-1) failed"});
    EXPECT_TRUE(client.write("ping", 4) == 4U && client.shutdown(Socket::shut_write) == 0);
    char data[8] = {};
    EXPECT_EQ(4U, accepted.read(data, sizeof data));
    EXPECT_EQ(0U, accepted.read(data, sizeof data));
}

TEST(NetSocket, SystemFailuresAreDescribedBindClosesConnectDoesNot) {
    Socket first(Socket::TCP), second(Socket::TCP), client(Socket::TCP), udp(Socket::UDP);
    first.listen(endpoint("127.0.0.1", 0));
    udp.listen(endpoint("127.0.0.1", 0));  // a port where no TCP socket listens
    expect_errors<SocketError>(
        {{[&] { second.listen(endpoint("127.0.0.1", bound_port(first))); }, described("bind", EADDRINUSE)},
         {[&] { second.get_native_socket(); }, "get_native_socket: socket is closed"},
         {[&] { client.connect(endpoint("127.0.0.1", bound_port(udp))); }, described("connect", ECONNREFUSED)},
         {[&] { udp.sendto("x", 1, endpoint("::1", 9)); }, described("sendto", EAFNOSUPPORT)}},
        "SocketError: ");
    EXPECT_GE(client.get_native_socket(), 0);
}

TEST(NetSocket, CopyDuplicatesAssignmentKeepsOldDescriptorOpen) {
    Socket original(Socket::UDP), other(Socket::UDP);
    original.listen(endpoint("127.0.0.1", 0));
    Socket copy(original);
    EXPECT_NE(original.get_native_socket(), copy.get_native_socket());
    EXPECT_EQ(bound_port(original), bound_port(copy));
    EXPECT_EQ(0, copy.get_local_endpoint().port);  // listening and endpoint copied
    other.listen(endpoint("127.0.0.1", 0));
    const int old = other.get_native_socket();
    other = original;
    EXPECT_NE(old, other.get_native_socket());
    EXPECT_NE(-1, fcntl(old, F_GETFD));  // deliberately not closed
    ::close(old);
}

TEST(NetSocket, FillSockaddrAndFillEndpointRules) {
    SocketImpl::SockAddr v4, v6, other;
    EXPECT_EQ(16U, SocketImpl::fill_sockaddr(endpoint("10.0.0.1", 9996), v4));
    EXPECT_TRUE(v4.v4.sin_port == htons(9996) && v4.v4.sin_addr.s_addr == htonl(0x0A000001));
    EXPECT_EQ(9996, SocketImpl::fill_endpoint(v4, 16).port);
    EXPECT_EQ(28U, SocketImpl::fill_sockaddr(endpoint("fe80::1", 53), v6));
    EXPECT_EQ(ip("fe80::1"), SocketImpl::fill_endpoint(v6, 16).address);  // 16 bytes suffice
    other = v6;
    other.base.sa_family = AF_UNIX;
    expect_errors<SocketError>({{[&] { SocketImpl::fill_endpoint(v4, 15); }, "fill_endpoint: invalid data size"},
                                {[&] { SocketImpl::fill_endpoint(other, 28); }, "fill_endpoint: unsupported address family"}},
                               "SocketError: ");
}

TEST(NetPoll, WaitsForReadableSocketWithinTimeout) {
    Socket receiver(Socket::UDP), sender(Socket::UDP);
    receiver.listen(endpoint("127.0.0.1", 0));
    sender.listen(endpoint("127.0.0.1", 0));
    Poll poll(50);
    poll.add(receiver, Poll::pollin);
    poll.add(receiver, Poll::pollerr);  // OR-ed into the same entry
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(poll.wait());
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(40));
    sender.sendto("x", 1, endpoint("127.0.0.1", bound_port(receiver)));
    EXPECT_TRUE(poll.wait() && poll.check(receiver, Poll::pollin));
}

TEST(NetPoll, InterruptedWaitReturnsFalse) {
    const auto previous = signal(SIGALRM, [](int) {});  // poll is never restarted after a handler
    Socket socket(Socket::UDP);
    socket.listen(endpoint("127.0.0.1", 0));
    Poll poll(Poll::pollin, 10000);
    const auto start = std::chrono::steady_clock::now();
    ualarm(20000, 20000);  // repeated, so that one lands inside poll
    EXPECT_FALSE(poll.wait(socket));
    ualarm(0, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));  // interrupted, not timed out
    signal(SIGALRM, previous);
}
