#pragma once

#include "generator/driver/run_settings.h"

namespace Strell {

// The run the settings ask for, once the command line is read: the packet
// manager of the version, its socket bound and its target announced in every
// mode, then the detail-file replay or the synthetic sends. Returns the exit
// status.
int run(const RunSettings& settings);

}  // namespace Strell
