#include "generator/managers/netflow_packet_manager.h"

#include <cstdio>
#include <string>

#include "generator/managers/sender_socket.h"

namespace Strell {

using Vorn::Socket;

NetflowPacketManager::NetflowPacketManager() : socket_(Socket::UDP) {}

void NetflowPacketManager::init(const Socket::Endpoint& collector, int delay) {
    bind_sender(socket_, collector.address);
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
