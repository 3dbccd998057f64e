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
    out.write_all(flowset.flowset_id, flowset.flowset_length);
    flowset.records.serialize(out);
}

}  // namespace

Netflow_v9_Packet::Netflow_v9_Packet(unsigned short version_, unsigned int sys_uptime_, unsigned int unix_secs_,
                                     unsigned int sequence_, unsigned int source_id_)
    : version(version_),
      sys_uptime(sys_uptime_),
      unix_secs(unix_secs_),
      sequence(sequence_),
      source_id(source_id_),
      length_(header_length) {}

void Netflow_v9_Packet::add_flowset(const FlowsetStorage<DataFlowsetRecords>& flowset) {
    count = static_cast<uint16_t>(count + flowset.records.records_count());
    if (data_flowsets_used < data_flowsets.size()) {
        data_flowsets[data_flowsets_used] = flowset;
    } else {
        data_flowsets.push_back(flowset);
    }
    ++data_flowsets_used;
    length_ += flowset.records.length() + flowset_header_length;
}

void Netflow_v9_Packet::add_flowset(const FlowsetStorage<TemplateFlowsetRecords>& flowset) {
    count = static_cast<uint16_t>(count + flowset.records.records_count());
    template_flowsets.push_back(flowset);
    length_ += flowset.records.length() + flowset_header_length;
}

void Netflow_v9_Packet::update_time() {
    const auto now = static_cast<uint32_t>(time(nullptr));
    sys_uptime = now - unix_secs;
    unix_secs = now;
}

void Netflow_v9_Packet::clear() {
    count = 0;
    template_flowsets.clear();
    for (size_t i = 0; i < data_flowsets_used; ++i) {
        data_flowsets[i].records.clear();
    }
    data_flowsets_used = 0;
    length_ = header_length;
}

void Netflow_v9_Packet::serialize(RawData& out) const {
    out.write_all(version, count, sys_uptime, unix_secs, sequence, source_id);
    for (const auto& flowset : template_flowsets) {
        serialize_flowset(flowset, out);
    }
    for (size_t i = 0; i < data_flowsets_used; ++i) {
        serialize_flowset(data_flowsets[i], out);
    }
}

}  // namespace Strell
