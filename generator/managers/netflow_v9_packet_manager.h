#pragma once

#include <array>
#include <cstdint>

#include "generator/managers/netflow_packet_manager.h"
#include "generator/netflow/export_constants.h"
#include "generator/netflow/flowset_storage.h"
#include "generator/netflow/netflow_v9_packet.h"
#include "vorn/stat/detailed_info_file_parser.h"

namespace Strell {

// Packs flows into v9 packets of at most 1500 bytes, one data flowset per
// template: 256 for IPv4 flows, 257 for IPv6 flows. The two templates travel
// in the first packet only, as our collectors have always been fed.
class Netflow_v9_PacketManager final : public NetflowPacketManager {
public:
    Netflow_v9_PacketManager(unsigned short version, unsigned int sys_uptime, unsigned int unix_secs,
                             unsigned int sequence, unsigned int source_id);

    void accumulate_and_send_packet(const Vorn::TrafficFlowRecord& flow) override;
    // The same for a record of a detail file whose plan is direct, written
    // from where it lies in the file.
    void accumulate_and_send_packet(const Vorn::DetailFlow& flow);
    void force_sending() override;
    // Not offered by the v9 manager.
    void send_packets(const StrellRecord& record, unsigned int count) override;

    // Pending data flowsets with their headers, cut to 16 bits.
    uint16_t data_flowsets_length() const {
        return static_cast<uint16_t>(pending_[0].length() + pending_[1].length());
    }

private:
    // The data flowset of one template while the packet is being filled.
    // A closed slot is not part of the packet; its storage waits for reuse.
    struct PendingFlowset {
        explicit PendingFlowset(uint16_t id) : flowset(id) {}

        // With its header, as it would go into the packet.
        size_t length() const { return open ? flowset.records.length() + flowset_header_length : 0; }

        FlowsetStorage<DataFlowsetRecords> flowset;
        bool open = false;
    };

    // A flow of the family v6 from any source of its values (flow_values.h).
    template <bool v6, typename Flow>
    void accumulate(const Flow& flow);
    // The flow's values straight into the slot's flowset, as the bytes of
    // the data record that StrellRecord(flow) would give.
    template <bool v6, typename Flow>
    [[gnu::always_inline]] static void add_flow(PendingFlowset& slot, const Flow& flow);
    // A flow that opens a flowset, or one that does not fit the packet.
    template <bool v6, typename Flow>
    [[gnu::noinline]] void add_to_fresh_flowset(PendingFlowset& slot, const Flow& flow);
    void add_pending_to_packet();
    void send();
    void transmit();

    uint16_t base_template_id_;
    Netflow_v9_Packet packet_;
    FlowsetStorage<TemplateFlowsetRecords> templates_;
    // One slot per template id, in ascending id: the order in which the
    // flowsets go into a packet.
    std::array<PendingFlowset, 2> pending_{PendingFlowset(ipv4_template_id), PendingFlowset(ipv6_template_id)};
};

}  // namespace Strell
