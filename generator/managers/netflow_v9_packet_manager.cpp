#include "generator/managers/netflow_v9_packet_manager.h"

#include <cstring>
#include <type_traits>

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

uint16_t Netflow_v9_PacketManager::data_flowsets_length() const {
    const auto with_header = [](const PendingFlowset& slot) {
        return slot.open ? slot.flowset.records.length() + flowset_header_length : 0;
    };
    return static_cast<uint16_t>(with_header(pending_[0]) + with_header(pending_[1]));
}

// The size tests count the padding the pending flowsets have now, not the
// change the new flow makes to it; packets are filled exactly that way.
void Netflow_v9_PacketManager::accumulate_and_send_packet(const Vorn::TrafficFlowRecord& flow) {
    StrellRecord::require_one_family(flow);
    // The family get_address_type reports: the source address's.
    const bool v6 = flow.s_addr.family() == Vorn::IP_address::IPv6;
    PendingFlowset& slot = pending_[v6 ? 1 : 0];
    const auto length = static_cast<uint16_t>(StrellRecord::flow_data_length(v6));
    if (slot.open && packet_.length() + data_flowsets_length() + length <= max_datagram_length) {
        add_flow(slot, flow, v6);
        return;
    }
    add_to_fresh_flowset(slot, flow, v6);
}

// Apart from the common case above, so that it stays short.
void Netflow_v9_PacketManager::add_to_fresh_flowset(PendingFlowset& slot, const Vorn::TrafficFlowRecord& flow,
                                                     bool v6) {
    if (slot.open) {
        send();
        add_flow(slot, flow, v6);
        slot.open = true;
        return;
    }

    // A new flowset for this template, holding the flow; the slot is not
    // open yet, so neither the size test nor a send counts it.
    slot.flowset.records.clear();
    slot.flowset.flowset_length = 0;
    add_flow(slot, flow, v6);
    if (packet_.length() + flowset_header_length + data_flowsets_length() + slot.flowset.records.length() >
        max_datagram_length) {
        // Sending empties every slot, this one too: put the flow back.
        send();
        add_flow(slot, flow, v6);
    }
    slot.open = true;
}

namespace {

// Room first, so that the values are read after it in one stream; they are
// written into a local, which cannot alias the flow, and copied from there.
// The family, known here, fixes the length and how addresses are written.
template <bool v6>
void write_flow(const Vorn::TrafficFlowRecord& flow, DataFlowsetRecords& records) {
    constexpr uint32_t length = StrellRecord::flow_data_length(v6);
    unsigned char* const at = records.add_record(length);
    unsigned char bytes[length];
    WireWriter out(bytes);
    StrellRecord::for_each_field(flow, [&out](unsigned short, const auto& value) {
        if constexpr (!std::is_same_v<std::decay_t<decltype(value)>, Vorn::IP_address>)
            out.write(value);
        else if constexpr (v6)
            out.write_address(value);
        else
            out.write(value.to_int());  // what write_address does, without asking the family
    });
    std::memcpy(at, bytes, length);
}

}  // namespace

void Netflow_v9_PacketManager::add_flow(PendingFlowset& slot, const Vorn::TrafficFlowRecord& flow, bool v6) {
    if (v6)
        write_flow<true>(flow, slot.flowset.records);
    else
        write_flow<false>(flow, slot.flowset.records);
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
