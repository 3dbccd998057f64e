#pragma once

#include <string>

#include "programs.h"
#include "temp_dir.h"

namespace StrellTest {

// A capture by Debian's nfcapd: nfcapd on address (127.0.0.1 or ::1) and a
// free port, with a 4 MiB receive buffer and the options given (a
// compression), strell run against it with strell_args, then nfcapd stopped,
// so that it closes its file. Returns that file, moved to dir/name; throws
// when nfcapd or strell fail. Captures of other names may run meanwhile.
std::string nfcapd_capture(const TempDir& dir, const std::string& name, const std::string& address, const Args& options,
                           const Args& strell_args);

}  // namespace StrellTest
