// Counts the UDP datagrams arriving on a loopback port, for the throughput
// runs. Each time the traffic pauses for --idle-ms it prints the running
// total and when the last datagram came ("total N last SECONDS", on the
// CLOCK_MONOTONIC clock), so a script can take the difference around every
// run against one sink. It never looks at the payload.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct Options {
    std::string bind_address = "127.0.0.1";
    std::string port_file;
    int idle_ms = 300;
    // The sink ends by itself after this long without a datagram, or after
    // max_seconds in all, whatever the script that started it does.
    int exit_idle_seconds = 120;
    int max_seconds = 3600;
    int buffer_bytes = 8 << 20;
};

volatile sig_atomic_t stop_requested = 0;

void on_signal(int) { stop_requested = 1; }

[[noreturn]] void usage() {
    std::fprintf(stderr,
                 "usage: udp_sink --port-file FILE [--bind 127.0.0.1|::1] [--idle-ms N] "
                 "[--exit-idle-seconds N] [--max-seconds N] [--buffer BYTES]\n");
    std::exit(2);
}

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (i + 1 >= argc) usage();
        const char* value = argv[++i];
        if (name == "--bind") o.bind_address = value;
        else if (name == "--port-file") o.port_file = value;
        else if (name == "--idle-ms") o.idle_ms = std::atoi(value);
        else if (name == "--exit-idle-seconds") o.exit_idle_seconds = std::atoi(value);
        else if (name == "--max-seconds") o.max_seconds = std::atoi(value);
        else if (name == "--buffer") o.buffer_bytes = std::atoi(value);
        else usage();
    }
    if (o.port_file.empty() || o.idle_ms <= 0) usage();
    return o;
}

[[noreturn]] void die(const char* what) {
    std::fprintf(stderr, "udp_sink: %s: %s\n", what, std::strerror(errno));
    std::exit(1);
}

int open_bound_socket(const Options& o) {
    sockaddr_storage address{};
    socklen_t length = 0;
    auto* v4 = reinterpret_cast<sockaddr_in*>(&address);
    auto* v6 = reinterpret_cast<sockaddr_in6*>(&address);
    if (inet_pton(AF_INET, o.bind_address.c_str(), &v4->sin_addr) == 1) {
        v4->sin_family = AF_INET;
        length = sizeof *v4;
    } else if (inet_pton(AF_INET6, o.bind_address.c_str(), &v6->sin6_addr) == 1) {
        v6->sin6_family = AF_INET6;
        length = sizeof *v6;
    } else {
        std::fprintf(stderr, "udp_sink: bad address %s\n", o.bind_address.c_str());
        std::exit(2);
    }
    const int fd = ::socket(address.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) die("socket");
    // FORCE passes the rmem_max limit but needs root; plain SO_RCVBUF is the
    // fall-back, capped by the system.
    if (::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &o.buffer_bytes, sizeof o.buffer_bytes) != 0) {
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &o.buffer_bytes, sizeof o.buffer_bytes);
    }
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0) die("bind");
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) die("getsockname");
    const unsigned port = ntohs(address.ss_family == AF_INET ? v4->sin_port : v6->sin6_port);

    // Written to a temporary name first, so a reader never sees half a number.
    const std::string temporary = o.port_file + ".tmp";
    FILE* file = std::fopen(temporary.c_str(), "w");
    if (file == nullptr) die("port file");
    std::fprintf(file, "%u\n", port);
    std::fclose(file);
    if (std::rename(temporary.c_str(), o.port_file.c_str()) != 0) die("port file");
    return fd;
}

// steady_clock is CLOCK_MONOTONIC with glibc: the clock run_measured uses.
double seconds_of(std::chrono::steady_clock::time_point t) {
    return std::chrono::duration<double>(t.time_since_epoch()).count();
}

}  // namespace

int main(int argc, char** argv) {
    const Options o = parse(argc, argv);
    struct sigaction action {};
    action.sa_handler = on_signal;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);

    const int fd = open_bound_socket(o);
    using Clock = std::chrono::steady_clock;
    const auto started = Clock::now();
    auto last_datagram = started;
    unsigned long long total = 0;
    bool reported = true;

    constexpr unsigned batch = 64;
    static char buffers[batch][2048];
    iovec vectors[batch];
    mmsghdr messages[batch];
    for (unsigned i = 0; i < batch; ++i) {
        vectors[i] = {buffers[i], sizeof buffers[i]};
        messages[i] = {};
        messages[i].msg_hdr.msg_iov = &vectors[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }

    while (stop_requested == 0) {
        const auto now = Clock::now();
        if (now - started > std::chrono::seconds(o.max_seconds) ||
            now - last_datagram > std::chrono::seconds(o.exit_idle_seconds)) {
            break;
        }
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, o.idle_ms);
        if (ready < 0 && errno != EINTR) die("poll");
        if (ready <= 0) {
            if (!reported) {
                std::printf("total %llu last %.6f\n", total, seconds_of(last_datagram));
                std::fflush(stdout);
                reported = true;
            }
            continue;
        }
        // Drain everything queued before polling again.
        for (;;) {
            const int got = ::recvmmsg(fd, messages, batch, MSG_DONTWAIT, nullptr);
            if (got <= 0) break;
            total += static_cast<unsigned>(got);
            last_datagram = Clock::now();
            reported = false;
        }
    }
    std::printf("total %llu last %.6f\n", total, seconds_of(last_datagram));
    std::fflush(stdout);
    ::close(fd);
    return 0;
}
