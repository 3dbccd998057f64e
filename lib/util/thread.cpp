#include "vorn/util/thread.h"

#include <unistd.h>

#include <csignal>

namespace Vorn {

namespace {
constexpr size_t stack_size = 1048576;
}

Thread::Thread() {
    pthread_attr_init(&attr_);
    pthread_attr_setstacksize(&attr_, stack_size);
    // Created detached rather than detached after creation: a disposed worker
    // may already have deleted this object by the time pthread_create returns.
    pthread_attr_setdetachstate(&attr_, PTHREAD_CREATE_DETACHED);
}

Thread::~Thread() { pthread_attr_destroy(&attr_); }

void Thread::stop() { stop_requested_ = true; }

bool Thread::start() {
    // running is only raised inside the new thread, so two quick starts can
    // still make two workers; owners start a thread once.
    if (running_) return false;
    return pthread_create(&handle_, &attr_, &Thread::entry, this) == 0;
}

bool Thread::check_stop() const { return stop_requested_; }

bool Thread::is_stopped() const { return !running_; }

void Thread::join() const {
    while (running_) usleep(50);
}

void Thread::dispose() { dispose_on_exit_ = true; }

void Thread::exit() {
    running_ = false;
    stop_requested_ = false;
    pthread_exit(nullptr);
}

void Thread::usleep(int usec) { ::usleep(static_cast<useconds_t>(usec)); }

void Thread::sleep(int sec) { ::sleep(static_cast<unsigned>(sec)); }

pthread_t Thread::self_id() { return pthread_self(); }

void* Thread::entry(void* arg) {
    if (arg == nullptr) return nullptr;
    Thread* self = static_cast<Thread*>(arg);

    // Process signals belong to the main thread.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    self->running_ = true;
    self->run();
    // Read before running drops: once it is false a non-disposed owner may
    // delete the object under us.
    const bool dispose = self->dispose_on_exit_;
    self->stop_requested_ = false;
    self->running_ = false;
    if (dispose) delete self;
    return nullptr;
}

}  // namespace Vorn
