#include "generator/managers/netflow_packet_manager.h"

#include <cstdio>
#include <string>

namespace Strell {

using Vorn::Socket;
using Vorn::SocketOption;

NetflowPacketManager::NetflowPacketManager() : socket_(Socket::UDP) {}

void NetflowPacketManager::init(const Socket::Endpoint& collector, int delay) {
    socket_.set_option(SocketOption(SocketOption::reuse_addr, 1));
    socket_.listen(Socket::Endpoint{Vorn::make_any_ip(collector.address.family()), 0});
    if (&collector != &endpoint_) {
        endpoint_.address = collector.address;
        endpoint_.port = collector.port;
    }
    send_delay_ = delay;
    std::printf("Send packets to host: %s ; port: %u\n", endpoint_.address.to_string().c_str(),
                static_cast<unsigned>(endpoint_.port));
    std::fflush(stdout);
}

}  // namespace Strell
