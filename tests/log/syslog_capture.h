#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Vorn {

// What a child process sent to syslog, received on a real /dev/log socket.
struct SyslogCapture {
    bool namespace_refused = false;  // not root, say: nothing to test here
    std::string problem;             // why nothing or not all could be captured
    int exit_code = -1;
    std::vector<std::string> datagrams;
};

// Runs `body` in a child process whose /dev is a private empty directory with
// a datagram socket bound at /dev/log, and collects what arrives there until
// the child ends. `body` returns the child's exit code.
SyslogCapture capture_syslog(const std::function<int()>& body);

// The priority of a "<PRI>..." datagram, or -1.
int syslog_priority(const std::string& datagram);

}  // namespace Vorn
