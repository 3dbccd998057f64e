#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>

#include <array>
#include <chrono>
#include <cstring>
#include <functional>

#include "vorn/net/ip_address.h"
#include "vorn/net/poll.h"
#include "vorn/net/socket.h"
#include "recording_logger.h"

using namespace Vorn;

// Each action must throw E whose what() is the prefix and its text.
template <typename E>
void expect_errors(const char* prefix, const std::vector<std::pair<std::function<void()>, std::string>>& cases) {
    for (const auto& [action, text] : cases) {
        try {
            action();
            ADD_FAILURE() << "no exception, expected: " << prefix << text;
        } catch (const E& error) { EXPECT_EQ(prefix + text, error.what()); }
    }
}

IP_address ip(const std::string& text) { return IP_address::from_string(text); }
IP_address v6(uint64_t high, uint64_t low) { IP_address a; return a.from_int(long(high), long(low)), a; }
// No operation makes an address of another family; the family is its first field.
IP_address invalid_address(const char* text = "1.2.3.4") {
    IP_address a = ip(text);
    return std::memset(static_cast<void*>(&a), 0, sizeof(int32_t)), a;
}
const auto IPv4 = IP_address::IPv4, IPv6 = IP_address::IPv6, invalid = IP_address::Family(0);
const uint64_t ones = ~0ULL, top = 1ULL << 63;

Socket::Endpoint endpoint(const std::string& address, uint16_t port) { return {ip(address), port}; }
// Where the system bound the socket (get_local_endpoint keeps the requested port).
Socket::Endpoint bound(const Socket& socket) {
    sockaddr_in6 address{};  // sin_port and sin6_port share their offset
    socklen_t size = sizeof address;
    getsockname(socket.get_native_socket(), reinterpret_cast<sockaddr*>(&address), &size);
    const bool v4 = address.sin6_family == AF_INET;
    char text[INET6_ADDRSTRLEN] = {};
    inet_ntop(address.sin6_family, v4 ? static_cast<void*>(&reinterpret_cast<sockaddr_in*>(&address)->sin_addr) : &address.sin6_addr, text, sizeof text);
    return {ip(text), ntohs(address.sin6_port)};
}
uint16_t bound_port(const Socket& socket) { return bound(socket).port; }
int option_value(const Socket& socket, int level, int name) {
    int value = -1;
    socklen_t size = sizeof value;
    return getsockopt(socket.get_native_socket(), level, name, &value, &size), value;
}

TEST(IP_address, TextAndRawFormsAndTheirErrors) {
    EXPECT_TRUE(ip("10.0.0.1").to_int() == 0x0A000001U && ip("10.0.0.1").to_string() == "10.0.0.1");
    EXPECT_TRUE(ip("::1").to_high() == 0 && ip("::1").to_low() == 1 && ip("::1").to_string() == "::1");
    EXPECT_EQ(ip("::ffff:1.2.3.4").family(), IPv6);
    IP_address reused = ip("::1");
    EXPECT_TRUE(IP_address() == ip("0.0.0.0") && (reused.from_int(0x0A000001), reused) == ip("10.0.0.1"));  // the family follows
    EXPECT_TRUE(Socket::Endpoint().address == ip("0.0.0.0") && Socket::Endpoint().port == 0);
    // The JSON reader never throws: unparsable text is the zero address of the family a colon tells.
    for (auto [text, read] : {std::pair{"10.0.0.1", "10.0.0.1"}, {"2001:db8::1", "2001:db8::1"}, {"1.2.3", "0.0.0.0"}, {"1:x", "::"}})
        EXPECT_EQ(IP_address::from_string_json(text), ip(read)) << text;
    const unsigned char bytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    EXPECT_EQ(IP_address::from_raw(invalid, bytes, 4), ip("1.2.3.4"));
    EXPECT_EQ(IP_address::from_raw(IPv6, bytes, 16), v6(0x0102030405060708, 0x090A0B0C0D0E0F10));
    unsigned char out[16] = {};
    EXPECT_EQ((ip("1.2.3.4").to_raw(out, 4), std::memcmp(out, bytes, 4)), 0);
    expect_errors<IPAddressStrError>("IPAddressStrError: ", {{[] { ip("1.2.3"); }, "Invalid address format"},
                                                             {[] { ip(""); }, "Invalid address format"}});
    expect_errors<IP_addressError>("IP_addressError: ", {
        {[&] { IP_address::from_raw(IPv6, bytes, 15); }, "ip_from_raw: invalid IPv6 raw address size"},
        {[&] { IP_address::from_raw(IPv4, bytes, 3); }, "ip_from_raw: invalid IPv4 raw address size"},
        {[&] { ip("1.2.3.4").to_raw(out, 3); }, "ip_to_raw: no space for IPv4 address"},
        {[&] { ip("::1").to_raw(out, 15); }, "ip_to_raw: no space for IPv6 address"},
        {[&] { invalid_address().to_raw(out, 16); }, "ip_to_raw: address type is not valid"},
        {[] { mask(IPv4, 33); }, "mask: invalid IPv4 prefix length"}, {[] { mask(IPv6, 129); }, "mask: invalid IPv6 prefix length"},
        {[] { mask_for_single_ip(invalid_address()); }, "mask_for_single_ip: invalid address type"}});
}

