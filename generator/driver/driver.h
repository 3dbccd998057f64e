#pragma once

#include <memory>

#include "generator/managers/netflow_packet_manager.h"
#include "generator/driver/run_settings.h"

namespace Strell {

// The manager for the run's version, its socket bound and its target
// announced, in every mode. It lives until the process ends.
std::unique_ptr<NetflowPacketManager> start_packet_manager(const RunSettings& settings);

// Hands every record of the detail file named by "-f" to the manager and
// forces out the last packet. Returns the exit status.
int replay_detail_file(const RunSettings& settings, NetflowPacketManager& manager);

}  // namespace Strell
