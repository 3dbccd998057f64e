#pragma once

#include "generator/netflow/raw_data.h"
#include "generator/driver/run_settings.h"

namespace Strell {

// The datagrams of a synthetic run, built once: `full` goes out full_packets
// times, then `partial` once when the count does not divide evenly.
struct SyntheticDatagrams {
    RawData full;
    RawData partial;
    unsigned full_packets = 0;
    bool has_partial = false;
};

// v5: records of random bytes under the option fields, 30 to a packet.
void build_synthetic_v5(const RunSettings& settings, SyntheticDatagrams& out);
// v9: the option fields only, under template 256, as many as fit a packet.
void build_synthetic_v9(const RunSettings& settings, SyntheticDatagrams& out);

// Builds the run's datagrams, sends them from a socket of its own and prints
// the closing statistics. Returns the exit status.
int send_synthetic(const RunSettings& settings);

}  // namespace Strell
