#include "net/socket.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <unistd.h>

#include <cerrno>

#include "net/socket_impl.h"
#include "net_test_util.h"

using namespace Vorn;
using namespace net_test;

namespace {

std::string described(const char* operation, int error) {
    return std::string("SocketError:  failed ") + operation + ": " + std::strerror(error);
}

void udp_round_trip(const std::string& loopback) {
    Socket receiver(Socket::UDP), sender(Socket::UDP);
    receiver.listen(endpoint(loopback, 0));
    sender.set_option(SocketOption(SocketOption::reuse_addr, 1));  // the generator's path
    sender.listen({make_any_ip(receiver.get_local_endpoint().address.family()), 0});
    EXPECT_EQ(5U, sender.sendto("hello", 5, endpoint(loopback, bound_port(receiver))));
    char data[16] = {};
    Socket::Endpoint from;
    EXPECT_EQ(5U, receiver.recvfrom(data, sizeof data, from));
    EXPECT_STREQ("hello", data);
    EXPECT_EQ(loopback, from.address.to_string());
    EXPECT_EQ(bound_port(sender), from.port);
}

}  // namespace

TEST(NetSocketOption, MapsNamesToLevelAndOption) {
    const SocketOption reuse(SocketOption::reuse_addr, 1), idle(SocketOption::tcp_keepidle, 30);
    EXPECT_TRUE(reuse.level() == 1 && reuse.name() == 2 && idle.level() == 6 && idle.name() == 4);
    EXPECT_EQ(25, SocketOption(SocketOption::bind_to_device, std::string("lo")).name());
    EXPECT_EQ(-1, SocketOption(SocketOption::bind_to_device, 1).name());
    EXPECT_EQ(-1, SocketOption(SocketOption::reuse_addr, std::string("x")).name());
}

TEST(NetSocketPreconditions, ClosedSocketCallsThrowPlainMessages) {
    Socket udp(Socket::UDP);
    char data[4];
    Socket::Endpoint peer;
    expect_error<SocketError>([&] { udp.read(data, 4); }, "SocketError: read: socket is closed");
    expect_error<SocketError>([&] { udp.write(data, 4); }, "SocketError: write: socket is closed");
    expect_error<SocketError>([&] { udp.recvfrom(data, 4, peer); }, "SocketError: recvfrom: socket is closed");
    expect_error<SocketError>([&] { udp.sendto(data, 4, peer); }, "SocketError: sendto: socket is closed");
    expect_error<SocketError>([&] { udp.get_native_socket(); }, "SocketError: get_native_socket: socket is closed");
    expect_error<SocketError>([&] { udp.set_options(); }, "SocketError: set_options: socket is not opened");
    expect_error<SocketError>([&] { udp.set_max_conn(5); }, "SocketError: set_max_conn: invoked for UDP socket");
    expect_error<SocketError>([&] { udp.accept(); }, "SocketError: accept: invoked for non-listening socket");
    expect_error<SocketError>([&] { udp.get_local_endpoint(); }, "SocketError: accept: invoked for non-listening socket");
    expect_error<SocketError>([&] { udp.get_remote_endpoint(); }, "SocketError: get_remote_endpoint: socket is closed");
    expect_error<SocketError>([&] { udp.shutdown(Socket::ShutdownType(3)); }, "SocketError: shutdown: invalid shudown type");
    expect_error<SocketError>([&] { udp.open(IP_address::Family(0)); }, "SocketError: open: invalid address family");
}

TEST(NetSocketPreconditions, SettingsRefusedOnOpenSocket) {
    Socket tcp(Socket::TCP);
    tcp.open(IP_address::IPv4);
    expect_error<SocketError>([&] { tcp.set_option(SocketOption(SocketOption::reuse_addr, 1)); },
                              "SocketError: set_option: socket is already opened");
    expect_error<SocketError>([&] { tcp.set_max_conn(5); }, "SocketError: set_max_conn: socket is already opened");
}

TEST(NetSocketUdp, RoundTripIPv4) { udp_round_trip("127.0.0.1"); }
TEST(NetSocketUdp, RoundTripIPv6) { udp_round_trip("::1"); }

TEST(NetSocketUdp, ListenOnlyBindsAndKeepsRequestedEndpoint) {
    Socket udp(Socket::UDP);
    udp.listen(endpoint("0.0.0.0", 0));
    EXPECT_NE(0, bound_port(udp));
    EXPECT_EQ(make_any_ip(IP_address::IPv4), udp.get_local_endpoint().address);
    EXPECT_EQ(0, udp.get_local_endpoint().port);
    expect_error<SocketError>([&] { udp.get_remote_endpoint(); }, "SocketError: accept: invoked for listening socket");
    expect_error<SocketError>([&] { udp.accept(); }, "SocketError: accept: invoked for UDP socket");
    udp.close();
    expect_error<SocketError>([&] { udp.get_local_endpoint(); }, "SocketError: get_local_endpoint: socket is closed");
}

TEST(NetSocketUdp, SendtoFailuresAreDescribed) {
    Socket udp(Socket::UDP);
    udp.listen(endpoint("127.0.0.1", 0));
    expect_error<SocketError>([&] { udp.sendto("x", 1, {invalid_address(), 9}); },
                              "SocketError: fill_sockaddr: invalid endpoint");
    expect_error<SocketError>([&] { udp.sendto("x", 1, endpoint("::1", 9)); }, described("sendto", EAFNOSUPPORT));
}

