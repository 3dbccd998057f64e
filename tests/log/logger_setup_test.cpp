#include "log/logger_setup.h"

#include <gtest/gtest.h>

#include "config/vorn_config.h"
#include "log/file_appender.h"
#include "log/log_facility.h"
#include "log/logger_impl.h"
#include "temp_dir.h"

namespace Vorn {
namespace {

// Sets the logger up from `config_text`, writes "probe-N" at every level N and
// ends the logger, so the log files are complete when it returns.
void run_logger(const TempDir& dir, const std::string& config_text, size_t probe_pad = 0) {
    write_file(dir.file("strell.conf"), config_text);
    {
        VornConfig config("Setup", dir.file("strell.pid"));
        ASSERT_EQ(config.import(dir.file("strell.conf")), 0);
        init_logger(&config);
        const LogFacility probe("Probe");
        for (int level = 0; level <= 8; ++level) {
            probe.log(static_cast<Logger::Level>(level), "probe-%d%s", level, std::string(probe_pad, 'x').c_str());
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

size_t count(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
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
    EXPECT_EQ(count(read_file(dir.file("debug.log")), "System version"), 1u);

    TempDir other;
    run_logger(other, "log_level = 2\nlog_file_main = " + other.file("main.log") +
                          "\nlog_file_critical = " + other.file("main.log") + "\n");
    EXPECT_EQ(probe_levels(other.file("main.log")), "012345");
}

TEST(InitLogger, RotateLogsTurnsOnOnlyForYesOnOrEnableInAnyCase) {
    struct Case {
        const char* keys;
        std::vector<const char*> rotated;      // suffixes that must exist
        std::vector<const char*> not_rotated;  // suffixes that must not
    };
    const Case cases[] = {
        {"rotate_logs = Yes\nmax_logfile_size = 1\nmax_logfile_count = 1\n", {".1"}, {".2"}},
        {"rotate_logs = ENABLE\nmax_logfile_size = 1\n", {".1", ".2", ".9"}, {}},
        {"rotate_logs = on\nmax_logfile_count = 1\n", {}, {".1"}},
        {"rotate_logs = true\nmax_logfile_size = 1\nmax_logfile_count = 1\n", {}, {".1"}},
    };
    for (const Case& c : cases) {
        TempDir dir;
        run_logger(dir, "log_file_main = " + dir.file("main.log") + "\n" + c.keys, 8192);
        const std::string path = dir.file("main.log");
        for (const char* suffix : c.rotated) EXPECT_TRUE(file_exists(path + suffix)) << c.keys << suffix;
        for (const char* suffix : c.not_rotated) EXPECT_FALSE(file_exists(path + suffix)) << c.keys << suffix;
    }
}

TEST(InitLogger, FailingAppenderPassesItsErrorAndKeepsTheEarlierOnes) {
    TempDir dir;
    LoggerSettings settings;
    settings.debug_log_file = dir.file("debug.log");
    settings.main_log_file = "/nonexistent-strell-dir/main.log";
    std::vector<Appender*> appenders;
    EXPECT_THROW(init_logger(settings, appenders), FileAppenderError);
    EXPECT_EQ(appenders.size(), 1u);
    LogFacility("Probe").log(Logger::Info, "probe-6");
    LoggerImpl::destroy();
    const std::string text = read_file(dir.file("debug.log"));
    EXPECT_NE(text.find("*ALERT : "), std::string::npos);
    EXPECT_NE(text.find(" FileAppender: Unable to open log file '/nonexistent-strell-dir/main.log': "
                        "No such file or directory\n"),
              std::string::npos);
    EXPECT_EQ(probe_levels(dir.file("debug.log")), "6");
}

}  // namespace
}  // namespace Vorn
