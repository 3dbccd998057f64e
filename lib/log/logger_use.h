#pragma once

#include <atomic>

namespace Vorn {

class Logger;

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

    // Stores a front end's new logger pointer and returns once every
    // LoggerUse that may have loaded the old one has ended: the old logger
    // may then be deleted.
    static void replace(std::atomic<Logger*>& pointer, Logger* logger);

private:
    std::atomic<long>& count_;
};

}  // namespace Vorn
