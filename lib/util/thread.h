#pragma once

#include <pthread.h>

#include <atomic>

namespace Vorn {

// Base of long-running workers. The thread is detached: owners stop() it and
// join() (a poll of the running flag) before they destroy it.
class Thread {
public:
    Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    virtual void run() = 0;
    virtual ~Thread();
    virtual void stop();

    bool start();
    bool check_stop() const;
    bool is_stopped() const;
    void join() const;
    void dispose();
    // Ends the calling thread; only meaningful from inside run().
    void exit();

    static void usleep(int usec);
    static void sleep(int sec);
    static pthread_t self_id();

private:
    static void* entry(void* arg);

    pthread_t handle_{};
    pthread_attr_t attr_{};
    // Atomics rather than plain flags: the worker and its owner touch them
    // without a lock, and the sanitizers must see that as intended.
    std::atomic<bool> running_{false};
    std::atomic<bool> stop_requested_{false};
    std::atomic<bool> dispose_on_exit_{false};
};

}  // namespace Vorn
