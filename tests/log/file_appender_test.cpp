#include "log/file_appender.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <map>
#include <thread>

#include "log/logger_impl.h"
#include "recording_appender.h"
#include "recording_logger.h"
#include "temp_dir.h"
#include "util/file_utils.h"

namespace Vorn {
namespace {

const std::string kHeader = "Jan 02 03:04:05 ";

// Writes a line whose text starts with "<marker>:"; `pad` characters make it
// large enough to reach the disk through the stdio buffer and so trigger rotation.
void put(FileAppender& appender, int level, const std::string& marker, size_t pad = 0) {
    Logger::Message message{level, kHeader, marker + ":" + std::string(pad, 'x') + "\n"};
    appender.write(&message);
}

// The markers of the lines written with put(), in file order.
std::string markers(const std::string& path) {
    std::istringstream in(read_file(path));
    std::string result, text;
    while (std::getline(in, text)) {
        if (text.compare(0, kHeader.size(), kHeader) != 0) continue;
        result += text.substr(kHeader.size(), text.find(':', kHeader.size()) - kHeader.size()) + " ";
    }
    return result;
}

std::string thread_hex() {
    char text[16];
    std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(pthread_self()));
    return text;
}

TEST(FileAppender, OpenWritesTheSystemVersionLineAndLogsTheFileInUse) {
    TempDir dir;
    RecordingLogger logged;
    const std::string path = dir.file("app.log");
    {
        FileAppender appender;
        appender.init(Logger::Info, path, false, 0, 0);
    }
    const std::string text = read_file(path);
    char month[4] = {};
    int day = 0, hours = 0, minutes = 0, seconds = 0;
    EXPECT_EQ(std::sscanf(text.c_str(), "%3[A-Za-z] %2d %2d:%2d:%2d", month, &day, &hours, &minutes, &seconds), 5);
    const std::string line_start = "  " + thread_hex() + "  System version:  strell-";
    ASSERT_EQ(text.substr(15, line_start.size()), line_start);
    const std::string version = text.substr(15 + line_start.size());
    EXPECT_EQ(version.find_first_of(" \n"), version.size() - 1) << "one word, then the only newline: " << version;
    EXPECT_EQ(logged.lines(), (std::vector<RecordingLogger::Line>{{6, "FileAppender", "Using '" + path + "' file"}}));
}

TEST(FileAppender, UnopenableFileLogsAnAlertThenThrowsAndFallsBackToStandardError) {
    RecordingLogger logged;
    FileAppender appender;
    try {
        appender.init(Logger::Trace, "/nonexistent-strell-dir/app.log", false, 0, 0);
        ADD_FAILURE() << "no FileAppenderError";
    } catch (const FileAppenderError& error) {
        EXPECT_STREQ(error.what(), "FileAppenderError: Unable to open log file");
    }
    EXPECT_EQ(logged.lines(),
              (std::vector<RecordingLogger::Line>{
                  {1, "FileAppender",
                   "Unable to open log file '/nonexistent-strell-dir/app.log': No such file or directory"}}));
    testing::internal::CaptureStderr();
    put(appender, Logger::Error, "fallback");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), kHeader + "fallback:\n");
}

TEST(FileAppender, OnlyAnAppenderAtExactlyCriticalCopiesLevelsZeroToTwoToStandardError) {
    TempDir dir;
    for (const int appender_level : {Logger::Critical, Logger::Error}) {
        FileAppender appender;
        appender.init(static_cast<Logger::Level>(appender_level), dir.file("app.log"), false, 0, 0);
        testing::internal::CaptureStderr();
        for (int level = 0; level <= 3; ++level) put(appender, level, "level" + std::to_string(level));
        const std::string copied = testing::internal::GetCapturedStderr();
        EXPECT_EQ(copied, appender_level == Logger::Critical
                              ? kHeader + "level0:\n" + kHeader + "level1:\n" + kHeader + "level2:\n"
                              : "")
            << "appender level " << appender_level;
    }
    EXPECT_EQ(markers(dir.file("app.log")), "level0 level1 level2 level0 level1 level2 level3 ");
}

TEST(FileAppender, DropsMessagesAboveItsLevel) {
    TempDir dir;
    {
        FileAppender appender;
        appender.init(Logger::Info, dir.file("app.log"), false, 0, 0);
        put(appender, Logger::Debug, "debug");
        put(appender, Logger::Info, "info");
    }
    EXPECT_EQ(markers(dir.file("app.log")), "info ");
}

