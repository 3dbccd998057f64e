#include "generator/managers/netflow_v5_packet_manager.h"

namespace Strell {

Netflow_v5_PacketManager::Netflow_v5_PacketManager(unsigned short version, unsigned int sys_uptime,
                                                   unsigned int unix_secs, unsigned int flow_sequence)
    : packet_(version, sys_uptime, unix_secs, flow_sequence, std::string()) {}

void Netflow_v5_PacketManager::accumulate_and_send_packet(const Vorn::TrafficFlowRecord& flow) {
    packet_.add_record(flow);
    send_if_full();
}

// An IPv6 flow is skipped, as the packet skips it.
void Netflow_v5_PacketManager::accumulate_and_send_packet(const Vorn::DetailFlow& flow) {
    if (flow.plan->v6()) {
        return;
    }
    packet_.add_flow(DetailFlowValues<false>(flow));
    send_if_full();
}

void Netflow_v5_PacketManager::send_if_full() {
    if (packet_.records_count() == records_per_packet) {
        send();
        packet_.clear();
    }
}

void Netflow_v5_PacketManager::force_sending() {
    if (packet_.records_count() == 0) {
        return;
    }
    send();
    packet_.clear();
}

// Each packet is filled once and then sent q times: the repeats carry the same
// records under refreshed header times.
void Netflow_v5_PacketManager::send_packets(const StrellRecord& record, unsigned int count) {
    const unsigned full_packets = count / records_per_packet;
    const unsigned rest = count % records_per_packet;
    if (full_packets != 0) {
        for (unsigned i = 0; i < records_per_packet; ++i) {
            packet_.add_record(record);
        }
        for (unsigned i = 0; i < full_packets; ++i) {
            send();
        }
    }
    packet_.clear();
    if (rest != 0) {
        for (unsigned i = 0; i < rest; ++i) {
            packet_.add_record(record);
        }
        send();
        packet_.clear();
    }
}

// The delay comes before the send, so even the last, forced packet waits.
void Netflow_v5_PacketManager::send() { send_packet(packet_); }

}  // namespace Strell