TEST(IP_address, ArithmeticOrderAndMasksKeepTheirQuirks) {
    EXPECT_TRUE(++ip("255.255.255.255") == ip("0.0.0.0") && ++v6(5, ones) == v6(6, 0) && ++v6(ones, ones) == v6(0, 0));
    // Every IPv4 address sorts before every IPv6 one; the six comparisons agree with the order both ways round.
    const struct { IP_address a, b; int order; } pairs[] = {
        {ip("1.2.3.4"), ip("200.0.0.1"), -1}, {ip("1.2.3.4"), ip("1.2.3.4"), 0}, {ip("255.255.255.255"), ip("::"), -1},
        {ip("0.0.0.1"), ip("::1"), -1}, {v6(1, 0), v6(top, 0), -1}, {v6(1, 0), v6(1, 1), -1}, {v6(1, 1), v6(1, 1), 0}, {v6(1, 5), v6(2, 0), -1}};
    for (const auto& [a, b, order] : pairs)
        for (const int o : {order, -order}) {
            const IP_address &x = o == order ? a : b, &y = o == order ? b : a;
            EXPECT_EQ((std::array{x < y, x > y, x <= y, x >= y, x == y, x != y}), (std::array{o < 0, o > 0, o <= 0, o >= 0, o == 0, o != 0}))
                << x.to_string() << " " << y.to_string();
        }
    // The left operand's family decides; an IPv4 value sits in the high word.
    EXPECT_TRUE(~ip("255.0.255.0") == ip("0.255.0.255") && (ip("10.1.2.3") ^ ip("0.0.255.255")) == ip("10.1.253.252"));
    EXPECT_TRUE((v6(ones, 0) & ip("1.2.3.4")) == v6(0x01020304, 0) && (ip("0.0.0.4") | v6(1, 99)) == ip("0.0.0.5"));
    // IPv6 sums store their words crosswise; a carry recomputes low from 63 bits, a borrow takes one more.
    EXPECT_TRUE(v6(0, 1) + v6(0, 1) == v6(2, 0) && v6(0, ones) + v6(0, 1) == v6(top, 1) && v6(3, 1) + v6(2, 0) == v6(1, 5));
    EXPECT_TRUE(v6(5, top) - v6(2, 1) == v6(top - 2, 2) && v6(5, 3) - v6(2, 1) == v6(2, 3) && v6(5, 3) - v6(2, 0) == v6(3, 3));
    EXPECT_TRUE(ip("10.0.0.1") + ip("0.0.0.2") == ip("10.0.0.3") && ip("0.0.0.1") - ip("0.0.0.2") == ip("255.255.255.255"));
    EXPECT_TRUE(mask(IPv4, 24) == ip("255.255.255.0") && mask(IPv4, 9) == ip("255.128.0.0") && mask(IPv6, 65) == v6(ones, top));
    for (const auto family : {IPv4, IPv6})
        for (unsigned prefix = 0; prefix <= (family == IPv6 ? 128u : 32u); ++prefix) EXPECT_EQ(bits(mask(family, prefix)), prefix);
    EXPECT_TRUE(bits(ip("255.127.0.0")) == 8 && bits(ip("255.0.255.0")) == 8);  // holes are not refused
    EXPECT_TRUE(mask_for_single_ip(ip("1.2.3.4")) == ip("255.255.255.255") && mask_for_single_ip(ip("::1")) == v6(ones, ones));
    EXPECT_TRUE(make_any_ip(IPv6) == ip("::") && make_any_ip(invalid) == ip("0.0.0.0") && is_any_ip(ip("0.0.0.0")) && is_any_ip(ip("::")));
    EXPECT_FALSE(is_any_ip(ip("::1")) || is_any_ip(invalid_address("0.0.0.0")));
}

