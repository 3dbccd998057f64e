#include "generator/driver/synthetic_send.h"

#include <sys/time.h>

#include <cstdio>

#include "generator/managers/sender_socket.h"
#include "vorn/net/socket.h"
#include "vorn/util/thread.h"

namespace Strell {

using Vorn::Socket;

namespace {

// Measured from start-up, so parsing, building and socket set-up count too.
void print_statistics(const RunSettings& settings, unsigned packets) {
    timeval end{};
    gettimeofday(&end, nullptr);
    const long seconds = end.tv_sec - settings.start_time.tv_sec;
    const long microseconds = end.tv_usec - settings.start_time.tv_usec;
    const double elapsed = microseconds / 1000000.0 + static_cast<double>(seconds);
    const double total = static_cast<double>(seconds * 1000000L + microseconds);
    // Two blanks before the version text: the format has one and the text too.
    std::printf("%d %s in %d packets in %.06f sec\n", static_cast<int>(settings.count),
                settings.version == 9 ? " NFv9" : " NFv5", static_cast<int>(packets), elapsed);
    std::printf("Average %.3f pack/s, %.3f nf/s\n", packets * 1000000.0 / total, settings.count * 1000000.0 / total);
}

}  // namespace

int send_synthetic(const RunSettings& settings) {
    SyntheticDatagrams datagrams;
    if (settings.version == 9) {
        build_synthetic_v9(settings, datagrams);
    } else {
        build_synthetic_v5(settings, datagrams);
    }

    Socket socket(Socket::UDP);
    bind_sender(socket, settings.collector.address);

    // Nothing but sendto on the prepared buffer: the rates printed are the
    // socket's own.
    const unsigned char* const full_bytes = datagrams.full.data();
    const size_t full_size = datagrams.full.size();
    try {
        for (unsigned i = 0; i < datagrams.full_packets; ++i) {
            socket.sendto(full_bytes, full_size, settings.collector);
            if (settings.send_delay != 0) {
                Vorn::Thread::usleep(settings.send_delay);
            }
        }
        if (datagrams.has_partial) {
            socket.sendto(datagrams.partial.data(), datagrams.partial.size(), settings.collector);
        }
    } catch (const Vorn::Exception& e) {
        std::printf("%s\n", e.what());
        return 1;
    }

    print_statistics(settings, datagrams.full_packets + (datagrams.has_partial ? 1 : 0));
    socket.close();
    return 0;
}

}  // namespace Strell
