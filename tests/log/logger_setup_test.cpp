#include "log/logger_setup.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>

#include "config/logger_setup_from_config.h"
#include "config/vorn_config.h"
#include "log/file_appender.h"
#include "test_helpers.h"

namespace Vorn {
namespace {

constexpr int kNoNamespace = 77;

// Sets the logger up from `config_text`, writes "probe-N" at every level N and
// ends the logger, so the log files are complete when it returns.
void run_logger(const TempDir& dir, const std::string& config_text, size_t probe_pad = 0) {
    write_file(dir.file("strell.conf"), config_text);
    {
        VornConfig config("Setup", dir.file("strell.pid"));
        EXPECT_EQ(config.import(dir.file("strell.conf")), 0);
        init_logger(&config);
        for (int level = 0; level <= 8; ++level) {
            LogFacility("Probe").log(Logger::Level(level), "probe-%d%s", level, std::string(probe_pad, 'x').c_str());
        }
    }
    LoggerImpl::destroy();
}

// The levels of the probes in a file, in file order: "0123" for levels 0 to 3.
std::string probe_levels(const std::string& path) {
    std::string levels;
    const std::string text = read_file(path);
    for (size_t at = text.find("Probe: probe-"); at != std::string::npos; at = text.find("Probe: probe-", at + 1)) {
        levels += text[at + 13];
    }
    return levels;
}

// Runs run_logger() in a child process whose /dev is a private directory holding a datagram
// socket at /dev/log, collects what arrives there and returns the child's exit code
// (kNoNamespace when it may not have a mount namespace of its own).
int capture_syslog(const TempDir& dir, const std::string& config_text, std::vector<std::string>& datagrams) {
    TempDir dev;
    // Made here and bound in the child, so the parent reads what the child's syslog sends.
    const int receiver = socket(AF_UNIX, SOCK_DGRAM, 0);
    const pid_t pid = fork();
    if (pid == 0) {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount(dev.path.c_str(), "/dev", nullptr, MS_BIND, nullptr) != 0) {
            _exit(kNoNamespace);
        }
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        if (bind(receiver, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) _exit(kNoNamespace + 1);
        close(receiver);
        closelog();  // a connection inherited from the parent would lead to the real /dev/log
        run_logger(dir, config_text);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    bool ended = pid < 0;
    for (int polls = 0; polls < 3000; ++polls) {  // a minute at most
        pollfd ready{receiver, POLLIN, 0};
        if (poll(&ready, 1, 20) > 0) {
            char datagram[8192];
            const ssize_t length = recv(receiver, datagram, sizeof datagram, 0);
            if (length > 0) datagrams.emplace_back(datagram, static_cast<size_t>(length));
        } else if (ended) {
            break;  // the child is gone and nothing is left to read
        } else {
            ended = waitpid(pid, &status, WNOHANG) == pid;
        }
    }
    if (!ended) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
    }
    close(receiver);
    return pid > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(InitLogger, LogLevelShiftsByThreeAndClamps) {
    const std::pair<const char*, const char*> cases[] = {{"3", "0123456"}, {"9", "012345678"},    {"-1", "0123"},
                                                         {"0", "0123"},    {"five", "012345678"}, {"", "012345678"}};
    for (const auto& [log_level, expected] : cases) {
        TempDir dir;
        run_logger(dir, "log_file_main = " + dir.file("main.log") + "\nlog_level = " + log_level + "\n");
        EXPECT_EQ(probe_levels(dir.file("main.log")), expected) << "log_level " << log_level;
    }
}

TEST(InitLogger, FilesNamedTwiceGetOneAppender) {
    TempDir dir;
    run_logger(dir, "log_level = 2\nlog_file_debug = " + dir.file("debug.log") + "\nlog_file_main = " +
                        dir.file("debug.log") + "\nlog_file_critical = " + dir.file("crit.log") + "\n");
    EXPECT_EQ(probe_levels(dir.file("debug.log")), "012345678");
    EXPECT_EQ(probe_levels(dir.file("crit.log")), "012");
    run_logger(dir, "log_level = 2\nlog_file_main = " + dir.file("main.log") +
                        "\nlog_file_critical = " + dir.file("main.log") + "\n");
    EXPECT_EQ(probe_levels(dir.file("main.log")), "012345");
}

TEST(InitLogger, RotateLogsTurnsOnOnlyForYesOnOrEnableInAnyCase) {
    const std::pair<const char*, bool> cases[] = {{"Yes", true}, {"ENABLE", true}, {"on", true}, {"true", false}};
    for (const auto& [value, on] : cases) {
        TempDir dir;
        const std::string path = dir.file("main.log");
        run_logger(
            dir,
            "log_file_main = " + path + "\nmax_logfile_size = 1\nmax_logfile_count = 1\nrotate_logs = " + value + "\n",
            8192);
        EXPECT_EQ(std::filesystem::exists(path + ".1"), on) << value;
        EXPECT_FALSE(std::filesystem::exists(path + ".2")) << value;
    }
}

TEST(InitLogger, UnopenableFileLogsAnAlertThenThrowsAndKeepsTheAppendersMadeBefore) {
    TempDir dir;
    LoggerSettings settings;
    settings.debug_log_file = dir.file("debug.log");
    settings.main_log_file = "/nonexistent-strell-dir/main.log";
    std::vector<Appender*> appenders;
    try {
        init_logger(settings, appenders);
        ADD_FAILURE() << "no FileAppenderError";
    } catch (const FileAppenderError& error) {
        EXPECT_STREQ(error.what(), "FileAppenderError: Unable to open log file");
    }
    EXPECT_EQ(appenders.size(), 1u);
    LogFacility("Probe").log(Logger::Info, "probe-6");
    LoggerImpl::destroy();
    EXPECT_NE(unstamped(read_file(dir.file("debug.log")))
                  .find("<stamp> *ALERT : " + thread_hex() + " FileAppender: Unable to open log file '" +
                        settings.main_log_file + "': No such file or directory\n<stamp>  Info  : " + thread_hex() +
                        " Probe: probe-6\n<LAST LINE>\n"),
              std::string::npos)
        << read_file(dir.file("debug.log"));
}

TEST(SysLogAppender, SendsLevelsUpToItsOwnWithTheTablePriorityAndNoHeader) {
    // LOG_USER (8) plus the severity; notices and emergencies go out as debug (7).
    const std::map<int, int> all{{0, 15}, {1, 9}, {2, 10}, {3, 11}, {4, 12}, {5, 15}, {6, 14}, {7, 15}, {8, 15}};
    for (const int log_level : {5, 1}) {
        TempDir dir;
        const std::string config = "syslog_name = strell-probe\nlog_file_debug = " + dir.file("debug.log");
        std::vector<std::string> datagrams;
        const int exit_code = capture_syslog(dir, config + "\nlog_level = " + std::to_string(log_level), datagrams);
        if (exit_code == kNoNamespace) GTEST_SKIP() << "cannot enter a private mount namespace (needs root)";
        ASSERT_EQ(exit_code, 0);
        const int level = std::min(log_level + 3, 8);
        std::map<int, int> priorities;  // of each probe that arrived, by its level
        for (const std::string& datagram : datagrams) {
            const size_t at = datagram.find("strell-probe: "), probe = datagram.find("Probe: probe-");
            if (at == std::string::npos || probe == std::string::npos) continue;
            const int probe_level = datagram[probe + 13] - '0';
            // Syslog stamps the line itself: the identity is followed by the text without the header.
            EXPECT_EQ(datagram.substr(at + 14, 7), Logger::level_name(probe_level)) << datagram;
            EXPECT_TRUE(priorities.emplace(probe_level, std::atoi(datagram.c_str() + 1)).second) << datagram;
        }
        EXPECT_EQ(priorities, (std::map<int, int>(all.begin(), all.upper_bound(level)))) << "log_level " << log_level;
        const std::string using_line = "Using syslog name 'strell-probe\" log level " + std::to_string(level) + "\n";
        EXPECT_NE(read_file(dir.file("debug.log")).find(" SyslogAppender: " + using_line), std::string::npos);
    }
}

}  // namespace
}  // namespace Vorn
