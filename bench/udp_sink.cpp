// Counts the UDP datagrams arriving on a loopback port, for the throughput
// runs. Each time the traffic pauses for --idle-ms it prints the running
// total and when the last datagram came ("total N last SECONDS", on the
// CLOCK_MONOTONIC clock), so a script can take the difference around every
// run against one sink. It never looks at the payload.
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

#include "udp_receiver.h"

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
    bool spin = false;
};

volatile sig_atomic_t stop_requested = 0;

void on_signal(int) { stop_requested = 1; }

[[noreturn]] void usage() {
    std::fprintf(stderr,
                 "usage: udp_sink --port-file FILE [--bind 127.0.0.1|::1] [--idle-ms N] [--spin] "
                 "[--exit-idle-seconds N] [--max-seconds N] [--buffer BYTES]\n");
    std::exit(2);
}

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--spin") {
            o.spin = true;
            continue;
        }
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

// Written to a temporary name first, so a reader never sees half a number.
void write_port_file(const std::string& path, unsigned port) {
    const std::string temporary = path + ".tmp";
    FILE* file = std::fopen(temporary.c_str(), "w");
    if (file == nullptr) die("port file");
    std::fprintf(file, "%u\n", port);
    std::fclose(file);
    if (std::rename(temporary.c_str(), path.c_str()) != 0) die("port file");
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

    // The tests' receiver: bound to a port the system picks, its buffer raised past the cap where allowed.
    const StrellTest::UdpReceiver receiver(o.bind_address, o.buffer_bytes);
    write_port_file(o.port_file, receiver.port());
    const int fd = receiver.fd();
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
        // With --spin the sink never sleeps while traffic flows, as a sender
        // on a real network never pays for waking its receiver; once the
        // traffic has paused and been reported it sleeps until the next run.
        const bool busy = o.spin && !reported;
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, busy ? 0 : o.idle_ms);
        if (ready < 0 && errno != EINTR) die("poll");
        if (ready <= 0) {
            if (!reported && (!busy || now - last_datagram >= std::chrono::milliseconds(o.idle_ms))) {
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
    return 0;
}
