#include "syslog_capture.h"

#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace Vorn {

namespace {

constexpr int kNoNamespace = 77;
constexpr int kNoSocket = 78;

[[noreturn]] void child(int receiver, const char* dev, const std::function<int()>& body) {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount(dev, "/dev", nullptr, MS_BIND, nullptr) != 0) {
        _exit(kNoNamespace);
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    if (bind(receiver, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) _exit(kNoSocket);
    close(receiver);
    // A connection inherited from the parent would lead to the real /dev/log.
    closelog();
    _exit(body());
}

}  // namespace

SyslogCapture capture_syslog(const std::function<int()>& body) {
    SyslogCapture result;
    char dev[] = "/tmp/strell-dev-XXXXXX";
    if (mkdtemp(dev) == nullptr) {
        result.problem = std::string("mkdtemp: ") + std::strerror(errno);
        return result;
    }
    // Made here and bound in the child, so the parent reads what the child's syslog sends.
    const int receiver = socket(AF_UNIX, SOCK_DGRAM, 0);
    const pid_t pid = receiver < 0 ? -1 : fork();
    if (pid == 0) child(receiver, dev, body);
    if (pid < 0) {
        result.problem = std::string("socket or fork: ") + std::strerror(errno);
    } else {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        bool ended = false;
        int status = 0;
        for (int round = 0; round < 100000 && std::chrono::steady_clock::now() < deadline; ++round) {
            pollfd ready{receiver, POLLIN, 0};
            if (poll(&ready, 1, 20) > 0) {
                char datagram[8192];
                const ssize_t length = recv(receiver, datagram, sizeof datagram, MSG_DONTWAIT);
                if (length > 0) result.datagrams.emplace_back(datagram, static_cast<size_t>(length));
                continue;
            }
            if (ended) break;  // the child is gone and nothing is left to read
            ended = waitpid(pid, &status, WNOHANG) == pid;
        }
        if (!ended) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            result.problem = "the child did not end in time";
        }
        result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        result.namespace_refused = result.exit_code == kNoNamespace;
        if (result.namespace_refused) result.problem = "cannot enter a private mount namespace (needs root)";
        if (result.exit_code == kNoSocket) result.problem = "cannot bind /dev/log in the private /dev";
    }
    if (receiver >= 0) close(receiver);
    unlink((std::string(dev) + "/log").c_str());
    rmdir(dev);
    return result;
}

int syslog_priority(const std::string& datagram) {
    int priority = -1;
    if (std::sscanf(datagram.c_str(), "<%d>", &priority) != 1) return -1;
    return priority;
}

}  // namespace Vorn
