// Receives UDP datagrams on a loopback port and writes them into a pcap file,
// so that tshark can dissect what a collector would have seen without needing
// capture privileges. The chosen port goes to --port-file once bound.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Options {
    std::string bind_address = "127.0.0.1";
    std::string out;
    std::string port_file;
    int idle_ms = 2000;
    long max_datagrams = 1000000;
};

void usage() {
    std::fprintf(stderr,
                 "usage: udp_capture --out FILE.pcap --port-file FILE [--bind 127.0.0.1|::1] "
                 "[--idle-ms N] [--max N]\n");
    std::exit(2);
}

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (i + 1 >= argc) usage();
        std::string v = argv[++i];
        if (a == "--bind") o.bind_address = v;
        else if (a == "--out") o.out = v;
        else if (a == "--port-file") o.port_file = v;
        else if (a == "--idle-ms") o.idle_ms = std::atoi(v.c_str());
        else if (a == "--max") o.max_datagrams = std::atol(v.c_str());
        else usage();
    }
    if (o.out.empty() || o.port_file.empty()) usage();
    return o;
}

void put16(std::vector<unsigned char>& b, uint16_t v) {
    b.push_back(static_cast<unsigned char>(v >> 8));
    b.push_back(static_cast<unsigned char>(v));
}

// pcap records use raw IPv4 framing (link type 101); addresses are loopback.
std::vector<unsigned char> ipv4_udp_frame(const unsigned char* payload, size_t n, uint16_t sport, uint16_t dport) {
    std::vector<unsigned char> f;
    const uint16_t total = static_cast<uint16_t>(20 + 8 + n);
    f.push_back(0x45);
    f.push_back(0);
    put16(f, total);
    put16(f, 0);
    put16(f, 0x4000);
    f.push_back(64);
    f.push_back(17);
    put16(f, 0);  // header checksum, filled below
    const unsigned char lo[4] = {127, 0, 0, 1};
    f.insert(f.end(), lo, lo + 4);
    f.insert(f.end(), lo, lo + 4);
    uint32_t sum = 0;
    for (size_t i = 0; i < 20; i += 2) sum += static_cast<uint32_t>(f[i] << 8 | f[i + 1]);
    while (sum >> 16) sum = (sum & 0xffff) + (sum >> 16);
    const uint16_t checksum = static_cast<uint16_t>(~sum);
    f[10] = static_cast<unsigned char>(checksum >> 8);
    f[11] = static_cast<unsigned char>(checksum);
    put16(f, sport);
    put16(f, dport);
    put16(f, static_cast<uint16_t>(8 + n));
    put16(f, 0);  // no UDP checksum
    f.insert(f.end(), payload, payload + n);
    return f;
}

}  // namespace

int main(int argc, char** argv) {
    const Options o = parse(argc, argv);
    const bool v6 = o.bind_address.find(':') != std::string::npos;
    const int fd = socket(v6 ? AF_INET6 : AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) return std::perror("socket"), 1;
    int rcvbuf = 8 * 1024 * 1024;
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &rcvbuf, sizeof rcvbuf);
    sockaddr_storage ss{};
    socklen_t len;
    if (v6) {
        auto* a = reinterpret_cast<sockaddr_in6*>(&ss);
        a->sin6_family = AF_INET6;
        inet_pton(AF_INET6, o.bind_address.c_str(), &a->sin6_addr);
        len = sizeof(sockaddr_in6);
    } else {
        auto* a = reinterpret_cast<sockaddr_in*>(&ss);
        a->sin_family = AF_INET;
        inet_pton(AF_INET, o.bind_address.c_str(), &a->sin_addr);
        len = sizeof(sockaddr_in);
    }
    if (bind(fd, reinterpret_cast<sockaddr*>(&ss), len) != 0) return std::perror("bind"), 1;
    getsockname(fd, reinterpret_cast<sockaddr*>(&ss), &len);
    const uint16_t port = ntohs(v6 ? reinterpret_cast<sockaddr_in6*>(&ss)->sin6_port
                                   : reinterpret_cast<sockaddr_in*>(&ss)->sin_port);

    FILE* out = std::fopen(o.out.c_str(), "wb");
    if (!out) return std::perror(o.out.c_str()), 1;
    const uint32_t global[6] = {0xa1b2c3d4, 0x00040002, 0, 0, 65535, 101};
    std::fwrite(global, 4, 6, out);

    const std::string tmp = o.port_file + ".tmp";
    FILE* pf = std::fopen(tmp.c_str(), "w");
    if (!pf) return std::perror(tmp.c_str()), 1;
    std::fprintf(pf, "%u\n", port);
    std::fclose(pf);
    std::rename(tmp.c_str(), o.port_file.c_str());

    std::vector<unsigned char> buf(65536);
    long received = 0;
    bool seen_any = false;
    // Before the first datagram wait longer: the sender may still be starting.
    while (received < o.max_datagrams) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, seen_any ? o.idle_ms : 30000) <= 0) break;
        sockaddr_storage from{};
        socklen_t flen = sizeof from;
        const ssize_t n = recvfrom(fd, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &flen);
        if (n < 0) continue;
        seen_any = true;
        const uint16_t sport = ntohs(from.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&from)->sin6_port
                                                                : reinterpret_cast<sockaddr_in*>(&from)->sin_port);
        const auto frame = ipv4_udp_frame(buf.data(), static_cast<size_t>(n), sport, port);
        timeval tv{};
        gettimeofday(&tv, nullptr);
        const uint32_t rec[4] = {static_cast<uint32_t>(tv.tv_sec), static_cast<uint32_t>(tv.tv_usec),
                                 static_cast<uint32_t>(frame.size()), static_cast<uint32_t>(frame.size())};
        std::fwrite(rec, 4, 4, out);
        std::fwrite(frame.data(), 1, frame.size(), out);
        ++received;
    }
    std::fclose(out);
    close(fd);
    std::printf("%ld\n", received);
    return 0;
}
