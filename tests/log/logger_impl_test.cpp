#include "log/logger_impl.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
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

// "%b %d %T " in the C locale: "Mar 07 09:05:59 ".
bool header_shaped(const std::string& header) {
    const std::string shape = "Aaa 00 00:00:00 ";
    for (size_t i = 0; i < shape.size(); ++i) {
        const int c = static_cast<unsigned char>(header[i]);
        const bool ok = shape[i] == 'A' ? std::isupper(c) : shape[i] == 'a' ? std::islower(c)
                        : shape[i] == '0' ? std::isdigit(c) : c == shape[i];
        if (!ok) return false;
    }
    return true;
}

template <typename Body>
std::string capture_stderr(Body body) {
    std::fflush(stderr);
    FILE* file = std::tmpfile();
    const int saved = dup(2);
    dup2(fileno(file), 2);
    body();
    std::fflush(stderr);
    dup2(saved, 2);
    close(saved);
    std::string text;
    std::rewind(file);
    for (int c; (c = std::fgetc(file)) != EOF;) text += static_cast<char>(c);
    std::fclose(file);
    return text;
}

TEST(LoggerImpl, WritesHeaderThenLineToStandardErrorWithoutAppenders) {
    const std::string out = capture_stderr([] {
        LoggerImpl logger;
        ASSERT_TRUE(start_worker(logger));
        logger.write(Logger::Error, "Disk", "full 90%");
        logger.stop();
    });
    ASSERT_GE(out.size(), 16u);
    EXPECT_TRUE(header_shaped(out.substr(0, 16))) << out;
    EXPECT_EQ(out.substr(16), " ERROR : " + thread_hex() + " Disk: full 90%\n<LAST LINE>\n");
}

TEST(LoggerImpl, CutsTheLinePrefixAt255Characters) {
    AppenderLog seen;
    const std::string facility(300, 'f');
    {
        LoggerImpl logger;
        logger.add_appender(new RecordingAppender(seen));
        logger.write(Logger::Debug, facility, "tail");
        ASSERT_TRUE(start_worker(logger));
        logger.stop();
    }
    ASSERT_EQ(seen.messages.size(), 2u);
    EXPECT_EQ(seen.messages[0].text, ("?Debug : " + thread_hex() + " " + facility).substr(0, 255) + "tail\n");
}

TEST(LoggerImpl, DropsTheNewestLineWhenTheRingIsFull) {
    AppenderLog seen;
    {
        LoggerImpl logger;
        logger.add_appender(new RecordingAppender(seen));
        for (size_t i = 0; i < LoggerImpl::kRingSize; ++i) logger.write(Logger::Info, "F", std::to_string(i));
        EXPECT_EQ(logger.dropped(), 0u);
        logger.write(Logger::Info, "F", "overflow");
        EXPECT_EQ(logger.dropped(), 1u);
        ASSERT_TRUE(start_worker(logger));
        logger.stop();
    }
    ASSERT_EQ(seen.messages.size(), LoggerImpl::kRingSize + 1);
    const std::string prefix = " Info  : " + thread_hex() + " F: ";
    for (size_t i = 0; i < LoggerImpl::kRingSize; ++i) {
        ASSERT_EQ(seen.messages[i].text, prefix + std::to_string(i) + "\n");
    }
    EXPECT_EQ(seen.messages.back().text, "<LAST LINE>\n");
}

TEST(LoggerImpl, ManyProducersLoseNoLines) {
    constexpr int kThreads = 8;
    constexpr int kLines = 2000;
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
        EXPECT_EQ(logger.dropped(), 0u);
    }
    ASSERT_EQ(seen.messages.size(), static_cast<size_t>(kThreads * kLines + 1));
    std::vector<int> next(kThreads, 0);
    for (size_t m = 0; m + 1 < seen.messages.size(); ++m) {
        const std::string& text = seen.messages[m].text;
        int t = -1, i = -1;
        ASSERT_EQ(std::sscanf(text.c_str() + text.find(" P: ") + 4, "%d %d", &t, &i), 2) << text;
        ASSERT_EQ(i, next[t]++) << "lines of one producer stay in order";
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
    std::atomic<bool> entered{false};
    std::atomic<bool> released{false};
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
        logger.write(Logger::Info, "F", "third");
        std::thread stopper([&logger] { logger.stop(); });
        for (int i = 0; i < 100000 && !logger.check_stop(); ++i) Thread::usleep(50);
        gate->released = true;
        stopper.join();
    }
    ASSERT_EQ(seen.messages.size(), 4u);
    EXPECT_NE(seen.messages[1].text.find("F: second\n"), std::string::npos);
    EXPECT_NE(seen.messages[2].text.find("F: third\n"), std::string::npos);
    EXPECT_EQ(seen.messages[3].level, Logger::Debug);
    EXPECT_EQ(seen.messages[3].header, "");
    EXPECT_EQ(seen.messages[3].text, "<LAST LINE>\n");
    // The last line is flushed before the logger is destroyed.
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
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    // One flush per 50 ms, plus the first one and the final one.
    EXPECT_LE(seen.flushes, elapsed.count() / 50 + 2);
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
    ASSERT_TRUE(start_worker(logger));
    logger.write(Logger::Info, "F", "after");
    logger.stop();
    EXPECT_EQ(kept.messages.size(), 2u);
    EXPECT_EQ(removed.messages.size(), 0u);
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
    // Both front ends are detached: these must neither reach nor touch the freed logger.
    LogFacility("Config").log(Logger::Info, "gone");
    LogStream("Network")(Logger::Info) << "gone";
    LoggerImpl::destroy();
    ASSERT_EQ(seen.messages.size(), 3u);
    EXPECT_NE(seen.messages[0].text.find(" Config: up 1\n"), std::string::npos);
    EXPECT_NE(seen.messages[1].text.find(" Network: up 2\n"), std::string::npos);
    EXPECT_EQ(seen.events.back(), "delete");
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
