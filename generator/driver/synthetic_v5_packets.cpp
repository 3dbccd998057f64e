#include <cstdio>
#include <string>

#include "generator/netflow/export_constants.h"
#include "generator/netflow/netflow_v5_packet.h"
#include "generator/managers/netflow_v5_packet_manager.h"
#include "generator/driver/synthetic_send.h"

namespace Strell {

void build_synthetic_v5(const RunSettings& settings, SyntheticDatagrams& out) {
    const unsigned records_per_packet = Netflow_v5_PacketManager::records_per_packet;
    const std::string source = settings.file_name.empty() ? "/dev/urandom" : settings.file_name;
    std::printf("NFData from '%s' file\n", source.c_str());
    Netflow_v5_Packet packet(settings.version, settings.export_start, 0, export_sequence, source);

    // The full packet is the partial one topped up, so it starts with the
    // partial packet's records.
    const unsigned rest = settings.count % records_per_packet;
    for (unsigned i = 0; i < rest; ++i) {
        packet.add_record(settings.flow_fields);
    }
    if (rest != 0) {
        packet.serialize(out.partial);
        out.has_partial = true;
    }
    if (settings.count >= records_per_packet) {
        out.full_packets = settings.count / records_per_packet;
        for (unsigned i = rest; i < records_per_packet; ++i) {
            packet.add_record(settings.flow_fields);
        }
        packet.serialize(out.full);
    }
}

}  // namespace Strell