TEST(IP_address, DatabaseColumnsGiveEachFamilyBackAndReadAnyTextWithoutFailing) {
    // IPv4 low is sign-extended, its id zero-extended; the high word of an IPv4 address holds its value, yet high is 0.
    const struct { IP_address address; int type; int64_t high, low; uint64_t id; } columns[] = {
        {ip("200.0.0.1"), 0, 0, -0x37FFFFFF, 0xC8000001}, {ip("1.2.3.4"), 0, 0, 0x01020304, 0x01020304},
        {v6(12, ones), 256, 12, -1, ones}, {v6(top, 7), 256, INT64_MIN, 7, 7}, {invalid_address(), 512, 0, 0, 0}};
    for (const auto& c : columns) {
        SCOPED_TRACE(c.type);
        EXPECT_EQ(std::make_tuple(ip_to_db_type(c.address), ip_to_db_high(c.address), ip_to_db_low(c.address), get_ip_id(c.address)),
                  std::make_tuple(c.type, c.high, c.low, c.id));
        const IP_address back = ip_from_db(std::to_string(c.low), std::to_string(c.high), ip_type_from_db(std::to_string(c.type)));
        EXPECT_EQ(back, c.type == 512 ? ip("0.0.0.0") : c.address);  // an invalid family comes back as IPv4 of low
    }
    // Bits 8 and 9 of the type carry the family; text without digits reads as 0.
    for (auto [text, family] : {std::pair{"0", IPv4}, {"junk", IPv4}, {"257", IPv6}, {"1280", IPv6}, {"512", invalid}, {"768", invalid}})
        EXPECT_EQ(ip_type_from_db(text), family) << text;
    const struct { const char *low, *high; IP_address::Family family; IP_address address; } texts[] = {
        {"-1", "junk", IPv4, ip("255.255.255.255")}, {"4294967297", "5", invalid, ip("0.0.0.1")}, {"12abc", "-2", IPv6, v6(ones - 1, 12)},
        {"-99999999999999999999", "99999999999999999999", IPv6, v6(INT64_MAX, top)}};  // saturated
    for (const auto& t : texts) EXPECT_EQ(ip_from_db(t.low, t.high, t.family), t.address) << t.low;
}

