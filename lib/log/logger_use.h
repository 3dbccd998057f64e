#pragma once

#include <atomic>

namespace Vorn {

// One write through a front end's logger pointer, counted so that whoever
// changes that pointer (LoggerImpl::destroy, say) can wait until no write
// still uses the old logger before deleting it. Producers only count: they
// never wait. Make one before loading the pointer, keep it until the write
// has returned.
class LoggerUse {
public:
    LoggerUse();
    ~LoggerUse();
    LoggerUse(const LoggerUse&) = delete;
    LoggerUse& operator=(const LoggerUse&) = delete;

    // Call after storing a new pointer: returns once every LoggerUse that may
    // have loaded an older one has ended.
    static void wait_for_earlier_uses();

private:
    std::atomic<long>& count_;
};

}  // namespace Vorn