TEST(NetSocketOptions, FailuresAreLoggedNotThrown) {
    LogCapture log;
    Socket udp(Socket::UDP);
    udp.set_option(SocketOption(SocketOption::tcp_nodelay, 1));     // not for UDP: fails
    udp.set_option(SocketOption(SocketOption::bind_to_device, 1));  // unknown: skipped
    udp.set_option(SocketOption(SocketOption::rcvbuf, 65536));
    udp.listen(endpoint("127.0.0.1", 0));
    ASSERT_EQ(1U, log.lines.size());
    EXPECT_EQ(7, log.lines[0].level);
    EXPECT_EQ("Network", log.lines[0].facility);
    EXPECT_EQ(std::string(" failed set socket option: ") + std::strerror(ENOPROTOOPT), log.lines[0].text);
}

TEST(NetSocketTcp, ListenConnectAcceptWithClientOptions) {
    LogCapture log;
    Socket server(Socket::TCP);
    server.set_client_option(SocketOption(SocketOption::tcp_nodelay, 1));
    server.set_client_option(SocketOption(SocketOption::bind_to_device, 1));  // unknown: tried, fails
    server.listen(endpoint("127.0.0.1", 0));
    Socket client(Socket::TCP);
    client.connect(endpoint("127.0.0.1", bound_port(server)));
    Socket accepted = server.accept();
    EXPECT_EQ(ip_from_db("2130706433", "", IP_address::IPv4), accepted.get_remote_endpoint().address);
    EXPECT_EQ(bound_port(client), accepted.get_remote_endpoint().port);
    int nodelay = 0;
    socklen_t size = sizeof nodelay;
    getsockopt(accepted.get_native_socket(), IPPROTO_TCP, TCP_NODELAY, &nodelay, &size);
    EXPECT_EQ(1, nodelay);
    ASSERT_EQ(1U, log.lines.size());
    EXPECT_EQ("setsockopt(level=-1,opt=-1) failed", log.lines[0].text);
    EXPECT_EQ(4U, client.write("ping", 4));
    EXPECT_EQ(0, client.shutdown(Socket::shut_write));
    char data[8] = {};
    EXPECT_EQ(4U, accepted.read(data, sizeof data));
    EXPECT_EQ(0U, accepted.read(data, sizeof data));
}

TEST(NetSocketTcp, ListenFailureClosesConnectFailureDoesNot) {
    Socket first(Socket::TCP), second(Socket::TCP), client(Socket::TCP), udp(Socket::UDP);
    first.listen(endpoint("127.0.0.1", 0));
    expect_error<SocketError>([&] { second.listen(endpoint("127.0.0.1", bound_port(first))); },
                              described("bind", EADDRINUSE));
    expect_error<SocketError>([&] { second.get_native_socket(); }, "SocketError: get_native_socket: socket is closed");
    udp.listen(endpoint("127.0.0.1", 0));  // a port where no TCP socket listens
    expect_error<SocketError>([&] { client.connect(endpoint("127.0.0.1", bound_port(udp))); },
                              described("connect", ECONNREFUSED));
    EXPECT_GE(client.get_native_socket(), 0);
}

TEST(NetSocketCopy, CopyDuplicatesAssignmentKeepsOldDescriptorOpen) {
    Socket original(Socket::UDP), other(Socket::UDP);
    original.listen(endpoint("127.0.0.1", 0));
    Socket copy(original);
    EXPECT_NE(original.get_native_socket(), copy.get_native_socket());
    EXPECT_EQ(bound_port(original), bound_port(copy));
    EXPECT_EQ(0, copy.get_local_endpoint().port);  // listening and endpoint copied
    other.listen(endpoint("127.0.0.1", 0));
    const int old = other.get_native_socket();
    other = original;
    EXPECT_NE(-1, fcntl(old, F_GETFD));  // deliberately not closed
    ::close(old);
    expect_error<SocketError>([] { Socket(Socket::TCP).clone().get_native_socket(); },
                              "SocketError: get_native_socket: socket is closed");
}

TEST(NetSocketAddress, FillSockaddrAndFillEndpointRules) {
    SocketImpl::SockAddr address;
    EXPECT_EQ(16U, SocketImpl::fill_sockaddr(endpoint("10.0.0.1", 9996), address));
    EXPECT_EQ(htons(9996), address.v4.sin_port);
    EXPECT_EQ(htonl(0x0A000001), address.v4.sin_addr.s_addr);
    EXPECT_EQ(9996, SocketImpl::fill_endpoint(address, 16).port);
    expect_error<SocketError>([&] { SocketImpl::fill_endpoint(address, 15); },
                              "SocketError: fill_endpoint: invalid data size");
    EXPECT_EQ(28U, SocketImpl::fill_sockaddr(endpoint("fe80::1", 53), address));
    EXPECT_EQ(endpoint("fe80::1", 0).address, SocketImpl::fill_endpoint(address, 16).address);  // 16 suffices
    expect_error<SocketError>([&] { SocketImpl::fill_endpoint(address, 15); },
                              "SocketError: fill_endpoint: invalid data size");
    address.base.sa_family = AF_UNIX;
    expect_error<SocketError>([&] { SocketImpl::fill_endpoint(address, 28); },
                              "SocketError: fill_endpoint: unsupported address family");
}
