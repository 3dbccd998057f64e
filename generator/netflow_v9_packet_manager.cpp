#include "generator/netflow_v9_packet_manager.h"

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
    : base_template_id(ipv4_template_id), packet(version, sys_uptime, unix_secs, sequence, source_id), templates(0) {
    templates.records.add_record(base_template_id, zero_flow_record(Vorn::IP_address::IPv4).fields());
    templates.records.add_record(ipv6_template_id, zero_flow_record(Vorn::IP_address::IPv6).fields());
    packet.add_flowset(templates);
}

uint16_t Netflow_v9_PacketManager::data_flowsets_length() const {
    uint64_t total = 0;
    for (const PendingFlowset& slot : pending) {
        if (slot.open) {
            total += slot.flowset.records.length() + 4;
        }
    }
    return static_cast<uint16_t>(total);
}

// The size tests count the padding the pending flowsets have now, not the
// change the new flow makes to it; packets are filled exactly that way.
void Netflow_v9_PacketManager::accumulate_and_send_packet(const Vorn::TrafficFlowRecord& flow) {
    record.assign(flow);
    // The family get_address_type reports: the source address's.
    const bool v6 = flow.s_addr.family() == Vorn::IP_address::IPv6;
    PendingFlowset& slot = pending[v6 ? 1 : 0];

    if (slot.open) {
        if (packet.length() + data_flowsets_length() + static_cast<uint16_t>(record.data_length()) <=
            max_packet_length) {
            slot.flowset.records.add_record_from(record);
            return;
        }
        send();
        slot.flowset.records.add_record_from(record);
        slot.open = true;
        return;
    }

    // A new flowset for this template, holding the flow; the slot is not
    // open yet, so neither the size test nor a send counts it.
    slot.flowset.records.clear();
    slot.flowset.flowset_length = 0;
    slot.flowset.records.add_record_from(record);
    if (packet.length() + 4 + data_flowsets_length() + slot.flowset.records.length() > max_packet_length) {
        // Sending empties every slot, this one too: put the flow back.
        send();
        slot.flowset.records.add_record_from(record);
    }
    slot.open = true;
}

void Netflow_v9_PacketManager::force_sending() {
    add_pending_to_packet();
    if (packet.records_count() == 0) {
        return;
    }
    transmit();
}

void Netflow_v9_PacketManager::send_packets(const StrellRecord&, unsigned int) {}

void Netflow_v9_PacketManager::add_pending_to_packet() {
    for (const PendingFlowset& slot : pending) {
        if (slot.open) {
            packet.add_flowset(slot.flowset);
        }
    }
}

void Netflow_v9_PacketManager::send() {
    add_pending_to_packet();
    transmit();
}

// A send that throws leaves packet and pending as they were, flowsets and all.
void Netflow_v9_PacketManager::transmit() {
    send_packet(packet);
    packet.clear();
    for (PendingFlowset& slot : pending) {
        slot.flowset.records.clear();
        slot.open = false;
    }
}

}  // namespace Strell
