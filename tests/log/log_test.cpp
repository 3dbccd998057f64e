#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <thread>

#include <fcntl.h>
#include <syslog.h>

#include "vorn/config/logger_setup_from_config.h"
#include "vorn/config/vorn_config.h"
#include "vorn/log/diagnostics.h"
#include "vorn/log/file_appender.h"
#include "vorn/log/log_stream.h"
#include "vorn/log/syslog_appender.h"
#include "recording_logger.h"
#include "temp_dir.h"
#include "vorn/util/string_utils.h"

using namespace StrellTest;
using namespace Vorn;
using Texts = std::vector<std::string>;

// Time stamps that start a line ("Jan 02 03:04:05 ") read "<stamp> ".
std::string unstamped(const std::string& text) {
    static const std::regex stamp("^[A-Z][a-z]{2} [0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} ", std::regex::multiline);
    return std::regex_replace(text, stamp, "<stamp> ");
}

const std::string thread_hex = pf_str("%x", static_cast<unsigned>(pthread_self()));

// The worker raises its running flag itself: wait for it before anyone stops it.
bool start_worker(LoggerImpl& logger) {
    if (!logger.start()) return false;
    for (int i = 0; i < 100000 && logger.is_stopped(); ++i) Thread::usleep(50);
    return !logger.is_stopped();
}

// Keeps the lines it is given and its calls in lists that outlive it, each after its name.
struct RecordingAppender : Appender {
    RecordingAppender(Texts& lines, Texts& calls, std::string name = "") : lines(lines), calls(calls), name(std::move(name)) {}
    ~RecordingAppender() override { calls.push_back(name + "delete"); }
    void write(Logger::Message* message) override { lines.push_back(name + message->header + message->text); }
    void flush() override { calls.push_back(name + "flush after " + std::to_string(lines.size())); }
    void close() override { calls.push_back(name + "close"); }
    Texts &lines, &calls;
    const std::string name;
};

TEST(LoggerImpl, WithoutAppendersWritesEachLineToStandardErrorCuttingItsPrefixAt255) {
    const char* names[] = {"", "*EMERG ", "*ALERT ", "*CRIT  ", " ERROR ", " Warn  ", " Notice", " Info  ", "?Debug ", "?Trace ", ""};
    std::string expected;
    testing::internal::CaptureStderr();
    {
        LoggerImpl logger;
        EXPECT_TRUE(start_worker(logger));
        for (int level = Logger::Emergency - 1; level <= Logger::Trace + 1; ++level) {  // no name outside 0 to 8
            logger.write(Logger::Level(level), "Disk", "full 90%");
            expected += std::string("<stamp> ") + names[level + 1] + ": " + thread_hex + " Disk: full 90%\n";
        }
        logger.write(Logger::Info, std::string(300, 'f'), "tail");
        logger.stop();
        EXPECT_EQ(logger.dropped(), 0u);  // the wake-up took a free slot
    }
    expected += "<stamp> " + (" Info  : " + thread_hex + " " + std::string(300, 'f')).substr(0, 255) + "tail\n<LAST LINE>\n";
    EXPECT_EQ(unstamped(testing::internal::GetCapturedStderr()), expected);
}

TEST(LoggerImpl, FullRingDropsTheNewestLineAndStopDrainsTheRestThenTheLastLine) {
    Texts lines, calls;
    {
        LoggerImpl logger;
        logger.add_appender(new RecordingAppender(lines, calls));
        // Nothing is taken out before the worker starts, so the last write finds the ring full.
        for (size_t i = 0; i <= LoggerImpl::ring_size; ++i) logger.write(Logger::Info, "F", std::to_string(i));
        EXPECT_EQ(logger.dropped(), 1u); ASSERT_TRUE(start_worker(logger));
        logger.stop();
    }
    ASSERT_EQ(lines.size(), LoggerImpl::ring_size + 1);
    for (size_t i = 0; i < LoggerImpl::ring_size; i += 4999)
        EXPECT_EQ(unstamped(lines[i]), "<stamp>  Info  : " + thread_hex + " F: " + std::to_string(i) + "\n");
    EXPECT_EQ(lines.back(), "<LAST LINE>\n");
    EXPECT_EQ(Texts(calls.end() - 3, calls.end()), (Texts{"flush after " + std::to_string(lines.size()), "close", "delete"}));
}

