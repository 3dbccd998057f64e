#include "generator/netflow_v9_packet_manager.h"

#include <type_traits>

#include "generator/raw_data.h"

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
    StrellRecord::require_one_family(flow);
    // The family get_address_type reports: the source address's.
    const bool v6 = flow.s_addr.family() == Vorn::IP_address::IPv6;
    const uint32_t length = StrellRecord::flow_data_length(v6);
    PendingFlowset& slot = pending[v6 ? 1 : 0];

    if (slot.open) {
        if (packet.length() + data_flowsets_length() + static_cast<uint16_t>(length) <= max_packet_length) {
            add_flow(slot, flow, length);
            return;
        }
        send();
        add_flow(slot, flow, length);
        slot.open = true;
        return;
    }

    // A new flowset for this template, holding the flow; the slot is not
    // open yet, so neither the size test nor a send counts it.
    slot.flowset.records.clear();
    slot.flowset.flowset_length = 0;
    add_flow(slot, flow, length);
    if (packet.length() + 4 + data_flowsets_length() + slot.flowset.records.length() > max_packet_length) {
        // Sending empties every slot, this one too: put the flow back.
        send();
        add_flow(slot, flow, length);
    }
    slot.open = true;
}

void Netflow_v9_PacketManager::add_flow(PendingFlowset& slot, const Vorn::TrafficFlowRecord& flow, uint32_t length) {
    WireWriter out(slot.flowset.records.add_record(length));
    StrellRecord::for_each_field(flow, [&out](unsigned short, const auto& value) {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, Vorn::IP_address>)
            out.write_address(value);
        else
            out.write(value);
    });
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
