#include "generator/managers/netflow_v9_packet_manager.h"

#include "generator/netflow/flow_values.h"
#include "generator/netflow/raw_data.h"

namespace Strell {

namespace {

// The field list of an all-zero flow of the family is the template itself.
StrellRecord zero_flow_record(Vorn::IP_address::Family family) {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = flow.d_addr = flow.nexthop_addr = Vorn::make_any_ip(family);
    return StrellRecord(flow);
}

}  // namespace

Netflow_v9_PacketManager::Netflow_v9_PacketManager(unsigned short version, unsigned int sys_uptime,
                                                   unsigned int unix_secs, unsigned int sequence,
                                                   unsigned int source_id)
    : base_template_id_(ipv4_template_id),
      packet_(version, sys_uptime, unix_secs, sequence, source_id),
      templates_(template_flowset_id) {
    templates_.records.add_record(base_template_id_, zero_flow_record(Vorn::IP_address::IPv4).fields());
    templates_.records.add_record(ipv6_template_id, zero_flow_record(Vorn::IP_address::IPv6).fields());
    packet_.add_flowset(templates_);
}

void Netflow_v9_PacketManager::accumulate_and_send_packet(const Vorn::TrafficFlowRecord& flow) {
    StrellRecord::require_one_family(flow);
    const FlowRecordValues values(flow);
    if (Vorn::get_address_type(flow) == Vorn::IP_address::IPv6)
        accumulate<true>(values);
    else
        accumulate<false>(values);
}

// A direct record has its three addresses of one family.
void Netflow_v9_PacketManager::accumulate_and_send_packet(const Vorn::DetailFlow& flow) {
    if (flow.plan->v6())
        accumulate<true>(DetailFlowValues<true>(flow));
    else
        accumulate<false>(DetailFlowValues<false>(flow));
}

// The size tests count the padding the pending flowsets have now, not the
// change the new flow makes to it; packets are filled exactly that way.
template <bool v6, typename Flow>
void Netflow_v9_PacketManager::accumulate(const Flow& flow) {
    PendingFlowset& slot = pending_[v6 ? 1 : 0];
    constexpr auto length = static_cast<uint16_t>(Vorn::v9_flow_length(v6));
    if (slot.open && packet_.length() + data_flowsets_length() + length <= max_datagram_length) {
        add_flow<v6>(slot, flow);
        return;
    }
    add_to_fresh_flowset<v6>(slot, flow);
}

// Apart from the common case above, so that it stays short.
template <bool v6, typename Flow>
void Netflow_v9_PacketManager::add_to_fresh_flowset(PendingFlowset& slot, const Flow& flow) {
    if (slot.open) {
        send();
        add_flow<v6>(slot, flow);
        slot.open = true;
        return;
    }

    // A new flowset for this template, holding the flow; the slot is not
    // open yet, so neither the size test nor a send counts it.
    slot.flowset.records.clear();
    slot.flowset.flowset_length = 0;
    add_flow<v6>(slot, flow);
    if (packet_.length() + flowset_header_length + data_flowsets_length() + slot.flowset.records.length() >
        max_datagram_length) {
        // Sending empties every slot, this one too: put the flow back.
        send();
        add_flow<v6>(slot, flow);
    }
    slot.open = true;
}

template <bool v6, typename Flow>
inline void Netflow_v9_PacketManager::add_flow(PendingFlowset& slot, const Flow& flow) {
    StrellRecord::write_flow<v6>(flow, slot.flowset.records.add_record(Vorn::v9_flow_length(v6)));
}

void Netflow_v9_PacketManager::force_sending() {
    add_pending_to_packet();
    if (packet_.records_count() == 0) {
        return;
    }
    transmit();
}

void Netflow_v9_PacketManager::send_packets(const StrellRecord&, unsigned int) {}

void Netflow_v9_PacketManager::add_pending_to_packet() {
    for (const PendingFlowset& slot : pending_) {
        if (slot.open) {
            packet_.add_flowset(slot.flowset);
        }
    }
}

void Netflow_v9_PacketManager::send() {
    add_pending_to_packet();
    transmit();
}

// A send that throws leaves packet_ and pending_ as they were, flowsets and all.
void Netflow_v9_PacketManager::transmit() {
    send_packet(packet_);
    packet_.clear();
    for (PendingFlowset& slot : pending_) {
        slot.flowset.records.clear();
        slot.open = false;
    }
}

}  // namespace Strell
