#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vorn/log/appender.h"
#include "vorn/log/logger.h"
#include "vorn/util/thread.h"

namespace Vorn {

// The process-wide asynchronous logger: producers drop messages into a fixed
// ring, the worker thread hands them to the appenders (or standard error).
class LoggerImpl : public Logger, public Thread {
public:
    static constexpr size_t ring_size = 65536;

    // Public so tests can run a private logger beside the process-wide one.
    LoggerImpl();
    ~LoggerImpl() override;

    void write(Level level, const std::string& facility, const std::string& text) override;
    void stop() override;
    void run() override;

    // The logger owns what it is given; a null appender is ignored.
    void add_appender(Appender* appender);
    void add_appender(std::unique_ptr<Appender> appender);
    // Closes and deletes the appender if it is listed.
    void remove_appender(Appender* appender);
    void reopen();

    uint64_t dropped() const;

    static void create();
    static void destroy();
    // The logger made by create(), or null.
    static LoggerImpl* instance();

private:
    // Outputs and frees one message; the caller holds appenders_mutex_.
    void write(Message* message);
    void flush_appenders();
    // Takes the message at the read position, waiting at most `wait` for one.
    Message* take(std::chrono::milliseconds wait);
    void drain();

    std::mutex appenders_mutex_;
    std::vector<std::unique_ptr<Appender>> appenders_;

    mutable std::mutex queue_mutex_;
    std::condition_variable queue_ready_;
    Message** ring_;
    size_t read_pos_ = 0;
    size_t write_pos_ = 0;
    uint64_t dropped_ = 0;

    int64_t last_flush_ = 0;

    static std::atomic<LoggerImpl*> instance_;
};

}  // namespace Vorn
