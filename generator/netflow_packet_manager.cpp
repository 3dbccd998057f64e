#include "generator/netflow_packet_manager.h"

#include <cstdio>
#include <string>

namespace Strell {

using Vorn::Socket;
using Vorn::SocketOption;

NetflowPacketManager::NetflowPacketManager() : socket(Socket::UDP) {}

void NetflowPacketManager::init(const Socket::Endpoint& collector, int delay) {
    socket.set_option(SocketOption(SocketOption::reuse_addr, 1));
    socket.listen(Socket::Endpoint{Vorn::make_any_ip(collector.address.family()), 0});
    if (&collector != &endpoint) {
        endpoint.address = collector.address;
        endpoint.port = collector.port;
    }
    send_delay = delay;
    std::printf("Send packets to host: %s ; port: %u\n", endpoint.address.to_string().c_str(),
                static_cast<unsigned>(endpoint.port));
    std::fflush(stdout);
}

}  // namespace Strell
