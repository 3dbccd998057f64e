#pragma once

#include <mutex>

#include "vorn/log/appender.h"
#include "vorn/log/logger.h"

namespace Vorn {

// What every output shares: the level test and the lock. A subclass writes
// only its own output, always with the lock held.
class BaseAppender : public Appender {
public:
    BaseAppender(const BaseAppender&) = delete;
    BaseAppender& operator=(const BaseAppender&) = delete;

    // Messages above the level are dropped before the lock is taken.
    void write(Logger::Message* message) final;
    void flush() final;
    void close() final;
    void reopen() final;

    Logger::Level level() const { return level_; }

protected:
    BaseAppender() = default;
    void set_level(Logger::Level level) { level_ = level; }

    virtual void write_message(const Logger::Message& message) = 0;
    virtual void flush_output() {}
    virtual void close_output() {}
    virtual void reopen_output() {}

private:
    Logger::Level level_ = Logger::Trace;
    std::mutex mutex_;
};

}  // namespace Vorn