TEST(LoggerImpl, BothFrontEndsSendEveryLineOfAnyLengthInOrderToEachAppenderOfTheCreatedLoggerUntilDestroy) {
    Texts lines, calls, removed_lines, removed_calls;
    LoggerImpl::create();
    LoggerImpl* logger = LoggerImpl::instance();
    LoggerImpl::create();
    ASSERT_TRUE(logger != nullptr && LoggerImpl::instance() == logger);
    Appender* removed = new RecordingAppender(removed_lines, removed_calls);
    logger->add_appender(new RecordingAppender(lines, calls, "a ")), logger->add_appender(removed);
    logger->add_appender(new RecordingAppender(lines, calls, "c ")), logger->remove_appender(removed), logger->remove_appender(nullptr);
    // A removed appender is closed and deleted at once; the others keep their order.
    EXPECT_EQ(Texts(removed_calls.end() - 2, removed_calls.end()), (Texts{"close", "delete"}));
    Texts expected;
    for (const size_t length : {0u, 1023u, 1024u, 5000u}) {
        LogFacility("Config").log(Logger::Trace, "%s%c", std::string(length, 'a').c_str(), '!');
        expected.push_back("<stamp> ?Trace : " + thread_hex + " Config: " + std::string(length, 'a') + "!\n");
    }
    LogStream("Network")(Logger::Debug) << "sent " << 42 << ' ' << 1.5 << " bytes";
    expected.push_back("<stamp> ?Debug : " + thread_hex + " Network: sent 42 1.5 bytes\n");
    LoggerImpl::destroy();
    EXPECT_EQ(LoggerImpl::instance(), nullptr);
    // Both front ends are detached: these must not touch the freed logger.
    LogFacility("Config").log(Logger::Info, "gone");
    LogStream("Network")(Logger::Info) << "gone";
    Texts each;
    for (const std::string& line : expected) each.push_back("a " + line), each.push_back("c " + line);
    each.insert(each.end(), {"a <LAST LINE>\n", "c <LAST LINE>\n"});
    for (std::string& line : lines) line = line.substr(0, 2) + unstamped(line.substr(2));
    EXPECT_EQ(lines, each);
    EXPECT_TRUE(removed_lines.empty());
}

// Destroying the process-wide logger while eight threads log through both front
// ends: under ThreadSanitizer or AddressSanitizer a write that reaches a freed
// logger is reported. Each logger still ends with its last line.
TEST(LoggerImpl, DestroyWhileEightThreadsLogEndsEachLoggerWithItsLastLine) {
    std::atomic<bool> done{false}, paused{true};
    std::vector<std::thread> producers;
    for (int t = 0; t < 8; ++t)
        producers.emplace_back([&done, &paused, t] {
            for (long i = 0; !done; ++i, std::this_thread::yield()) {
                // Held while a new logger has no appender yet, which would send lines to standard error.
                if (paused) continue;
                if ((i + t) % 2 == 0) LogFacility("Facility").log(Logger::Info, "%d %ld", t, i);
                else LogStream("Stream")(Logger::Info) << t << ' ' << i;
            }
        });
    std::vector<Texts> lines(50), calls(50);
    for (size_t round = 0; round < lines.size(); ++round) {
        paused = true;
        LoggerImpl::create();
        LoggerImpl::instance()->add_appender(new RecordingAppender(lines[round], calls[round]));
        paused = false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        LoggerImpl::destroy();
    }
    done = true;
    for (std::thread& producer : producers) producer.join();
    size_t written = 0;
    for (size_t round = 0; round < lines.size(); ++round) {
        ASSERT_FALSE(lines[round].empty());
        EXPECT_TRUE(lines[round].back() == "<LAST LINE>\n" && calls[round].back() == "delete") << round;
        written += lines[round].size() - 1;
    }
    EXPECT_GT(written, 0u) << "the appenders saw the threads' lines";
}

TEST(Diagnostics, PrintLogWritesTheTextThenTheCallStackAFrameALine) {
    RecordingLogger logged;
    print_log("here");
    std::smatch frames;
    ASSERT_GE(logged.lines.size(), 2u);
    const std::string obtained = std::get<2>(logged.lines[1]);
    ASSERT_TRUE(std::regex_match(obtained, frames, std::regex("Obtained ([0-9]+) stack frames\\.")));
    EXPECT_TRUE(logged.lines[0] == RecordingLogger::Line(7, "util_log", "here") && logged.lines.size() == 2 + std::stoul(frames[1]));
    for (size_t i = 1; i < logged.lines.size(); ++i) {
        const auto& [level, facility, text] = logged.lines[i];
        EXPECT_TRUE(level == 8 && facility == "trace" && (i == 1 || text.find("[0x") != std::string::npos)) << text;
    }
}

// A line whose text starts with "<marker>:", padded to reach the disk through the stdio buffer.
void put(Appender& appender, int level, const std::string& marker, size_t pad = 0) {
    Logger::Message message{level, "Jan 02 03:04:05 ", marker + ":" + std::string(pad, 'x') + "\n"};
    appender.write(&message);
}

