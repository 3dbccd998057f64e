#include <gtest/gtest.h>

#include <chrono>

#include "test_helpers.h"

namespace Vorn {
namespace {

TEST(LoggerImpl, WithoutAppendersWritesHeaderLevelNameThreadAndFacilityToStandardErrorCuttingThePrefixAt255) {
    const char* names[] = {"*EMERG ", "*ALERT ", "*CRIT  ", " ERROR ", " Warn  ",
                           " Notice", " Info  ", "?Debug ", "?Trace "};
    const std::string long_facility(300, 'f');
    std::string expected;
    testing::internal::CaptureStderr();
    {
        LoggerImpl logger;
        EXPECT_TRUE(start_worker(logger));
        for (int level = Logger::Emergency; level <= Logger::Trace; ++level) {
            logger.write(Logger::Level(level), "Disk", "full 90%");
            expected += std::string("<stamp> ") + names[level] + ": " + thread_hex() + " Disk: full 90%\n";
        }
        logger.write(Logger::Info, long_facility, "tail");
        logger.stop();
    }
    expected += "<stamp> " + (" Info  : " + thread_hex() + " " + long_facility).substr(0, 255) + "tail\n<LAST LINE>\n";
    EXPECT_EQ(unstamped(testing::internal::GetCapturedStderr()), expected);
}

TEST(LoggerImpl, FullRingDropsTheNewestLineAndStopDrainsTheRestThenWritesLastLineAndFlushes) {
    AppenderLog seen;
    {
        LoggerImpl logger;
        logger.add_appender(new RecordingAppender(seen));
        // Nothing is taken out before the worker starts, so the last write finds the ring full.
        for (size_t i = 0; i <= LoggerImpl::ring_size; ++i) logger.write(Logger::Info, "F", std::to_string(i));
        EXPECT_EQ(logger.dropped(), 1u);
        ASSERT_TRUE(start_worker(logger));
        logger.stop();
    }
    ASSERT_EQ(seen.messages.size(), LoggerImpl::ring_size + 1);
    const std::string prefix = " Info  : " + thread_hex() + " F: ";
    for (size_t i = 0; i < LoggerImpl::ring_size; ++i)
        ASSERT_EQ(seen.messages[i].text, prefix + std::to_string(i) + "\n");
    EXPECT_EQ(seen.messages.back().level, Logger::Debug);
    EXPECT_EQ(seen.messages.back().header, "");
    EXPECT_EQ(seen.messages.back().text, "<LAST LINE>\n");
    const std::vector<std::string> tail(seen.events.end() - 3, seen.events.end());
    EXPECT_EQ(tail,
              (std::vector<std::string>{"flush after " + std::to_string(seen.messages.size()), "close", "delete"}));
}

TEST(LoggerImpl, FlushesInBatchesAndWhileIdle) {
    AppenderLog seen;
    LoggerImpl logger;
    logger.add_appender(new RecordingAppender(seen));
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(start_worker(logger));
    for (int i = 0; i < 20000; ++i) logger.write(Logger::Info, "F", "busy");
    const int before_idle = seen.flushes;
    for (int i = 0; i < 100000 && seen.flushes < before_idle + 2; ++i) Thread::usleep(50);
    EXPECT_GE(seen.flushes, before_idle + 2) << "idle flushes";
    logger.stop();
    const auto elapsed = std::chrono::steady_clock::now() - begin;
    // One flush per 50 ms at most, plus the first and the final one.
    EXPECT_LE(seen.flushes, std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count() / 50 + 2);
}

TEST(LoggerImpl, RemoveAppenderClosesAndDeletesOnlyThatOne) {
    AppenderLog kept, removed;
    LoggerImpl logger;
    RecordingAppender* gone = new RecordingAppender(removed);
    logger.add_appender(nullptr);
    logger.add_appender(gone);
    logger.add_appender(new RecordingAppender(kept));
    logger.remove_appender(nullptr);
    logger.remove_appender(gone);
    EXPECT_EQ(removed.events, (std::vector<std::string>{"close", "delete"}));
    logger.reopen();
    EXPECT_EQ(kept.events, (std::vector<std::string>{"reopen"}));
}

TEST(LoggerImpl, CreateMakesOneSharedLoggerForBothFrontEndsUntilDestroy) {
    AppenderLog seen;
    LoggerImpl::create();
    LoggerImpl* logger = LoggerImpl::instance();
    ASSERT_NE(logger, nullptr);
    LoggerImpl::create();
    EXPECT_EQ(LoggerImpl::instance(), logger);
    logger->add_appender(new RecordingAppender(seen));
    LogFacility("Config").log(Logger::Info, "up %d", 1);
    LogStream("Network")(Logger::Info) << "up " << 2;
    LoggerImpl::destroy();
    EXPECT_EQ(LoggerImpl::instance(), nullptr);
    // Both front ends are detached: these must not touch the freed logger.
    LogFacility("Config").log(Logger::Info, "gone");
    LogStream("Network")(Logger::Info) << "gone";
    EXPECT_EQ(seen.messages.size(), 3u) << "both lines, then the last one";
}

TEST(LoggerImplDeathTest, CreatedLoggerDrainsAtProcessExit) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            LoggerImpl::create();
            LogStream("Network")(Logger::Debug) << "bye";
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "Network: bye\n<LAST LINE>\n$");
}

TEST(FrontEnds, SendOneLineEachOfAnyLengthUntilDetached) {
    RecordingLogger logger;
    std::vector<RecordingLogger::Line> expected;
    for (const size_t length : {0u, 1022u, 1023u, 1024u, 2048u, 5000u}) {
        LogFacility("Config").log(Logger::Trace, "%s%c", std::string(length, 'a').c_str(), '!');
        expected.emplace_back(Logger::Trace, "Config", std::string(length, 'a') + "!");
    }
    LogStream("Network")(Logger::Debug) << "sent " << 42 << ' ' << 1.5 << " bytes";
    LogStream("Network")(Logger::Error);
    expected.emplace_back(Logger::Debug, "Network", "sent 42 1.5 bytes");
    expected.emplace_back(Logger::Error, "Network", "");
    EXPECT_EQ(logger.lines, expected);
    LogFacility::init(nullptr);
    LogStream::init(nullptr);
    LogFacility("Config").log(Logger::Emergency, "%d", 1);
    LogStream("Network")(Logger::Emergency) << 1;
    EXPECT_EQ(logger.lines.size(), expected.size());
}

}  // namespace
}  // namespace Vorn
