#pragma once

#include "generator/driver/run_settings.h"

namespace Strell {

void print_usage();

// Reads every option into settings. Returns false when the run must end with
// status 1: an unknown option (usage printed) or a bad "-s", "-d" or "-N"
// address (its error printed). A bad "-h" address is not caught.
bool parse_command_line(int argc, char* argv[], RunSettings& settings);

}  // namespace Strell
