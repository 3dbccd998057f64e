#include "strell_process.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

namespace StrellTest {

namespace {

// Reads what is there; false once the pipe is closed.
bool read_some(int fd, std::string& into) {
    char buffer[4096];
    const ssize_t got = ::read(fd, buffer, sizeof(buffer));
    if (got <= 0) return false;
    into.append(buffer, static_cast<size_t>(got));
    return true;
}

void take_datagrams(UdpReceiver* receiver, StrellRun& run) {
    if (receiver == nullptr) return;
    for (auto& datagram : receiver->drain()) run.datagrams.push_back(std::move(datagram));
}

}  // namespace

StrellRun run_strell(const std::vector<std::string>& args, UdpReceiver* receiver) {
    int out_pipe[2];
    int err_pipe[2];
    if (::pipe(out_pipe) != 0 || ::pipe(err_pipe) != 0) throw std::runtime_error("pipe failed");
    std::vector<char*> argv;
    std::string name = STRELL_BINARY;
    argv.push_back(name.data());
    std::vector<std::string> copies = args;
    for (std::string& arg : copies) argv.push_back(arg.data());
    argv.push_back(nullptr);

    const pid_t pid = ::fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid == 0) {
        ::dup2(out_pipe[1], STDOUT_FILENO);
        ::dup2(err_pipe[1], STDERR_FILENO);
        ::close(out_pipe[0]);
        ::close(err_pipe[0]);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(out_pipe[1]);
    ::close(err_pipe[1]);

    StrellRun run;
    pollfd pipes[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
    std::string* sinks[2] = {&run.out, &run.err};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    int open_pipes = 2;
    while (open_pipes > 0 && std::chrono::steady_clock::now() < deadline) {
        take_datagrams(receiver, run);
        if (::poll(pipes, 2, 5) <= 0) continue;
        for (int i = 0; i < 2; ++i) {
            if (pipes[i].fd >= 0 && pipes[i].revents != 0 && !read_some(pipes[i].fd, *sinks[i])) {
                ::close(pipes[i].fd);
                pipes[i].fd = -1;
                --open_pipes;
            }
        }
    }
    if (open_pipes > 0) ::kill(pid, SIGKILL);
    for (const pollfd& entry : pipes) {
        if (entry.fd >= 0) ::close(entry.fd);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    // Loopback delivery is done when sendto returns: all is queued by now.
    take_datagrams(receiver, run);
    run.exited = WIFEXITED(status);
    run.exit_code = run.exited ? WEXITSTATUS(status) : -1;
    run.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return run;
}

}  // namespace StrellTest
