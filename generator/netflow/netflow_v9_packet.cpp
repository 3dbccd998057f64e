#include "generator/netflow/netflow_v9_packet.h"

#include <ctime>

#include "generator/netflow/export_constants.h"
#include "generator/netflow/raw_data.h"

namespace Strell {

namespace {

constexpr uint64_t header_length = 20;

template <typename T>
void serialize_flowset(const FlowsetStorage<T>& flowset, RawData& out) {
    flowset.flowset_length = static_cast<uint16_t>(flowset.records.length() + flowset_header_length);
    out.write_all(flowset.flowset_id, flowset.flowset_length);
    flowset.records.serialize(out);
}

}  // namespace

Netflow_v9_Packet::Netflow_v9_Packet(unsigned short version, unsigned int sys_uptime, unsigned int unix_secs,
                                     unsigned int sequence, unsigned int source_id)
    : version_(version),
      sys_uptime_(sys_uptime),
      unix_secs_(unix_secs),
      sequence_(sequence),
      source_id_(source_id),
      length_(header_length) {}

void Netflow_v9_Packet::add_flowset(const FlowsetStorage<DataFlowsetRecords>& flowset) {
    count_ = static_cast<uint16_t>(count_ + flowset.records.records_count());
    if (data_flowsets_used_ < data_flowsets_.size()) {
        data_flowsets_[data_flowsets_used_] = flowset;
    } else {
        data_flowsets_.push_back(flowset);
    }
    ++data_flowsets_used_;
    length_ += flowset.records.length() + flowset_header_length;
}

void Netflow_v9_Packet::add_flowset(const FlowsetStorage<TemplateFlowsetRecords>& flowset) {
    count_ = static_cast<uint16_t>(count_ + flowset.records.records_count());
    template_flowsets_.push_back(flowset);
    length_ += flowset.records.length() + flowset_header_length;
}

void Netflow_v9_Packet::update_time() {
    const auto now = static_cast<uint32_t>(time(nullptr));
    sys_uptime_ = now - unix_secs_;
    unix_secs_ = now;
}

void Netflow_v9_Packet::clear() {
    count_ = 0;
    template_flowsets_.clear();
    for (size_t i = 0; i < data_flowsets_used_; ++i) {
        data_flowsets_[i].records.clear();
    }
    data_flowsets_used_ = 0;
    length_ = header_length;
}

void Netflow_v9_Packet::serialize(RawData& out) const {
    out.write_all(version_, count_, sys_uptime_, unix_secs_, sequence_, source_id_);
    for (const auto& flowset : template_flowsets_) {
        serialize_flowset(flowset, out);
    }
    for (size_t i = 0; i < data_flowsets_used_; ++i) {
        serialize_flowset(data_flowsets_[i], out);
    }
}

}  // namespace Strell
