#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <ctime>
#include <tuple>

#include "vorn/util/string_utils.h"
#include "vorn/util/thread.h"
#include "vorn/util/time_utils.h"

using namespace Vorn;

// Runs until asked to stop (5 s at most), or leaves through exit() when `quit` is set.
struct Worker : Thread {
    explicit Worker(bool quit) : quit(quit) {}
    void run() override {
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        signals_blocked = sigismember(&mask, SIGINT) && sigismember(&mask, SIGTERM) && sigismember(&mask, SIGUSR1);
        ++runs;
        if (quit) stop(), exit(), ++runs;  // exit() does not return
        for (int i = 0; !check_stop() && i < 100000; ++i) usleep(50);
    }
    const bool quit;
    std::atomic<int> runs{0};
    bool signals_blocked = false;  // read after join()
};

TEST(Thread, RunsOnceWithSignalsBlockedAndClearsItsFlagsWhenItEndsByStopOrExit) {
    for (const bool quit : {false, true}) {
        Worker worker(quit);
        worker.join();  // never started: returns at once
        ASSERT_TRUE(worker.start());
        for (int i = 0; i < 100000 && worker.runs == 0; ++i) Thread::usleep(50);
        if (!quit) {
            EXPECT_FALSE(worker.is_stopped() || worker.start()) << "a running thread starts no second worker";
            worker.stop();
        }
        worker.join();
        EXPECT_TRUE(worker.is_stopped() && !worker.check_stop() && worker.runs == 1 && worker.signals_blocked) << quit;
    }
}

TEST(Utilities, TextNumbersAndDates) {
    EXPECT_EQ(pf_str("%s|%d", std::string(5000, 'x').c_str(), 42), std::string(5000, 'x') + "|42");
    const unsigned char bytes[] = {0x0A, 0xFF};
    EXPECT_TRUE(to_hex_string(bytes, 2) == "0aff" && ftoa(1.5f, 3) == "1.500" && ftoa(0.1f, 10) == "0.1000000015");
    EXPECT_TRUE(itoa(-7) == "-7" && itoa(INT_MIN) == "-2147483648" && tolower("MiXeD 1-Z\xC4") == "mixed 1-z\xC4");
    // Against the C library's calendar: day 0 of the next month is the last of this one.
    for (const int year : {1900, 2000, 2023, 2024})
        for (int month = 0; month < 12; ++month) {
            std::tm last{};
            std::tie(last.tm_year, last.tm_mon, last.tm_mday, last.tm_hour) = std::tuple(year - 1900, month + 1, 0, 12);
            timegm(&last);
            EXPECT_EQ(Time::get_days_in_month(year, month), last.tm_mday) << year << "/" << month;
        }
    EXPECT_TRUE(Time::get_days_in_month(2000, 12) == 31 && Time::get_days_in_month(2000, -1) == 31);
    EXPECT_EQ(Time::ctime(0), Time::ctimePopped(0) + "\n");
}