// The markers of the lines written with put(), in file order.
std::string markers(const std::string& path) {
    static const std::regex marker("^Jan 02 03:04:05 ([^:]*):", std::regex::multiline);
    std::string result, text = read_file(path);
    for (std::sregex_iterator m(text.begin(), text.end(), marker), end; m != end; ++m) result += (*m)[1].str() + " ";
    return result;
}

TEST(FileAppender, KeepsLevelsUpToItsOwnAndOnlyAtExactlyCriticalCopiesThemToStandardError) {
    const std::string copies = "Jan 02 03:04:05 0:\nJan 02 03:04:05 1:\nJan 02 03:04:05 2:\n";
    const std::tuple<Logger::Level, const char*, std::string> cases[] = {
        {Logger::Critical, "0 1 2 ", copies}, {Logger::Error, "0 1 2 3 ", ""}, {Logger::Info, "0 1 2 3 4 5 6 ", ""}};
    for (const auto& [appender_level, kept, copied] : cases) {
        TempDir dir;
        testing::internal::CaptureStderr();
        {
            FileAppender appender;
            appender.init(appender_level, dir.file("app.log"), false, 0, 0);
            for (int level = 0; level <= 8; ++level) put(appender, level, std::to_string(level));
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), copied) << "appender level " << appender_level;
        EXPECT_EQ(markers(dir.file("app.log")), kept) << "appender level " << appender_level;
    }
}

TEST(FileAppender, OpensWithTheVersionLineReopensAfterAMoveAndRotatesAt10MiBUnlessToldOtherwise) {
    RecordingLogger logged;
    TempDir dir;
    const std::string path = dir.file("app.log"), version = " [0-9a-f]+  System version:  [^ \n]+\n";
    {
        FileAppender appender;
        appender.init(Logger::Trace, path, true, 0, 0);
        put(appender, Logger::Info, "a");
        std::filesystem::rename(path, dir.file("moved.log"));
        appender.reopen();
        put(appender, Logger::Info, "b");
        appender.flush();
        for (const auto& [file, line] : {std::pair{dir.file("moved.log"), "a"}, {path, "b"}})
            EXPECT_TRUE(std::regex_match(unstamped(read_file(file)), std::regex("<stamp> " + version + "<stamp> " + line + ":\n"))) << read_file(file);
        // The size test reads the file's size: grown from outside (sparse) to one byte below, then to the limit.
        std::filesystem::resize_file(path, 10485759);
        put(appender, Logger::Info, "c");
        EXPECT_FALSE(std::filesystem::exists(path + ".1"));
        std::filesystem::resize_file(path, 10485760);
        put(appender, Logger::Info, "d");
        EXPECT_TRUE(std::filesystem::exists(path + ".1") && !std::filesystem::exists(path));
    }
    // A file whose folder comes later: standard error until a reopen, which never closes standard error.
    FileAppender late;
    testing::internal::CaptureStderr();
    try {
        late.init(Logger::Trace, dir.file("none/app.log"), false, 0, 0);
        ADD_FAILURE() << "no FileAppenderError";
    } catch (const FileAppenderError& error) { EXPECT_STREQ(error.what(), "FileAppenderError: Unable to open log file"); }
    put(late, Logger::Info, "e");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Jan 02 03:04:05 e:\n");
    std::filesystem::create_directory(dir.file("none"));
    late.reopen();
    put(late, Logger::Info, "f"), late.flush();
    EXPECT_TRUE(markers(dir.file("none/app.log")) == "f " && fcntl(2, F_GETFD) != -1);
    std::filesystem::rename(dir.file("none"), dir.file("gone"));
    EXPECT_THROW(late.reopen(), FileAppenderError);
    const RecordingLogger::Line using_file{6, "FileAppender", "Using '" + path + "' file"},
        failed{1, "FileAppender", "Unable to open log file '" + dir.file("none/app.log") + "': No such file or directory"};
    EXPECT_EQ(logged.lines, (std::vector<RecordingLogger::Line>{using_file, using_file, failed,
                                                                {6, "FileAppender", "Using '" + dir.file("none/app.log") + "' file"}, failed}));
}

// Syslog stands in here: what the appender hands it is kept, priority and text.
std::vector<std::pair<int, std::string>> syslogged;
extern "C" void openlog(const char* identity, int, int) { syslogged.emplace_back(-1, identity); }
extern "C" void closelog() { syslogged.emplace_back(-1, "closed"); }
extern "C" void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    syslogged.emplace_back(priority, format == std::string("%s") ? va_arg(arguments, const char*) : format), va_end(arguments);
}

