#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <csignal>

#include "log/diagnostics.h"
#include "recording_logger.h"
#include "util/string_utils.h"
#include "util/thread.h"
#include "util/time_utils.h"

namespace Vorn {
namespace {

// Runs until asked to stop (5 s at most), or leaves through exit() when `quit` is set.
struct Worker : Thread {
    Worker(bool quit, std::atomic<bool>* deleted = nullptr) : quit(quit), deleted(deleted) {}
    ~Worker() override {
        if (deleted != nullptr) *deleted = true;
    }
    void run() override {
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        signals_blocked = sigismember(&mask, SIGINT) && sigismember(&mask, SIGTERM) && sigismember(&mask, SIGUSR1);
        pthread_attr_t attr;
        pthread_getattr_np(pthread_self(), &attr);
        pthread_attr_getstacksize(&attr, &stack_size);
        pthread_attr_destroy(&attr);
        ++runs;
        if (quit) {
            stop();
            exit();
            ++runs;  // never reached
        }
        for (int i = 0; !check_stop() && i < 100000; ++i) usleep(50);
    }
    const bool quit;
    std::atomic<bool>* deleted;
    std::atomic<int> runs{0};
    bool signals_blocked = false;  // these two are read after join()
    size_t stack_size = 0;
};

TEST(Thread, RunsOnceWithProcessSignalsBlockedAndClearsItsFlagsWhenItEndsByStopOrExit) {
    for (const bool quit : {false, true}) {
        Worker worker(quit);
        worker.join();  // never started: returns at once
        ASSERT_TRUE(worker.start());
        for (int i = 0; i < 100000 && worker.runs == 0; ++i) Thread::usleep(50);
        if (!quit) {
            EXPECT_FALSE(worker.is_stopped());
            EXPECT_FALSE(worker.start()) << "a running thread starts no second worker";
            worker.stop();
        }
        worker.join();
        EXPECT_TRUE(worker.is_stopped() && !worker.check_stop()) << quit;
        EXPECT_EQ(worker.runs, 1) << quit;
        EXPECT_TRUE(worker.signals_blocked) << quit;
        EXPECT_EQ(worker.stack_size, 1048576u) << quit;
    }
    std::atomic<bool> deleted{false};
    Worker* disposed = new Worker(false, &deleted);
    disposed->dispose();
    disposed->stop();  // before it starts, so run() returns at once
    ASSERT_TRUE(disposed->start());
    for (int i = 0; i < 100000 && !deleted; ++i) Thread::usleep(50);
    EXPECT_TRUE(deleted) << "a disposed worker deletes itself when run() returns";
}

TEST(StringUtils, NumbersBytesAndLongFormattedTextsBecomeText) {
    for (size_t length : {0u, 1200u, 5000u}) EXPECT_EQ(pf_str("%s|%d", std::string(length, 'x').c_str(), 42), std::string(length, 'x') + "|42");
    const unsigned char bytes[] = {0x0A, 0xFF};
    EXPECT_EQ(to_hex_string(bytes, 2), "0aff");
    EXPECT_EQ(to_hex_string(bytes, 0), "");
    EXPECT_EQ(ftoa(1.5f, 3), "1.500");
    EXPECT_EQ(ftoa(0.1f, 10), "0.1000000015") << "widened to double";
    EXPECT_EQ(itoa(-7), "-7");
    EXPECT_EQ(itoa(INT_MIN), "-2147483648");
    EXPECT_EQ(tolower("MiXeD 1-Z\xC4"), "mixed 1-z\xC4");
}

TEST(Time, CalendarLocalZoneAndClock) {
    const int months[][3] = {{2024, 1, 29}, {1900, 1, 28}, {2000, 1, 29}, {2023, 1, 28}, {2023, 3, 30}, {2000, 12, 31}, {2000, -1, 31}};
    for (const auto& m : months) EXPECT_EQ(Time::get_days_in_month(m[0], m[1]), m[2]) << m[0] << "/" << m[1];
    setenv("TZ", "EST5", 1);
    tzset();
    tm out{};
    Time::local(0, out);
    EXPECT_EQ(std::make_tuple(out.tm_year, out.tm_mon, out.tm_mday, out.tm_hour), std::make_tuple(69, 11, 31, 19));
    EXPECT_EQ(Time::ctime(0), "Wed Dec 31 19:00:00 1969\n");
    EXPECT_EQ(Time::ctimePopped(0), "Wed Dec 31 19:00:00 1969");
    const int64_t before = static_cast<int64_t>(time(nullptr)) * 1000000, now = Time::useconds();
    EXPECT_TRUE(now >= before && now < before + 2000000);
}

TEST(Diagnostics, PrintLogWritesTheTextAtDebugThenTheStackAtTrace) {
    StrellTest::RecordingLogger logged;
    print_log("state dump");
    const auto& lines = logged.lines;
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], StrellTest::RecordingLogger::Line(Logger::Debug, "util_log", "state dump"));
    EXPECT_EQ(lines[1], StrellTest::RecordingLogger::Line(Logger::Trace, "trace", "Obtained " + std::to_string(lines.size() - 2) + " stack frames."));
    for (size_t i = 2; i < lines.size(); ++i) EXPECT_EQ(lines[i], StrellTest::RecordingLogger::Line(8, "trace", std::get<2>(lines[i])));
}

}  // namespace
}  // namespace Vorn
