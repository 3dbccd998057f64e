#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "generator/netflow/flowset_storage.h"

namespace Strell {

class RawData;

// One NetFlow v9 export packet: the 20-byte header, then every template
// flowset, then every data flowset, whatever order they were added in.
class Netflow_v9_Packet {
public:
    Netflow_v9_Packet(unsigned short version, unsigned int sys_uptime, unsigned int unix_secs, unsigned int sequence,
                      unsigned int source_id);

    // The header count counts records, template and data alike, not flowsets.
    void add_flowset(const FlowsetStorage<DataFlowsetRecords>& flowset);
    void add_flowset(const FlowsetStorage<TemplateFlowsetRecords>& flowset);

    uint16_t records_count() const { return count_; }
    // Exactly the number of bytes serialize writes.
    uint64_t length() const { return length_; }
    // sys_uptime becomes the seconds since the previous call (since the
    // constructor's unix_secs the first time), not an uptime.
    void update_time();
    // Drops the flowsets, templates included; the header values stay.
    void clear();
    void serialize(RawData& out) const;

private:
    uint16_t version_;
    uint16_t count_ = 0;
    uint32_t sys_uptime_;
    uint32_t unix_secs_;
    uint32_t sequence_;
    uint32_t source_id_;
    std::vector<FlowsetStorage<TemplateFlowsetRecords>> template_flowsets_;
    // Only the first data_flowsets_used_ entries belong to the packet; clear()
    // keeps the rest as storage, so that a manager refilling one packet for
    // every datagram copies flowsets into it without allocating.
    std::vector<FlowsetStorage<DataFlowsetRecords>> data_flowsets_;
    size_t data_flowsets_used_ = 0;
    uint64_t length_;  // what length() returns, kept as flowsets are added
};

}  // namespace Strell
