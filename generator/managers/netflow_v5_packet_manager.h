#pragma once

#include "generator/managers/netflow_packet_manager.h"
#include "generator/netflow/netflow_v5_packet.h"
#include "vorn/stat/detailed_info_file_parser.h"

namespace Strell {

// Sends a v5 packet the moment it holds 30 flows (1464 bytes). flow_sequence
// stays the value given here for the whole run.
class Netflow_v5_PacketManager final : public NetflowPacketManager {
public:
    static constexpr unsigned records_per_packet = 30;

    Netflow_v5_PacketManager(unsigned short version, unsigned int sys_uptime, unsigned int unix_secs,
                             unsigned int flow_sequence);

    void accumulate_and_send_packet(const Vorn::TrafficFlowRecord& flow) override;
    // The same for a record of a detail file whose plan is direct, written
    // from where it lies in the file.
    void accumulate_and_send_packet(const Vorn::DetailFlow& flow);
    void force_sending() override;
    void send_packets(const StrellRecord& record, unsigned int count) override;

private:
    // A full packet goes out at once.
    void send_if_full();
    void send();

    Netflow_v5_Packet packet_;
};

}  // namespace Strell
