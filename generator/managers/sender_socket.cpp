#include "generator/managers/sender_socket.h"

namespace Strell {

void bind_sender(Vorn::Socket& socket, const Vorn::IP_address& collector) {
    socket.set_option(Vorn::SocketOption(Vorn::SocketOption::reuse_addr, 1));
    socket.listen(Vorn::Socket::Endpoint{Vorn::make_any_ip(collector.family()), 0});
}

}  // namespace Strell
