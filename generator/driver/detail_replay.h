#pragma once

#include "generator/driver/run_settings.h"
#include "generator/managers/netflow_v5_packet_manager.h"
#include "generator/managers/netflow_v9_packet_manager.h"

namespace Strell {

// Hands every record of the detail file named by "-f" to the manager and
// forces out the last packet. Returns the exit status.
int replay_detail_file(const RunSettings& settings, Netflow_v5_PacketManager& manager);
int replay_detail_file(const RunSettings& settings, Netflow_v9_PacketManager& manager);

}  // namespace Strell
