#include "util/thread.h"

#include <gtest/gtest.h>

#include <csignal>

namespace Vorn {
namespace {

// Runs until asked to stop (or for 5 s at most), or returns at once when `once` is set.
class Worker : public Thread {
public:
    explicit Worker(bool once = false, std::atomic<bool>* deleted = nullptr) : once_(once), deleted_(deleted) {}
    ~Worker() override {
        if (deleted_ != nullptr) *deleted_ = true;
    }
    void run() override {
        ++runs;
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        signals_blocked = sigismember(&mask, SIGINT) && sigismember(&mask, SIGTERM) && sigismember(&mask, SIGUSR1);
        pthread_attr_t attr;
        pthread_getattr_np(pthread_self(), &attr);
        pthread_attr_getstacksize(&attr, &stack_size);
        pthread_attr_destroy(&attr);
        for (int i = 0; !once_ && !check_stop() && i < 100000; ++i) usleep(50);
    }
    std::atomic<int> runs{0};
    std::atomic<bool> signals_blocked{false};
    size_t stack_size = 0;

private:
    bool once_;
    std::atomic<bool>* deleted_;
};

bool wait_running(const Thread& thread) {
    for (int i = 0; i < 100000 && thread.is_stopped(); ++i) Thread::usleep(50);
    return !thread.is_stopped();
}

TEST(Thread, RunsUntilStoppedThenClearsItsFlags) {
    Worker worker;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(wait_running(worker));
    worker.stop();
    worker.join();
    EXPECT_TRUE(worker.is_stopped());
    EXPECT_FALSE(worker.check_stop());
    EXPECT_EQ(worker.runs, 1);
}

TEST(Thread, StartOnARunningThreadCreatesNothing) {
    Worker worker;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(wait_running(worker));
    EXPECT_FALSE(worker.start());
    worker.stop();
    worker.join();
    EXPECT_EQ(worker.runs, 1);
}

TEST(Thread, JoinOnANeverStartedThreadReturnsAtOnce) {
    Worker worker;
    worker.join();
    EXPECT_TRUE(worker.is_stopped());
    EXPECT_EQ(worker.runs, 0);
}

TEST(Thread, WorkerBlocksProcessSignalsAndHasAOneMebibyteStack) {
    Worker worker(true);
    ASSERT_TRUE(worker.start());
    for (int i = 0; i < 100000 && worker.runs == 0; ++i) Thread::usleep(50);
    worker.join();
    EXPECT_TRUE(worker.signals_blocked);
    EXPECT_EQ(worker.stack_size, 1048576u);
}

TEST(Thread, DisposedWorkerDeletesItselfWhenRunReturns) {
    std::atomic<bool> deleted{false};
    Worker* worker = new Worker(true, &deleted);
    worker->dispose();
    ASSERT_TRUE(worker->start());
    for (int i = 0; i < 100000 && !deleted; ++i) Thread::usleep(50);
    EXPECT_TRUE(deleted);
}

class Quitter : public Thread {
public:
    void run() override {
        stop();
        exit();
        after_exit = true;
    }
    std::atomic<bool> after_exit{false};
};

TEST(Thread, ExitEndsTheWorkerAndClearsItsFlags) {
    Quitter worker;
    ASSERT_TRUE(worker.start());
    for (int i = 0; i < 100000 && !worker.check_stop() && worker.is_stopped(); ++i) Thread::usleep(50);
    worker.join();
    EXPECT_TRUE(worker.is_stopped());
    EXPECT_FALSE(worker.check_stop());
    EXPECT_FALSE(worker.after_exit);
}

}  // namespace
}  // namespace Vorn