TEST(Socket, MisuseThrowsPlainMessagesAndSystemFailuresAreDescribed) {
    Socket closed(Socket::UDP), opened(Socket::TCP), bound(Socket::UDP), tcp(Socket::TCP), second(Socket::TCP), lapsed(Socket::UDP);
    opened.open(IPv4);
    bound.listen(endpoint("127.0.0.1", 0));
    tcp.listen(endpoint("127.0.0.1", 0));
    lapsed.listen(endpoint("127.0.0.1", 0));
    lapsed.close();
    Poll empty(10), one;
    char data[4];
    Socket::Endpoint from;
    const auto failed = [](const char* operation, int error) { return std::string(" failed ") + operation + ": " + std::strerror(error); };
    expect_errors<SocketError>("SocketError: ", {
        {[&] { closed.sendto("x", 1, endpoint("127.0.0.1", 9)); }, "sendto: socket is closed"},
        {[&] { closed.recvfrom(data, 4, from); }, "recvfrom: socket is closed"}, {[&] { closed.read(data, 4); }, "read: socket is closed"},
        {[&] { closed.write("x", 1); }, "write: socket is closed"}, {[&] { closed.set_options(); }, "set_options: socket is not opened"},
        {[&] { closed.open(invalid); }, "open: invalid address family"}, {[&] { closed.set_max_conn(1); }, "set_max_conn: invoked for UDP socket"},
        {[&] { tcp.set_max_conn(1); }, "set_max_conn: socket is already opened"}, {[&] { bound.accept(); }, "accept: invoked for UDP socket"},
        {[&] { opened.accept(); }, "accept: invoked for non-listening socket"},
        {[&] { lapsed.get_local_endpoint(); }, "get_local_endpoint: socket is closed"},
        {[&] { closed.get_local_endpoint(); }, "accept: invoked for non-listening socket"},
        {[&] { closed.get_remote_endpoint(); }, "get_remote_endpoint: socket is closed"},
        {[&] { closed.shutdown(Socket::ShutdownType(3)); }, "shutdown: invalid shudown type"},
        {[&] { opened.set_option(SocketOption(SocketOption::reuse_addr, 1)); }, "set_option: socket is already opened"},
        {[&] { bound.sendto("x", 1, {invalid_address(), 9}); }, "fill_sockaddr: invalid endpoint"},
        {[&] { bound.get_remote_endpoint(); }, "accept: invoked for listening socket"},
        {[] { Poll::get_event(Poll::Event(4)); }, "Not correct event type"}, {[&] { empty.wait(); }, "FD set is empty"},
        {[&] { empty.wait(bound); }, "invalid use of deprecated function"}, {[&] { empty.check(Poll::pollin); }, "invalid use of deprecated function"},
        {[&] { one.check(bound, Poll::pollin); }, "socket is not from current FD set"},
        {[&] { tcp.read(data, 4); }, failed("socket read", ENOTCONN)}, {[&] { tcp.recvfrom(data, 4, from); }, failed("recvfrom", ENOTCONN)},
        {[&] { second.listen(endpoint("127.0.0.1", bound_port(tcp))); }, failed("bind", EADDRINUSE)},
        {[&] { second.get_native_socket(); }, "get_native_socket: socket is closed"},  // bind closed it
        {[&] { Socket(closed).get_native_socket(); }, "get_native_socket: socket is closed"},
        {[&] { opened.connect(endpoint("127.0.0.1", bound_port(bound))); }, failed("connect", ECONNREFUSED)},
        {[&] { bound.sendto("x", 1, endpoint("::1", 9)); }, failed("sendto", EAFNOSUPPORT)}});
    EXPECT_GE(opened.get_native_socket(), 0);  // connect keeps it
}

