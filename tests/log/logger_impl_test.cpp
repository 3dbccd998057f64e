#include "log/logger_impl.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "log/log_facility.h"
#include "log/log_stream.h"
#include "recording_appender.h"

namespace Vorn {
namespace {

std::string thread_hex() {
    char text[16];
    std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(pthread_self()));
    return text;
}

// Writes `lines` to a logger that has not started, then lets it drain into an appender.
std::vector<Logger::Message> drained(const std::vector<std::string>& lines, const std::string& facility = "F",
                                     uint64_t* dropped = nullptr) {
    AppenderLog seen;
    {
        LoggerImpl logger;
        logger.add_appender(new RecordingAppender(seen));
        for (const std::string& line : lines) logger.write(Logger::Info, facility, line);
        if (dropped != nullptr) *dropped = logger.dropped();
        if (!start_worker(logger)) return {};
        logger.stop();
    }
    return seen.messages;
}

TEST(LoggerImpl, WritesHeaderThenLineToStandardErrorWithoutAppenders) {
    testing::internal::CaptureStderr();
    {
        LoggerImpl logger;
        EXPECT_TRUE(start_worker(logger));
        logger.write(Logger::Error, "Disk", "full 90%");
        logger.stop();
    }
    const std::string out = testing::internal::GetCapturedStderr();
    char month[4] = {};
    int day = 0, hours = 0, minutes = 0, seconds = 0;
    EXPECT_EQ(std::sscanf(out.c_str(), "%3[A-Za-z] %2d %2d:%2d:%2d", month, &day, &hours, &minutes, &seconds), 5);
    ASSERT_GE(out.size(), 16u);
    EXPECT_EQ(out.substr(16), " ERROR : " + thread_hex() + " Disk: full 90%\n<LAST LINE>\n");
}

TEST(LoggerImpl, CutsTheLinePrefixAt255Characters) {
    const std::string facility(300, 'f');
    const std::vector<Logger::Message> seen = drained({"tail"}, facility);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].text, (" Info  : " + thread_hex() + " " + facility).substr(0, 255) + "tail\n");
}

TEST(LoggerImpl, DropsTheNewestLineWhenTheRingIsFull) {
    std::vector<std::string> lines;
    for (size_t i = 0; i <= LoggerImpl::kRingSize; ++i) lines.push_back(std::to_string(i));
    uint64_t dropped = 0;
    const std::vector<Logger::Message> seen = drained(lines, "F", &dropped);
    EXPECT_EQ(dropped, 1u);
    ASSERT_EQ(seen.size(), LoggerImpl::kRingSize + 1);
    const std::string prefix = " Info  : " + thread_hex() + " F: ";
    for (size_t i = 0; i < LoggerImpl::kRingSize; ++i) ASSERT_EQ(seen[i].text, prefix + lines[i] + "\n");
    EXPECT_EQ(seen.back().text, "<LAST LINE>\n");
}

TEST(LoggerImpl, ManyProducersLoseNoLines) {
    constexpr int kThreads = 8, kLines = 2000;
    AppenderLog seen;
    {
        LoggerImpl logger;
        logger.add_appender(new RecordingAppender(seen));
        ASSERT_TRUE(start_worker(logger));
        std::vector<std::thread> producers;
        for (int t = 0; t < kThreads; ++t) {
            producers.emplace_back([&logger, t] {
                for (int i = 0; i < kLines; ++i) logger.write(Logger::Info, "P", std::to_string(t) + " " + std::to_string(i));
            });
        }
        for (std::thread& producer : producers) producer.join();
        logger.stop();
    }
    ASSERT_EQ(seen.messages.size(), static_cast<size_t>(kThreads * kLines + 1));
    std::vector<int> next(kThreads, 0);
    for (size_t m = 0; m + 1 < seen.messages.size(); ++m) {
        const std::string& text = seen.messages[m].text;
        int t = -1, i = -1;
        ASSERT_EQ(std::sscanf(text.c_str() + text.find(" P: ") + 4, "%d %d", &t, &i), 2) << text;
        ASSERT_EQ(i, next[t]++) << "one producer's lines keep their order";
    }
}

// Holds the worker inside its first output until released.
class GateAppender : public RecordingAppender {
public:
    using RecordingAppender::RecordingAppender;
    void write(Logger::Message* message) override {
        entered = true;
        for (int i = 0; i < 100000 && !released; ++i) Thread::usleep(50);
        RecordingAppender::write(message);
    }
    std::atomic<bool> entered{false}, released{false};
};

TEST(LoggerImpl, StopDrainsPendingLinesThenWritesLastLineAndFlushes) {
    AppenderLog seen;
    {
        LoggerImpl logger;
        GateAppender* gate = new GateAppender(seen);
        logger.add_appender(gate);
        ASSERT_TRUE(start_worker(logger));
        logger.write(Logger::Info, "F", "first");
        for (int i = 0; i < 100000 && !gate->entered; ++i) Thread::usleep(50);
        logger.write(Logger::Info, "F", "second");
        std::thread stopper([&logger] { logger.stop(); });
        for (int i = 0; i < 100000 && !logger.check_stop(); ++i) Thread::usleep(50);
        gate->released = true;
        stopper.join();
    }
    ASSERT_EQ(seen.messages.size(), 3u);
    EXPECT_NE(seen.messages[1].text.find("F: second\n"), std::string::npos);
    EXPECT_EQ(seen.messages[2].level, Logger::Debug);
    EXPECT_EQ(seen.messages[2].header, "");
    EXPECT_EQ(seen.messages[2].text, "<LAST LINE>\n");
    const std::vector<std::string> tail(seen.events.end() - 4, seen.events.end());
    EXPECT_EQ(tail, (std::vector<std::string>{"write", "flush", "close", "delete"}));
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

TEST(LoggerImpl, CreateMakesOneSharedLoggerUntilDestroy) {
    AppenderLog seen;
    LoggerImpl::create();
    LoggerImpl* logger = LoggerImpl::instance();
    ASSERT_NE(logger, nullptr);
    EXPECT_FALSE(logger->is_stopped());
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
    LoggerImpl::destroy();
    ASSERT_EQ(seen.messages.size(), 3u);
    EXPECT_NE(seen.messages[0].text.find(" Config: up 1\n"), std::string::npos);
    EXPECT_NE(seen.messages[1].text.find(" Network: up 2\n"), std::string::npos);
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

}  // namespace
}  // namespace Vorn
