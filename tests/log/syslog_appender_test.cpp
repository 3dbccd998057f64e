#include "log/syslog_appender.h"

#include <gtest/gtest.h>

#include <map>

#include "config/vorn_config.h"
#include "log/log_facility.h"
#include "log/logger_impl.h"
#include "log/logger_setup.h"
#include "syslog_capture.h"
#include "temp_dir.h"

namespace Vorn {
namespace {

struct Probes {
    SyslogCapture capture;
    std::map<int, int> priorities;  // syslog priority of each probe that arrived, by level
    std::string main_log;
};

// In a child with its own /dev/log, the logger set up from `config_text` (plus
// a main log file) writes "probe-N" at every level N.
Probes run_probes(const std::string& config_text) {
    TempDir dir;
    const std::string config_file = dir.file("strell.conf");
    write_file(config_file, config_text + "log_file_main = " + dir.file("main.log") + "\n");
    Probes probes;
    probes.capture = capture_syslog([&] {
        VornConfig config("Setup", dir.file("strell.pid"));
        if (config.import(config_file) != 0) return 1;
        init_logger(&config);
        const LogFacility probe("Probe");
        for (int level = 0; level <= 8; ++level) probe.log(static_cast<Logger::Level>(level), "probe-%d", level);
        LoggerImpl::destroy();
        return 0;
    });
    for (const std::string& datagram : probes.capture.datagrams) {
        const size_t at = datagram.find("strell-probe: ");
        const size_t probe = datagram.find("Probe: probe-");
        if (at == std::string::npos || probe == std::string::npos) continue;
        const int level = datagram[probe + 13] - '0';
        // Syslog stamps the line itself: the identity is followed by the text without the header.
        EXPECT_EQ(datagram.substr(at + 14, 7), Logger::level_name(level)) << datagram;
        EXPECT_EQ(probes.priorities.count(level), 0u) << "twice: " << datagram;
        probes.priorities[level] = syslog_priority(datagram);
    }
    probes.main_log = read_file(dir.file("main.log"));
    return probes;
}

TEST(SysLogAppender, SendsEachLevelWithItsUserFacilityPriority) {
    const Probes probes = run_probes("syslog_name = strell-probe\nlog_level = 5\n");
    if (probes.capture.namespace_refused) GTEST_SKIP() << probes.capture.problem;
    EXPECT_EQ(probes.capture.exit_code, 0) << probes.capture.problem;
    // LOG_USER (8) plus the severity; notices and emergencies go out as debug (7).
    const std::map<int, int> expected{{0, 15}, {1, 9}, {2, 10}, {3, 11}, {4, 12}, {5, 15}, {6, 14}, {7, 15}, {8, 15}};
    EXPECT_EQ(probes.priorities, expected);
    EXPECT_NE(probes.main_log.find(" SyslogAppender: Using syslog name 'strell-probe\" log level 8\n"),
              std::string::npos);
}

TEST(SysLogAppender, DropsLevelsAboveItsOwn) {
    const Probes probes = run_probes("syslog_name = strell-probe\nlog_level = 1\n");
    if (probes.capture.namespace_refused) GTEST_SKIP() << probes.capture.problem;
    EXPECT_EQ(probes.capture.exit_code, 0) << probes.capture.problem;
    const std::map<int, int> expected{{0, 15}, {1, 9}, {2, 10}, {3, 11}, {4, 12}};
    EXPECT_EQ(probes.priorities, expected);
}

}  // namespace
}  // namespace Vorn
