#include "generator/driver/driver.h"

#include <cstdint>
#include <cstdio>

#include "generator/netflow/export_constants.h"
#include "generator/managers/netflow_v5_packet_manager.h"
#include "generator/managers/netflow_v9_packet_manager.h"
#include "vorn/stat/detailed_info_file_parser.h"
#include "vorn/stat/filter.h"

namespace Strell {

namespace {

// The replay takes every file and every record.
class DummyFilter : public Vorn::Filter {
public:
    int check_bounds(const Vorn::TrafficStat&, const Vorn::TrafficStat&) override { return 0; }
    int check_first(const Vorn::TrafficStat&) override { return 0; }
    bool check_record(const Vorn::TrafficStat&) override { return true; }
};

}  // namespace

// Every version but 9 gets the v5 manager; the number goes into the version
// field of every packet unchecked.
std::unique_ptr<NetflowPacketManager> start_packet_manager(const RunSettings& settings) {
    std::unique_ptr<NetflowPacketManager> manager;
    if (settings.version == 9) {
        manager = std::make_unique<Netflow_v9_PacketManager>(9, settings.export_start, 0, export_sequence, v9_source_id);
    } else {
        manager = std::make_unique<Netflow_v5_PacketManager>(settings.version, settings.export_start, 0, export_sequence);
    }
    manager->init(settings.collector, settings.send_delay);
    return manager;
}

// The counter is 16 bits wide and wraps, while the count keeps its 32 bits:
// a count above 65535 never stops the loop and the whole file goes out. When
// the count does stop it, one record more has been read than sent.
int replay_detail_file(const RunSettings& settings, NetflowPacketManager& manager) {
    if (settings.file_name.empty()) {
        std::printf("Specify file name of .vorn detail file. Use [-f] option\n");
        return 1;
    }
    std::printf("NFData from '%s' vorn statistic file\n", settings.file_name.c_str());
    std::fflush(stdout);

    DummyFilter filter;
    Vorn::DetailedInfoFileParser parser;
    parser.init(nullptr, &filter);
    // Only the NetFlow part of a record goes out.
    parser.read_flow_part_only();
    parser.probe(settings.file_name.c_str());

    Vorn::TrafficStat record;
    uint16_t sent = 0;
    while (parser.parse_record(record) != 0) {
        if (sent >= settings.count) {
            break;
        }
        manager.accumulate_and_send_packet(record);
        ++sent;
    }
    manager.force_sending();
    return 0;
}

}  // namespace Strell
