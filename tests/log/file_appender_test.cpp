#include "log/file_appender.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <thread>

#include "test_helpers.h"
#include "util/file_utils.h"

namespace Vorn {
namespace {

using std::filesystem::exists;
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
    std::string result;
    for (std::string text; std::getline(in, text);) {
        if (text.compare(0, kHeader.size(), kHeader) == 0) result += text.substr(16, text.find(':', 16) - 16) + " ";
    }
    return result;
}

TEST(FileAppender, OpensWithTheSystemVersionLineAndReopensANewFileAfterAnOutsideRename) {
    TempDir dir;
    RecordingLogger logged;
    const std::string path = dir.file("app.log");
    write_file(path, "kept\n");  // the file is opened for appending
    {
        FileAppender appender;
        appender.init(Logger::Trace, path, false, 0, 0);
        put(appender, Logger::Info, "before");
        appender.flush();
        ASSERT_EQ(std::rename(path.c_str(), (path + ".moved").c_str()), 0);
        appender.reopen();
        put(appender, Logger::Info, "after");
    }
    const std::string moved = unstamped(read_file(path + ".moved")), version = moved.substr(5, moved.find('\n', 5) - 4);
    const std::string start = "<stamp>  " + thread_hex() + "  System version:  strell-";
    EXPECT_EQ(version.substr(0, start.size()), start);
    EXPECT_EQ(version.find_first_of(" \n", start.size()), version.size() - 1) << "one word: " << version;
    EXPECT_EQ(moved, "kept\n" + version + "<stamp> before:\n");
    EXPECT_EQ(unstamped(read_file(path)), version + "<stamp> after:\n");
    const RecordingLogger::Line used{6, "FileAppender", "Using '" + path + "' file"};
    EXPECT_EQ(logged.lines, (std::vector<RecordingLogger::Line>{used, used}));
}

TEST(FileAppender, KeepsLevelsUpToItsOwnAndOnlyAtExactlyCriticalCopiesThemToStandardError) {
    const std::string copies = kHeader + "0:\n" + kHeader + "1:\n" + kHeader + "2:\n";
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

TEST(FileAppender, BoundedRotationKeepsMaxCountFilesOldestLast) {
    for (const unsigned max_count : {3u, 1u}) {
        TempDir dir;
        const std::string path = dir.file("app.log");
        const unsigned writes = max_count + 2;
        {
            FileAppender appender;
            appender.init(Logger::Trace, path, true, max_count, 1000);
            for (unsigned m = 1; m <= writes; ++m) put(appender, Logger::Info, "m" + std::to_string(m), 20000);
            EXPECT_FALSE(exists(path)) << "reopened before the next write";
            put(appender, Logger::Info, "last");
        }
        EXPECT_EQ(markers(path), "last ");
        for (unsigned n = 1; n <= max_count; ++n) {
            EXPECT_EQ(markers(path + "." + std::to_string(n)), "m" + std::to_string(writes + 1 - n) + " ") << max_count;
        }
        EXPECT_FALSE(exists(path + "." + std::to_string(max_count + 1))) << max_count;
    }
}

TEST(FileAppender, UnboundedRotationAtTheDefaultSizeNumbersOneAboveTheLargestPresent) {
    TempDir dir;
    const std::string path = dir.file("app.log");
    for (const char* other : {"app.log.7", "app.log.old", "app.log9"}) write_file(dir.file(other), "");
    {
        FileAppender appender;
        appender.init(Logger::Trace, path, true, 0, 0);
        for (int m = 0; m < 11; ++m) put(appender, Logger::Info, "m" + std::to_string(m), 1 << 20);
        put(appender, Logger::Info, "last");
    }
    const uintmax_t size = exists(path + ".8") ? std::filesystem::file_size(path + ".8") : 0;
    EXPECT_TRUE(size >= 10485760 && size < 10485760 + (2 << 20)) << "app.log.8 has " << size << " bytes";
    EXPECT_EQ(Utils::list_files(dir.path).size(), 5u) << "nothing but app.log and app.log.8 is new";
}

TEST(FileAppender, ManyWritersLoseRepeatAndReorderNoLineAcrossRotations) {
    constexpr int kThreads = 8, kLines = 2500;
    constexpr uintmax_t kMaxSize = 16384;
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
                for (int i = 0; i < kLines; ++i) logger.write(Logger::Info, "W", std::to_string(t * kLines + i));
            });
        }
        for (std::thread& writer : writers) writer.join();
        logger.stop();
        EXPECT_EQ(logger.dropped(), 0u);
    }
    // Rotated files are numbered in the order they were made, so reading them in that order, then
    // app.log, must give each writer's lines once each and in order.
    std::vector<int> next(kThreads, 0);
    size_t rotated = 0;
    while (exists(dir.file("app.log." + std::to_string(rotated + 1)))) ++rotated;
    EXPECT_GT(rotated, 10u);
    for (size_t n = 1; n <= rotated + 1; ++n) {
        const std::string path = dir.file(n <= rotated ? "app.log." + std::to_string(n) : "app.log");
        EXPECT_TRUE(n > rotated || std::filesystem::file_size(path) >= kMaxSize) << path << " rotated below the size";
        std::istringstream in(read_file(path));
        for (std::string text; std::getline(in, text);) {
            int line = -1;  // writer t's line i is t * kLines + i
            if (text.find(" W: ") == std::string::npos) continue;
            ASSERT_EQ(std::sscanf(text.c_str() + text.find(" W: "), " W: %d", &line), 1) << text;
            ASSERT_EQ(line % kLines, next.at(line / kLines)++) << text;
        }
    }
    EXPECT_EQ(next, std::vector<int>(kThreads, kLines));
}

}  // namespace
}  // namespace Vorn
