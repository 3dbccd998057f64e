// The managers' accumulate_and_send_packet per record, sends included: the
// datagrams go to a loopback socket that the benchmark binds and never reads,
// so the kernel drops what its buffer cannot hold (sendto succeeds either way).
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "generator/managers/netflow_v5_packet_manager.h"
#include "generator/managers/netflow_v9_packet_manager.h"
#include "sample_flows.h"

namespace {

// A bound UDP port on 127.0.0.1 that lives as long as the process.
uint16_t receiver_port() {
    static const uint16_t port = [] {
        const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            std::perror("receiver socket");
            std::exit(1);
        }
        return ntohs(address.sin_port);
    }();
    return port;
}

Vorn::Socket::Endpoint receiver() {
    return Vorn::Socket::Endpoint{Vorn::IP_address::from_string("127.0.0.1"), receiver_port()};
}

// One manager per kind for the whole process, like a run has: the set-up
// line each prints appears once.
Strell::NetflowPacketManager& v5_manager() {
    static const auto manager = [] {
        auto m = std::make_unique<Strell::Netflow_v5_PacketManager>(5, 1, 0, 56);
        m->init(receiver(), 0);
        return m;
    }();
    return *manager;
}

Strell::NetflowPacketManager& v9_manager() {
    static const auto manager = [] {
        auto m = std::make_unique<Strell::Netflow_v9_PacketManager>(9, 1, 0, 56, 1234);
        m->init(receiver(), 0);
        return m;
    }();
    return *manager;
}

std::vector<Vorn::TrafficStat> flows(bool v6) {
    std::vector<Vorn::TrafficStat> all;
    for (size_t i = 0; i < 1024; ++i) all.push_back(StrellBench::sample_flow(i, v6));
    return all;
}

void run(benchmark::State& state, Strell::NetflowPacketManager& manager, const std::vector<Vorn::TrafficStat>& all) {
    size_t i = 0;
    for (auto _ : state) {
        manager.accumulate_and_send_packet(all[i]);
        i = (i + 1) % all.size();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_V5ManagerAccumulate(benchmark::State& state) {
    static const auto all = flows(false);
    run(state, v5_manager(), all);
}
BENCHMARK(BM_V5ManagerAccumulate);

void BM_V9ManagerAccumulate(benchmark::State& state) {
    const bool v6 = state.range(0) != 0;
    static const auto v4_flows = flows(false);
    static const auto v6_flows = flows(true);
    run(state, v9_manager(), v6 ? v6_flows : v4_flows);
    state.SetLabel(v6 ? "IPv6" : "IPv4");
}
BENCHMARK(BM_V9ManagerAccumulate)->Arg(0)->Arg(1);

}  // namespace
