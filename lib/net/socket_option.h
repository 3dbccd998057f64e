#pragma once

#include <string>

namespace Vorn {

// An option collected before a socket opens and applied when it does.
class SocketOption {
public:
    enum Optname {
        reuse_addr = 0,
        rcvbuf = 1,
        keepalive = 2,
        tcp_nodelay = 3,
        tcp_keepcnt = 4,
        tcp_keepidle = 5,
        tcp_keepintvl = 6,
        broadcast = 7,
        bind_to_device = 8,
    };

    SocketOption(Optname name, int value);
    SocketOption(Optname name, const std::string& value);

    int level() const { return level_; }
    int name() const { return name_; }
    int int_value() const { return int_value_; }
    const std::string& text_value() const { return text_value_; }

private:
    int level_ = -1;  // unknown options keep -1 here and in name_
    int name_ = -1;
    int int_value_ = 0;
    std::string text_value_;
};

}  // namespace Vorn
