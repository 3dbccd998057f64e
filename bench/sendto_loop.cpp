// The ceiling of the throughput runs: one 1464-byte datagram (a full v5
// packet's size) handed to sendto N times from an unconnected UDP socket,
// which is what strell's send loops do, with nothing else in the loop.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: sendto_loop HOST PORT COUNT\n");
        return 2;
    }
    sockaddr_storage target{};
    socklen_t length = 0;
    auto* v4 = reinterpret_cast<sockaddr_in*>(&target);
    auto* v6 = reinterpret_cast<sockaddr_in6*>(&target);
    const auto port = static_cast<uint16_t>(std::atoi(argv[2]));
    if (inet_pton(AF_INET, argv[1], &v4->sin_addr) == 1) {
        v4->sin_family = AF_INET;
        v4->sin_port = htons(port);
        length = sizeof *v4;
    } else if (inet_pton(AF_INET6, argv[1], &v6->sin6_addr) == 1) {
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(port);
        length = sizeof *v6;
    } else {
        std::fprintf(stderr, "sendto_loop: bad address %s\n", argv[1]);
        return 2;
    }
    const unsigned long count = std::strtoul(argv[3], nullptr, 10);
    const int fd = ::socket(target.ss_family, SOCK_DGRAM, 0);
    if (fd < 0) {
        std::perror("socket");
        return 1;
    }
    static unsigned char datagram[1464];
    std::memset(datagram, 0x5a, sizeof datagram);

    timeval start{};
    timeval end{};
    gettimeofday(&start, nullptr);
    for (unsigned long i = 0; i < count; ++i) {
        if (::sendto(fd, datagram, sizeof datagram, 0, reinterpret_cast<sockaddr*>(&target), length) < 0) {
            std::fprintf(stderr, "sendto_loop: sendto: %s\n", std::strerror(errno));
            return 1;
        }
    }
    gettimeofday(&end, nullptr);
    const double seconds = static_cast<double>(end.tv_sec - start.tv_sec) + (end.tv_usec - start.tv_usec) / 1e6;
    std::printf("%lu datagrams in %.6f sec, %.0f datagrams/s\n", count, seconds, seconds > 0 ? count / seconds : 0.0);
    ::close(fd);
    return 0;
}
