#include "generator/driver/detail_replay.h"

#include <cstdint>
#include <cstdio>

#include "vorn/stat/detailed_info_file_parser.h"
#include "vorn/stat/filter.h"

namespace Strell {

namespace {

using Vorn::DetailedInfoFileParser;

// The replay takes every file and every record.
using DummyFilter = Vorn::AcceptAllFilter;

// The counter is 16 bits wide and wraps, while the count keeps its 32 bits:
// a count above 65535 never stops the loop and the whole file goes out. When
// the count does stop it, one record more has been read than sent. A record
// whose fields lie in the file as a flow needs them comes straight from
// there; any other one through the TrafficStat, which carries over what a
// record lacks.
template <typename Manager>
int replay(const RunSettings& settings, Manager& manager) {
    if (settings.file_name.empty()) {
        std::printf("Specify file name of .vorn detail file. Use [-f] option\n");
        return 1;
    }
    std::printf("NFData from '%s' vorn statistic file\n", settings.file_name.c_str());
    std::fflush(stdout);

    DummyFilter filter;
    DetailedInfoFileParser parser;
    parser.init(nullptr, &filter);
    // Only the NetFlow part of a record goes out.
    parser.read_flow_part_only();
    parser.probe(settings.file_name.c_str());

    Vorn::TrafficStat record;
    Vorn::DetailFlow direct;
    const uint32_t count = settings.count;
    uint16_t sent = 0;
    while (parser.parse_record(record, direct) != DetailedInfoFileParser::no_record) {
        if (sent >= count) {
            break;
        }
        if (direct.plan != nullptr)
            manager.accumulate_and_send_packet(direct);
        else
            manager.accumulate_and_send_packet(record);
        ++sent;
    }
    manager.force_sending();
    return 0;
}

}  // namespace

int replay_detail_file(const RunSettings& settings, Netflow_v5_PacketManager& manager) {
    return replay(settings, manager);
}

int replay_detail_file(const RunSettings& settings, Netflow_v9_PacketManager& manager) {
    return replay(settings, manager);
}

}  // namespace Strell
