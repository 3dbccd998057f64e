#include "generator/driver/run.h"

#include <memory>

#include "generator/driver/detail_replay.h"
#include "generator/driver/synthetic_send.h"
#include "generator/netflow/export_constants.h"

namespace Strell {

namespace {

template <typename Manager>
int run_with(const RunSettings& settings, Manager& manager) {
    manager.init(settings.collector, settings.send_delay);
    if (settings.detail_file_mode) {
        return replay_detail_file(settings, manager);
    }
    return send_synthetic(settings);
}

}  // namespace

// Every version but 9 gets the v5 manager; the number goes into the version
// field of every packet unchecked.
int run(const RunSettings& settings) {
    if (settings.version == 9) {
        const auto manager =
            std::make_unique<Netflow_v9_PacketManager>(9, settings.export_start, 0, export_sequence, v9_source_id);
        return run_with(settings, *manager);
    }
    const auto manager =
        std::make_unique<Netflow_v5_PacketManager>(settings.version, settings.export_start, 0, export_sequence);
    return run_with(settings, *manager);
}

}  // namespace Strell
