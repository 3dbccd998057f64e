// Destroying the process-wide logger while other threads log through both
// front ends: under ThreadSanitizer or AddressSanitizer a write that reaches
// a freed logger is reported.
#include <chrono>
#include <thread>

#include "test_helpers.h"

namespace Vorn {
namespace {

TEST(LoggerShutdown, DestroyWhileEightThreadsLogEndsEachLoggerWithItsLastLine) {
    constexpr int kThreads = 8, kRounds = 50;
    std::atomic<bool> done{false}, paused{true};
    std::vector<std::thread> producers;
    for (int t = 0; t < kThreads; ++t) {
        producers.emplace_back([&done, &paused, t] {
            const LogFacility facility("Facility");
            const LogStream stream("Stream");
            for (long i = 0; !done; ++i) {
                // Held while a new logger has no appender yet, which would send lines to standard error.
                if (paused) i = -1;
                else if ((i + t) % 2 == 0) facility.log(Logger::Info, "%d %ld", t, i);
                else stream(Logger::Info) << t << ' ' << i;
                std::this_thread::yield();  // leaves the worker time to drain
            }
        });
    }
    std::vector<AppenderLog> seen(kRounds);
    for (AppenderLog& log : seen) {
        paused = true;
        LoggerImpl::create();
        LoggerImpl::instance()->add_appender(new RecordingAppender(log));
        paused = false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        LoggerImpl::destroy();
    }
    done = true;
    for (std::thread& producer : producers) producer.join();
    size_t lines = 0;
    for (const AppenderLog& log : seen) {
        ASSERT_FALSE(log.messages.empty());
        EXPECT_EQ(log.messages.back().text, "<LAST LINE>\n");
        EXPECT_EQ(log.events.back(), "delete");
        lines += log.messages.size() - 1;
    }
    EXPECT_GT(lines, 0u) << "the appenders saw the threads' lines";
}

}  // namespace
}  // namespace Vorn