TEST(FileAppender, MaxCountThreeKeepsThreeRotatedFilesOldestLast) {
    TempDir dir;
    const std::string path = dir.file("app.log");
    {
        FileAppender appender;
        appender.init(Logger::Trace, path, true, 3, 1000);
        for (const char* marker : {"m1", "m2", "m3", "m4", "m5"}) put(appender, Logger::Info, marker, 20000);
        EXPECT_FALSE(file_exists(path)) << "reopened before the next write";
        put(appender, Logger::Info, "m6");
    }
    EXPECT_EQ(markers(path), "m6 ");
    EXPECT_EQ(markers(path + ".1"), "m5 ");
    EXPECT_EQ(markers(path + ".2"), "m4 ");
    EXPECT_EQ(markers(path + ".3"), "m3 ");
    EXPECT_FALSE(file_exists(path + ".4"));
}

TEST(FileAppender, MaxCountOneReplacesTheRotatedFile) {
    TempDir dir;
    const std::string path = dir.file("app.log");
    FileAppender appender;
    appender.init(Logger::Trace, path, true, 1, 1000);
    put(appender, Logger::Info, "m1", 20000);
    put(appender, Logger::Info, "m2", 20000);
    EXPECT_EQ(markers(path + ".1"), "m2 ");
    EXPECT_FALSE(file_exists(path + ".2"));
}

TEST(FileAppender, UnlimitedRotationNumbersOneAboveTheLargestPresent) {
    TempDir dir;
    const std::string path = dir.file("app.log");
    for (const char* other : {"app.log.7", "app.log.old", "app.log9"}) write_file(dir.file(other), "");
    FileAppender appender;
    appender.init(Logger::Trace, path, true, 0, 1000);
    put(appender, Logger::Info, "m1", 20000);
    put(appender, Logger::Info, "m2", 20000);
    EXPECT_EQ(markers(path + ".8"), "m1 ");
    EXPECT_EQ(markers(path + ".9"), "m2 ");
    EXPECT_EQ(Utils::list_files(dir.path()).size(), 5u);
}

TEST(FileAppender, DefaultMaxSizeRotatesAtTenMebibytes) {
    TempDir dir;
    const std::string path = dir.file("app.log");
    {
        FileAppender appender;
        appender.init(Logger::Trace, path, true, 0, 0);
        for (int i = 0; i < 11; ++i) put(appender, Logger::Info, "m" + std::to_string(i), 1 << 20);
    }
    struct stat rotated;
    ASSERT_EQ(stat((path + ".1").c_str(), &rotated), 0);
    EXPECT_GE(rotated.st_size, 10485760);
    EXPECT_LT(rotated.st_size, 10485760 + (2 << 20));
    EXPECT_FALSE(file_exists(path + ".2"));
}

TEST(FileAppender, ReopenAfterAnOutsideRenameContinuesInANewFile) {
    TempDir dir;
    const std::string path = dir.file("app.log");
    {
        FileAppender appender;
        appender.init(Logger::Trace, path, false, 0, 0);
        put(appender, Logger::Info, "before");
        appender.flush();
        ASSERT_EQ(std::rename(path.c_str(), (path + ".moved").c_str()), 0);
        appender.reopen();
        put(appender, Logger::Info, "after");
    }
    EXPECT_EQ(markers(path + ".moved"), "before ");
    EXPECT_EQ(markers(path), "after ");
    EXPECT_NE(read_file(path).find("System version"), std::string::npos);
}

TEST(FileAppender, ConcurrentWritersLoseAndRepeatNoLineAcrossRotations) {
    constexpr int kThreads = 4, kLines = 5000;
    constexpr off_t kMaxSize = 16384;
    TempDir dir;
    {
        LoggerImpl logger;
        auto* appender = new FileAppender;
        appender->init(Logger::Trace, dir.file("app.log"), true, 0, kMaxSize);
        logger.add_appender(appender);
        ASSERT_TRUE(start_worker(logger));
        std::vector<std::thread> writers;
        for (int t = 0; t < kThreads; ++t) {
            writers.emplace_back([&logger, t] {
                for (int i = 0; i < kLines; ++i) {
                    logger.write(Logger::Info, "W", std::to_string(t) + "-" + std::to_string(i));
                }
            });
        }
        for (std::thread& writer : writers) writer.join();
        logger.stop();
        EXPECT_EQ(logger.dropped(), 0u);
    }
    std::map<std::string, int> seen;
    size_t rotated = 0;
    for (const std::string& name : Utils::list_files(dir.path())) {
        std::istringstream in(read_file(dir.file(name)));
        for (std::string text; std::getline(in, text);) {
            const size_t at = text.find(" W: ");
            if (at != std::string::npos) ++seen[text.substr(at + 4)];
        }
        if (name == "app.log") continue;
        ++rotated;
        struct stat info;
        ASSERT_EQ(stat(dir.file(name).c_str(), &info), 0);
        EXPECT_GE(info.st_size, kMaxSize) << name;
    }
    EXPECT_GT(rotated, 10u);
    EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kLines));
    for (const auto& entry : seen) ASSERT_EQ(entry.second, 1) << entry.first;
}

}  // namespace
}  // namespace Vorn