TEST(Socket, DatagramsGoOutOnTheGeneratorsWayAndOptionFailuresAreOnlyLogged) {
    StrellTest::RecordingLogger log;
    Socket receiver(Socket::UDP), sender(Socket::UDP);
    receiver.set_option(SocketOption(SocketOption::tcp_nodelay, 1));     // not for UDP: fails
    receiver.set_option(SocketOption(SocketOption::bind_to_device, 1));  // unknown: skipped
    receiver.set_option(SocketOption(SocketOption::bind_to_device, "lo"));  // a text option
    // Not ::1 nor 127.0.0.1, where datagrams to the wildcard address go; listen(2) would fail for UDP: it binds only.
    receiver.listen(endpoint("::ffff:127.0.0.2", 0));
    EXPECT_TRUE(receiver.get_local_endpoint().address == ip("::ffff:127.0.0.2") && receiver.get_local_endpoint().port == 0);
    sender.set_option(SocketOption(SocketOption::reuse_addr, 1));
    sender.listen({make_any_ip(IPv6), 0});
    char data[16] = {};
    Socket::Endpoint from;
    EXPECT_EQ(sender.sendto("", 0, endpoint("::ffff:127.0.0.2", bound_port(receiver))), 0U);  // an empty datagram
    EXPECT_EQ(receiver.recvfrom(data, sizeof data, from), 0U);
    EXPECT_EQ(sender.sendto("hello", 5, endpoint("::ffff:127.0.0.2", bound_port(receiver))), 5U);
    EXPECT_EQ(receiver.recvfrom(data, sizeof data, from), 5U);
    EXPECT_TRUE(std::string(data) == "hello" && from.address == ip("::ffff:127.0.0.1") && from.port == bound_port(sender));
    EXPECT_TRUE(bound(receiver).address == ip("::ffff:127.0.0.2") && bound(sender).address == ip("::"));
    EXPECT_EQ(log.lines, (std::vector<StrellTest::RecordingLogger::Line>{
                             {7, "Network", std::string(" failed set socket option: ") + std::strerror(ENOPROTOOPT)}}));
}

TEST(SocketOption, EachReachesTheSocketAsTheSystemOptionOfItsName) {
    const struct { SocketOption::Optname name; int level, option, value, read; } options[] = {
        {SocketOption::reuse_addr, SOL_SOCKET, SO_REUSEADDR, 1, 1}, {SocketOption::rcvbuf, SOL_SOCKET, SO_RCVBUF, 20000, 40000},
        {SocketOption::keepalive, SOL_SOCKET, SO_KEEPALIVE, 1, 1}, {SocketOption::tcp_nodelay, IPPROTO_TCP, TCP_NODELAY, 1, 1},
        {SocketOption::tcp_keepcnt, IPPROTO_TCP, TCP_KEEPCNT, 7, 7}, {SocketOption::tcp_keepidle, IPPROTO_TCP, TCP_KEEPIDLE, 77, 77},
        {SocketOption::tcp_keepintvl, IPPROTO_TCP, TCP_KEEPINTVL, 17, 17}, {SocketOption::broadcast, SOL_SOCKET, SO_BROADCAST, 1, 1}};
    Socket socket(Socket::TCP);
    for (const auto& o : options) socket.set_option(SocketOption(o.name, o.value));
    socket.listen(endpoint("127.0.0.1", 0));  // the kernel doubles a receive buffer
    for (const auto& o : options) EXPECT_EQ(option_value(socket, o.level, o.option), o.read) << o.name;
    // The numbers are the interface: 8 takes the interface's name. An integer for it, a text for anything else: unknown, never applied.
    EXPECT_TRUE(SocketOption(SocketOption::Optname(8), "lo").name() == SO_BINDTODEVICE && SocketOption(SocketOption::Optname(8), "lo").level() == SOL_SOCKET);
    for (const int number : {-1, 8, 9}) EXPECT_EQ(SocketOption(SocketOption::Optname(number), 1).name(), -1) << number;
    EXPECT_EQ(SocketOption(SocketOption::reuse_addr, "lo").name(), -1);
}

