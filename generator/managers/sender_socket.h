#pragma once

#include "vorn/net/ip_address.h"
#include "vorn/net/socket.h"

namespace Strell {

// Readies a UDP socket to send to a collector at this address: the
// reuse-address option, then bound to the wildcard address of the
// collector's family on a port the system picks. The managers and the
// synthetic sends send from such a socket.
void bind_sender(Vorn::Socket& socket, const Vorn::IP_address& collector);

}  // namespace Strell
