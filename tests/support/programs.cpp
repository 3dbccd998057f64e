#include "programs.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

namespace StrellTest {

namespace {

std::string contents(FILE* file) {
    std::string text;
    std::rewind(file);
    for (int c; (c = std::fgetc(file)) != EOF;) text += static_cast<char>(c);
    std::fclose(file);
    return text;
}

void take_datagrams(UdpReceiver* receiver, ProgramRun& run) {
    if (receiver == nullptr) return;
    for (Datagram& datagram : receiver->collect(std::chrono::milliseconds(0))) run.datagrams.push_back(datagram);
}

}  // namespace

ProgramRun run_program(const std::string& path, const std::vector<std::string>& args, UdpReceiver* receiver,
                const std::string& input) {
    FILE* in = std::tmpfile();
    FILE* out = std::tmpfile();
    FILE* err = std::tmpfile();
    if (in == nullptr || out == nullptr || err == nullptr) throw std::runtime_error("tmpfile failed");
    std::fputs(input.c_str(), in);
    std::rewind(in);
    std::vector<std::string> copies = args;
    copies.insert(copies.begin(), path);
    std::vector<char*> argv;
    for (std::string& arg : copies) argv.push_back(arg.data());
    argv.push_back(nullptr);

    const pid_t pid = ::fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid == 0) {
        ::dup2(::fileno(in), STDIN_FILENO);
        ::dup2(::fileno(out), STDOUT_FILENO);
        ::dup2(::fileno(err), STDERR_FILENO);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ProgramRun run;
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) ::kill(pid, SIGKILL);
        take_datagrams(receiver, run);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    // Loopback delivery is done when sendto returns: everything is queued by now.
    take_datagrams(receiver, run);
    std::fclose(in);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    run.out = contents(out);
    run.err = contents(err);
    return run;
}

}  // namespace StrellTest
