#pragma once

#include <sys/time.h>

#include <cstdint>
#include <string>

#include "generator/netflow/strell_record.h"
#include "vorn/net/socket.h"

namespace Strell {

// Everything the command line decides, with the defaults of a bare run.
struct RunSettings {
    // Takes the start time first: the closing rates include parsing, packet
    // building and socket set-up.
    RunSettings();

    timeval start_time{};
    Vorn::Socket::Endpoint collector;  // 127.0.0.1:9996
    uint32_t export_start = 0;         // time(nullptr) at start-up
    StrellRecord flow_fields;
    uint32_t count = 65535;
    uint16_t version = 5;
    int32_t send_delay = 0;  // microseconds
    std::string file_name;
    bool detail_file_mode = false;
};

}  // namespace Strell