TEST(SysLogAppender, SendsTheTextWithThePriorityOfItsLevelNoticesAndEmergenciesAsDebug) {
    RecordingLogger logged;
    syslogged.clear();
    std::vector<std::pair<int, std::string>> expected = {{-1, "strell-probe"}};
    {
        SysLogAppender appender;
        appender.init(Logger::Trace, "strell-probe");
        const int priorities[] = {LOG_DEBUG, LOG_ALERT, LOG_CRIT, LOG_ERR, LOG_WARNING, LOG_DEBUG, LOG_INFO, LOG_DEBUG, LOG_DEBUG};
        for (int level = 0; level <= 8; ++level) put(appender, level, std::to_string(level)), expected.emplace_back(priorities[level], std::to_string(level) + ":\n");
    }
    EXPECT_EQ(syslogged, (expected.emplace_back(-1, "closed"), expected));
    EXPECT_EQ(logged.lines, (std::vector<RecordingLogger::Line>{{6, "SyslogAppender", "Using syslog name 'strell-probe\" log level 8"}}));
}

TEST(FileAppender, RotationKeepsMaxCountFilesNewestFirstOrNumbersAboveTheLargest) {
    const struct { unsigned max_count, writes; std::vector<std::string> before; std::map<std::string, std::string> files; } cases[] = {
        {3, 5, {}, {{"app.log", "last "}, {"app.log.1", "m5 "}, {"app.log.2", "m4 "}, {"app.log.3", "m3 "}}},
        {1, 3, {}, {{"app.log", "last "}, {"app.log.1", "m3 "}}},
        // Unbounded: the number above the largest that a suffix starts with (none: 0).
        {0, 2, {"app.log.7x", "app.log.old"}, {{"app.log", "last "}, {"app.log.7x", ""}, {"app.log.8", "m1 "}, {"app.log.9", "m2 "}, {"app.log.old", ""}}},
    };
    for (const auto& c : cases) {
        TempDir dir;
        for (const std::string& name : c.before) dir.write(name, "");
        {
            FileAppender appender;
            appender.init(Logger::Trace, dir.file("app.log"), true, c.max_count, 1000);
            for (unsigned m = 1; m <= c.writes; ++m) put(appender, Logger::Info, "m" + std::to_string(m), 20000);
            EXPECT_FALSE(std::filesystem::exists(dir.file("app.log"))) << "reopened before the next write";
            put(appender, Logger::Info, "last");
        }
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(dir.path)) files[entry.path().filename()] = markers(entry.path());
        EXPECT_EQ(files, c.files) << c.max_count;
    }
}

// Sets the logger up from the configuration text (% stands for the directory),
// writes "probe-N" at every level N and ends the logger, so that the files are complete.
void run_logger(const TempDir& dir, const std::string& config_text) {
    {
        VornConfig config("Setup", dir.file("strell.pid"));
        EXPECT_EQ(config.import(dir.write("strell.conf", std::regex_replace(config_text, std::regex("%"), dir.path))), 0);
        init_logger(&config);
        const std::string pad(config_text.find("rotate") != std::string::npos ? 8192 : 0, 'x');  // each fills a file
        for (int level = 0; level <= 8; ++level) LogFacility("Probe").log(Logger::Level(level), "probe-%d%s", level, pad.c_str());
    }
    LoggerImpl::destroy();
}

TEST(InitLogger, LevelsFilesAndRotationFollowTheConfigurationKeys) {
    const std::pair<std::string, std::vector<std::pair<const char*, const char*>>> cases[] = {
        // The levels of the probes in each file, after the level a syslog appender says it has.
        {"log_file_main = %/m\nlog_level = 3", {{"m", "0123456"}}}, {"log_file_main = %/m\nlog_level = -1", {{"m", "0123"}}},
        {"log_file_main = %/m\nlog_level = five", {{"m", "012345678"}}},
        {"log_file_main = %/m\nlog_level = 6\nsyslog_name = strell-probe", {{"m", "8012345678"}}},
        // A file named twice gets one appender, at the first key's level.
        {"log_level = 2\nlog_file_debug = %/d\nlog_file_main = %/d\nlog_file_critical = %/c", {{"d", "012345678"}, {"c", "012"}}},
        {"log_level = 2\nlog_file_main = %/m\nlog_file_critical = %/m", {{"m", "012345"}}},
        // Rotation only for yes, on or enable in any case: each probe fills a file.
        {"log_file_main = %/m\nmax_logfile_size = 1\nmax_logfile_count = 1\nrotate_logs = Yes", {{"m", ""}, {"m.1", "8"}, {"m.2", ""}}},
        {"log_file_main = %/m\nmax_logfile_size = 1\nrotate_logs = true", {{"m", "012345678"}, {"m.1", ""}}},
    };
    for (const auto& [keys, files] : cases) {
        TempDir dir;
        run_logger(dir, keys + "\n");
        for (const auto& [file, levels] : files) {
            static const std::regex probe("[^]*?(?:Probe: probe-|log level )([0-9])|[^]*");
            EXPECT_EQ(std::regex_replace(read_file(dir.file(file)), probe, "$1"), levels) << keys << " in " << file;
        }
    }
}

