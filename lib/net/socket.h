#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vorn/net/ip_address.h"
#include "vorn/net/socket_error.h"
#include "vorn/net/socket_option.h"

namespace Vorn {

class Socket {
public:
    enum Protocol { TCP = 0, UDP = 1 };
    enum ShutdownType { shut_read = 0, shut_write = 1, shut_both = 2 };

    struct Endpoint {
        IP_address address;
        uint16_t port = 0;
    };

    explicit Socket(Protocol protocol);
    Socket(int descriptor, const Endpoint& peer);  // an accepted TCP connection
    Socket(const Socket& other);
    Socket& operator=(const Socket& other);
    ~Socket();
    Socket clone() const;

    void set_option(const SocketOption& option);
    void set_client_option(const SocketOption& option);
    void set_max_conn(unsigned max_conn);

    void open(IP_address::Family family);
    void listen(const Endpoint& endpoint);
    void connect(const Endpoint& endpoint);
    Socket accept();

    size_t read(void* data, size_t size);
    size_t write(const void* data, size_t size);
    size_t recvfrom(void* data, size_t size, Endpoint& from);
    size_t sendto(const void* data, size_t size, const Endpoint& to);
    int shutdown(ShutdownType type);
    void close();

    int get_native_socket() const;
    Endpoint get_local_endpoint() const;
    Endpoint get_remote_endpoint() const;
    void set_options();

private:
    int descriptor_ = -1;
    Protocol protocol_;
    IP_address::Family family_ = static_cast<IP_address::Family>(0);
    Endpoint endpoint_;
    bool listening_ = false;
    uint32_t max_conn_ = 4096;
    std::vector<SocketOption> options_;
    std::vector<SocketOption> client_options_;
};

}  // namespace Vorn
