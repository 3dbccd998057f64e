#pragma once

#include <string>
#include <vector>

#include "udp_receiver.h"

namespace StrellTest {

struct StrellRun {
    bool exited = false;  // false: ended by a signal (or killed at the time limit)
    int exit_code = -1;
    int signal = 0;
    std::string out;
    std::string err;
    std::vector<Datagram> datagrams;  // what the receiver got while strell ran
};

// Runs the built strell with args (argv[0] excluded), draining receiver while
// it runs. The run is killed after 60 s.
StrellRun run_strell(const std::vector<std::string>& args, UdpReceiver* receiver = nullptr);

}  // namespace StrellTest
