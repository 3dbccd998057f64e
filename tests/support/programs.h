#pragma once

#include <string>
#include <vector>

#include "udp_receiver.h"

namespace StrellTest {

// One run of a built program.
struct ProgramRun {
    int status = -1;  // exit status; -1 when a signal ended it
    int signal = 0;
    std::string out, err;
    std::vector<Datagram> datagrams;  // what the receiver got while it ran
};

using Args = std::vector<std::string>;
// Runs the program with args (argv[0] excluded) and input on its standard
// input, draining receiver meanwhile. Killed after 60 s.
ProgramRun run_program(const std::string& path, const Args& args, UdpReceiver* receiver, const std::string& input);

inline ProgramRun strell(const Args& args, UdpReceiver* receiver = nullptr) { return run_program(STRELL_BINARY, args, receiver, ""); }
inline ProgramRun vorn_detail(const Args& args, const std::string& input = "") {
    return run_program(VORN_DETAIL_BINARY, args, nullptr, input);
}

}  // namespace StrellTest
