#include "vorn/log/logger_use.h"

#include <mutex>
#include <thread>

namespace Vorn {

namespace {

// Uses count in the counter of the current phase; a waiter opens a new phase
// and waits for the old counter only, which no longer grows, so a steady
// stream of writes cannot keep it waiting.
std::atomic<unsigned> phase{0};
std::atomic<long> uses[2];
std::mutex waiters;

std::atomic<long>& enter() {
    for (;;) {
        const unsigned seen = phase.load();
        std::atomic<long>& count = uses[seen & 1];
        ++count;
        // Counted after a waiter looked at this counter: step into the new phase.
        if (phase.load() == seen) return count;
        --count;
    }
}

}  // namespace

LoggerUse::LoggerUse() : count_(enter()) {}

LoggerUse::~LoggerUse() { --count_; }

void LoggerUse::replace(std::atomic<Logger*>& pointer, Logger* logger) {
    pointer = logger;
    std::lock_guard<std::mutex> lock(waiters);
    const unsigned old = phase++;
    while (uses[old & 1].load() != 0) std::this_thread::yield();
}

}  // namespace Vorn
