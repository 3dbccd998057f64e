#pragma once

#include "generator/netflow/raw_data.h"
#include "generator/netflow/strell_record.h"
#include "vorn/net/socket.h"
#include "vorn/stat/traffic_flow_record.h"
#include "vorn/util/thread.h"

namespace Strell {

// Gathers flows into export packets and sends each one to the collector over
// UDP as soon as it is full. One manager per run, used from one thread.
class NetflowPacketManager {
public:
    NetflowPacketManager();
    NetflowPacketManager(const NetflowPacketManager&) = delete;
    NetflowPacketManager& operator=(const NetflowPacketManager&) = delete;

    // Binds the socket to the wildcard of the collector's family on a port the
    // system picks, keeps collector and delay, and announces the target.
    // Called once, before anything else.
    void init(const Vorn::Socket::Endpoint& collector, int send_delay);

    virtual void accumulate_and_send_packet(const Vorn::TrafficFlowRecord& flow) = 0;
    virtual void force_sending() = 0;
    virtual void send_packets(const StrellRecord& record, unsigned int count) = 0;
    virtual ~NetflowPacketManager() = default;

protected:
    // One datagram out: the delay first, so the header times follow it, then
    // the packet's times, then a fresh buffer to the collector.
    template <typename Packet>
    void send_packet(Packet& packet) {
        if (send_delay_ != 0) {
            Vorn::Thread::usleep(send_delay_);
        }
        packet.update_time();
        RawData buffer;
        packet.serialize(buffer);
        socket_.sendto(buffer.data(), buffer.size(), endpoint_);
    }

    Vorn::Socket::Endpoint endpoint_;
    int send_delay_ = 0;  // microseconds slept before every send; 0: none
    Vorn::Socket socket_;
};

}  // namespace Strell
