#include <cstdio>
#include <cstdlib>

#include "generator/netflow/export_constants.h"
#include "generator/netflow/flowset_storage.h"
#include "generator/netflow/netflow_v9_packet.h"
#include "generator/driver/synthetic_send.h"

namespace Strell {

namespace {

// So many option fields that one record cannot travel in a datagram: refuse
// rather than divide by zero or write past the buffer.
void check_fits(uint64_t length) {
    if (length > RawData::capacity) {
        std::printf("Error: too many fields for one netflow v9 packet\n");
        std::exit(1);
    }
}

}  // namespace

void build_synthetic_v9(const RunSettings& settings, SyntheticDatagrams& out) {
    Netflow_v9_Packet packet(9, settings.export_start, 0, export_sequence, v9_source_id);
    FlowsetStorage<TemplateFlowsetRecords> templates(template_flowset_id);
    templates.records.add_record(ipv4_template_id, settings.flow_fields.fields());
    packet.add_flowset(templates);

    FlowsetStorage<DataFlowsetRecords> data(ipv4_template_id);
    data.records.add_record(settings.flow_fields.data());

    check_fits(packet.length() + flowset_header_length + data.records.length() + 2);
    // The packing keeps 2 bytes back per packet and counts 2 more per record.
    const unsigned per_packet =
        static_cast<unsigned>((max_datagram_length - 2 - packet.length()) / (data.records.length() + 2));
    const unsigned rest = settings.count % per_packet;

    // The partial packet is a copy taken before the data flowset is topped up
    // to a full packet's worth.
    if (rest != 0) {
        Netflow_v9_Packet partial(packet);
        for (unsigned i = 1; i < rest; ++i) {
            data.records.add_record(settings.flow_fields.data());
        }
        partial.add_flowset(data);
        check_fits(partial.length());
        partial.serialize(out.partial);
        out.has_partial = true;
    }
    if (settings.count >= per_packet) {
        out.full_packets = settings.count / per_packet;
        for (unsigned i = rest != 0 ? rest : 1; i < per_packet; ++i) {
            data.records.add_record(settings.flow_fields.data());
        }
        packet.add_flowset(data);
        check_fits(packet.length());
        packet.serialize(out.full);
    }
}

}  // namespace Strell