TEST(Socket, ConnectionsCarryBytesBothWaysAndCopiesHaveTheirOwnDescriptor) {
    StrellTest::RecordingLogger log;
    Socket server(Socket::TCP), client(Socket::TCP), other(Socket::UDP), late(Socket::TCP);
    other.set_option(SocketOption(SocketOption::keepalive, 1)), other.set_client_option(SocketOption(SocketOption::bind_to_device, 1));
    server.set_max_conn(1);
    server.set_client_option(SocketOption(SocketOption::bind_to_device, 1));  // unknown, yet tried on accepted sockets
    server.listen(endpoint("127.0.0.2", 0));
    client.connect(endpoint("127.0.0.2", bound_port(server)));
    const Socket copy(server);  // listens on the same port, without the client options
    Socket accepted = server.accept();
    EXPECT_TRUE(copy.get_native_socket() != server.get_native_socket() && copy.get_local_endpoint().address == ip("127.0.0.2"));
    const Socket::Endpoint peer = accepted.get_remote_endpoint(), target = client.get_remote_endpoint();
    EXPECT_TRUE(peer.address == ip("127.0.0.1") && peer.port == bound_port(client) && target.address == ip("127.0.0.2") && target.port == bound_port(server));
    char data[8] = {};
    EXPECT_TRUE(client.write("", 0) == 0 && client.write("ping", 4) == 4 && accepted.read(data, sizeof data) == 4);
    other.listen(endpoint("127.0.0.2", 0));
    other = accepted;  // no longer listening
    EXPECT_EQ(other.write("pong", 4), 4u); EXPECT_EQ(client.read(data, sizeof data), 4u);
    EXPECT_TRUE(std::string(data) == "pong" && other.get_remote_endpoint().port == peer.port);
    EXPECT_EQ(client.shutdown(Socket::shut_write), 0); EXPECT_EQ(accepted.read(data, sizeof data), 0u);  // the end of the stream
    other.close();
    other.set_max_conn(1);  // a TCP socket now, without the options it had
    other.listen(endpoint("127.0.0.2", 0));
    EXPECT_EQ(option_value(other, SOL_SOCKET, SO_KEEPALIVE), 0);
    EXPECT_EQ((other = copy).get_local_endpoint().address, ip("127.0.0.2"));  // a listening one, without the client options
    late.connect(endpoint("127.0.0.2", bound_port(server)));
    other.accept();
    EXPECT_EQ(log.lines, (std::vector<StrellTest::RecordingLogger::Line>{{7, "Network", "setsockopt(level=-1,opt=-1) failed"}}));
}

TEST(Poll, WaitsWithinItsTimeoutAndAnInterruptedWaitReturnsFalse) {
    Socket receiver(Socket::UDP), sender(Socket::UDP);
    receiver.listen(endpoint("127.0.0.2", 0));
    sender.listen(endpoint("127.0.0.1", 0));
    Poll poll(50);
    poll.add(receiver, Poll::pollerr);
    poll.add(receiver, Poll::pollin);  // OR-ed into the same entry
    EXPECT_FALSE(poll.check(receiver, Poll::pollin)) << "nothing returned before a wait";
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(poll.wait()); EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
    EXPECT_EQ(bound(receiver).address, ip("127.0.0.2"));
    sender.sendto("x", 1, endpoint("127.0.0.2", bound_port(receiver)));
    EXPECT_TRUE(poll.wait() && poll.check(receiver, Poll::pollin));
    Poll single(Poll::pollhup, Poll::pollin, 0), none;  // the deprecated forms: one entry, filled by wait(socket)
    EXPECT_TRUE(single.wait(receiver) && single.check(Poll::pollin) && !single.check(Poll::pollhup));
    EXPECT_FALSE(none.wait(receiver)) << "no event asked for";
    const auto previous = signal(SIGALRM, [](int) {});  // poll is not restarted after a handler
    Poll long_poll(Poll::pollin, 10000);
    start = std::chrono::steady_clock::now();
    ualarm(20000, 20000);  // repeated, so that one lands inside poll
    EXPECT_FALSE(long_poll.wait(sender));
    ualarm(0, 0);
    signal(SIGALRM, previous);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}
