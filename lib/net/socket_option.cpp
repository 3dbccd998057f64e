#include "vorn/net/socket_option.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace Vorn {

namespace {

struct OptionCode {
    int level;
    int name;
};

// Indexed by Optname 0 to 7, the integer options.
constexpr OptionCode integer_options[] = {
    {SOL_SOCKET, SO_REUSEADDR}, {SOL_SOCKET, SO_RCVBUF},    {SOL_SOCKET, SO_KEEPALIVE},
    {IPPROTO_TCP, TCP_NODELAY}, {IPPROTO_TCP, TCP_KEEPCNT}, {IPPROTO_TCP, TCP_KEEPIDLE},
    {IPPROTO_TCP, TCP_KEEPINTVL}, {SOL_SOCKET, SO_BROADCAST},
};

}  // namespace

SocketOption::SocketOption(Optname name, int value) : int_value_(value) {
    const int index = static_cast<int>(name);
    if (index >= 0 && index <= static_cast<int>(broadcast)) {
        level_ = integer_options[index].level;
        name_ = integer_options[index].name;
    }
}

SocketOption::SocketOption(Optname name, const std::string& value) : text_value_(value) {
    if (name == bind_to_device) {
        level_ = SOL_SOCKET;
        name_ = SO_BINDTODEVICE;
    }
}

}  // namespace Vorn
