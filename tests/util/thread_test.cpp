#include "util/thread.h"

#include <gtest/gtest.h>

#include <csignal>

namespace Vorn {
namespace {

// Runs until asked to stop (5 s at most); `once` returns at once, `quit` leaves through exit().
class Worker : public Thread {
public:
    enum Mode { Loop, Once, Quit };
    explicit Worker(Mode mode = Loop, std::atomic<bool>* deleted = nullptr) : mode_(mode), deleted_(deleted) {}
    ~Worker() override {
        if (deleted_ != nullptr) *deleted_ = true;
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
        if (mode_ == Quit) {
            stop();
            exit();
            ++runs;
        }
        for (int i = 0; mode_ == Loop && !check_stop() && i < 100000; ++i) usleep(50);
    }
    std::atomic<int> runs{0};
    std::atomic<bool> signals_blocked{false};
    size_t stack_size = 0;

private:
    Mode mode_;
    std::atomic<bool>* deleted_;
};

bool wait_runs(const Worker& worker) {
    for (int i = 0; i < 100000 && worker.runs == 0; ++i) Thread::usleep(50);
    return worker.runs > 0;
}

TEST(Thread, RunsUntilStoppedThenClearsItsFlags) {
    Worker worker;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(wait_runs(worker));
    EXPECT_FALSE(worker.is_stopped());
    EXPECT_FALSE(worker.start()) << "a running thread starts no second worker";
    worker.stop();
    worker.join();
    EXPECT_TRUE(worker.is_stopped());
    EXPECT_FALSE(worker.check_stop());
    EXPECT_EQ(worker.runs, 1);
}

TEST(Thread, JoinOnANeverStartedThreadReturnsAtOnce) {
    Worker worker;
    worker.join();
    EXPECT_TRUE(worker.is_stopped());
    EXPECT_EQ(worker.runs, 0);
}

TEST(Thread, WorkerBlocksProcessSignalsAndHasAOneMebibyteStack) {
    Worker worker(Worker::Once);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(wait_runs(worker));
    worker.join();
    EXPECT_TRUE(worker.signals_blocked);
    EXPECT_EQ(worker.stack_size, 1048576u);
}

TEST(Thread, ExitEndsTheWorkerAndClearsItsFlags) {
    Worker worker(Worker::Quit);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(wait_runs(worker));
    worker.join();
    EXPECT_TRUE(worker.is_stopped());
    EXPECT_FALSE(worker.check_stop());
    EXPECT_EQ(worker.runs, 1);
}

TEST(Thread, DisposedWorkerDeletesItselfWhenRunReturns) {
    std::atomic<bool> deleted{false};
    Worker* worker = new Worker(Worker::Once, &deleted);
    worker->dispose();
    ASSERT_TRUE(worker->start());
    for (int i = 0; i < 100000 && !deleted; ++i) Thread::usleep(50);
    EXPECT_TRUE(deleted);
}

}  // namespace
}  // namespace Vorn
