#include "nfcapd_capture.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <stdexcept>
#include <thread>

namespace StrellTest {

namespace {

using namespace std::chrono_literals;

// Bounded: 10 s at most, then killed.
void stop(pid_t pid) {
    ::kill(pid, SIGTERM);
    for (int i = 0; i < 200 && ::waitpid(pid, nullptr, WNOHANG) == 0; ++i) std::this_thread::sleep_for(50ms);
    if (::kill(pid, SIGKILL) == 0) ::waitpid(pid, nullptr, 0);
}

}  // namespace

std::string nfcapd_capture(const TempDir& dir, const std::string& name, const std::string& address, const Args& options,
                           const Args& strell_args) {
    const std::string flows = dir.file(name + ".flows"), log = dir.file(name + ".log");
    for (int attempt = 0; attempt < 10; ++attempt) {
        std::filesystem::remove_all(flows);
        std::filesystem::create_directory(flows);
        const std::string port = std::to_string(UdpReceiver(address).port());  // free a moment ago
        Args args = {"nfcapd", "-w", flows, "-b", address, "-p", port, "-B", "4194304"};
        args.insert(args.end(), options.begin(), options.end());
        std::vector<char*> argv;
        for (std::string& arg : args) argv.push_back(arg.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        pid_t pid = 0;
        const int spawned = posix_spawnp(&pid, "nfcapd", &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (spawned != 0) throw std::runtime_error("cannot start nfcapd");
        bool running = true, started = false;
        for (int i = 0; i < 200 && running && !started; ++i, std::this_thread::sleep_for(50ms)) {
            running = ::waitpid(pid, nullptr, WNOHANG) == 0;
            started = read_file(log).find("Startup") != std::string::npos;
        }
        if (!running || !started) {
            if (running) stop(pid);
            continue;  // the port was taken meanwhile
        }
        std::this_thread::sleep_for(300ms);
        Args send = strell_args;
        send.insert(send.end(), {"-h", address, "-p", port});
        const ProgramRun run = strell(send);
        std::this_thread::sleep_for(500ms);  // until nfcapd has taken what is queued
        stop(pid);
        if (run.status != 0) throw std::runtime_error("strell failed: " + run.out + run.err);
        for (const auto& entry : std::filesystem::directory_iterator(flows))
            if (entry.path().filename().string().rfind("nfcapd.2", 0) == 0)
                return std::filesystem::rename(entry.path(), dir.file(name)), dir.file(name);
        throw std::runtime_error("nfcapd left no file: " + read_file(log));
    }
    throw std::runtime_error("nfcapd did not start: " + read_file(log));
}

}  // namespace StrellTest
