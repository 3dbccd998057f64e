// Runs a command and reports its wall time and peak memory, for the
// throughput runs: run_measured REPORT COMMAND [ARGS...] writes
// "<seconds> <max RSS in KiB> <exit status> <start>" to REPORT, the start
// in seconds on the CLOCK_MONOTONIC clock. The command's own
// output passes through. A command still running after
// STRELL_BENCH_TIMEOUT seconds (default 600) is killed.
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

volatile pid_t running_child = 0;

void on_alarm(int) {
    if (running_child > 0) kill(running_child, SIGKILL);
}

double now_seconds() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: run_measured REPORT COMMAND [ARGS...]\n");
        return 2;
    }
    const char* limit_text = std::getenv("STRELL_BENCH_TIMEOUT");
    const unsigned limit = limit_text != nullptr ? static_cast<unsigned>(std::atoi(limit_text)) : 600;

    const double start = now_seconds();
    const pid_t child = fork();
    if (child < 0) {
        std::perror("fork");
        return 1;
    }
    if (child == 0) {
        execvp(argv[2], argv + 2);
        std::fprintf(stderr, "run_measured: %s: %s\n", argv[2], std::strerror(errno));
        _exit(127);
    }
    running_child = child;
    struct sigaction action {};
    action.sa_handler = on_alarm;
    sigaction(SIGALRM, &action, nullptr);
    alarm(limit);

    int status = 0;
    rusage usage{};
    while (wait4(child, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            std::perror("wait4");
            return 1;
        }
    }
    alarm(0);
    const double elapsed = now_seconds() - start;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);

    FILE* report = std::fopen(argv[1], "w");
    if (report == nullptr) {
        std::perror(argv[1]);
        return 1;
    }
    std::fprintf(report, "%.6f %ld %d %.6f\n", elapsed, usage.ru_maxrss, code, start);
    std::fclose(report);
    return 0;
}
