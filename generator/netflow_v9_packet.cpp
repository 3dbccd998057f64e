#include "generator/netflow_v9_packet.h"

#include <ctime>

#include "generator/raw_data.h"

namespace Strell {

namespace {

constexpr uint64_t header_length = 20;
constexpr uint64_t flowset_header_length = 4;

template <typename T>
void serialize_flowset(const FlowsetStorage<T>& flowset, RawData& out) {
    flowset.flowset_length = static_cast<uint16_t>(flowset.records.length() + flowset_header_length);
    out.write(flowset.flowset_id);
    out.write(flowset.flowset_length);
    flowset.records.serialize(out);
}

}  // namespace

Netflow_v9_Packet::Netflow_v9_Packet(unsigned short version_, unsigned int sys_uptime_, unsigned int unix_secs_,
                                     unsigned int sequence_, unsigned int source_id_)
    : version(version_), sys_uptime(sys_uptime_), unix_secs(unix_secs_), sequence(sequence_), source_id(source_id_) {}

void Netflow_v9_Packet::add_flowset(const FlowsetStorage<DataFlowsetRecords>& flowset) {
    count = static_cast<uint16_t>(count + flowset.records.records_count());
    data_flowsets.push_back(flowset);
}

void Netflow_v9_Packet::add_flowset(const FlowsetStorage<TemplateFlowsetRecords>& flowset) {
    count = static_cast<uint16_t>(count + flowset.records.records_count());
    template_flowsets.push_back(flowset);
}

uint64_t Netflow_v9_Packet::length() const {
    uint64_t total = header_length;
    for (const auto& flowset : template_flowsets) {
        total += flowset.records.length() + flowset_header_length;
    }
    for (const auto& flowset : data_flowsets) {
        total += flowset.records.length() + flowset_header_length;
    }
    return total;
}

void Netflow_v9_Packet::update_time() {
    const auto now = static_cast<uint32_t>(time(nullptr));
    sys_uptime = now - unix_secs;
    unix_secs = now;
}

void Netflow_v9_Packet::clear() {
    count = 0;
    template_flowsets.clear();
    data_flowsets.clear();
}

void Netflow_v9_Packet::serialize(RawData& out) const {
    out.write(version);
    out.write(count);
    out.write(sys_uptime);
    out.write(unix_secs);
    out.write(sequence);
    out.write(source_id);
    for (const auto& flowset : template_flowsets) {
        serialize_flowset(flowset, out);
    }
    for (const auto& flowset : data_flowsets) {
        serialize_flowset(flowset, out);
    }
}

}  // namespace Strell
