#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "log/appender.h"
#include "log/logger_impl.h"

namespace Vorn {

// What a RecordingAppender saw; outlives the appender, which the logger deletes.
struct AppenderLog {
    std::mutex mutex;
    std::vector<Logger::Message> messages;
    std::vector<std::string> events;  // "write", "flush", "close", "reopen", "delete" in order
    std::atomic<int> flushes{0};

    void add(const std::string& event) {
        std::lock_guard<std::mutex> lock(mutex);
        events.push_back(event);
    }
};

class RecordingAppender : public Appender {
public:
    explicit RecordingAppender(AppenderLog& log) : log_(log) {}
    ~RecordingAppender() override { log_.add("delete"); }
    void write(Logger::Message* message) override {
        std::lock_guard<std::mutex> lock(log_.mutex);
        log_.messages.push_back(*message);
        log_.events.push_back("write");
    }
    void flush() override {
        ++log_.flushes;
        log_.add("flush");
    }
    void close() override { log_.add("close"); }
    void reopen() override { log_.add("reopen"); }

private:
    AppenderLog& log_;
};

// running is raised by the worker itself, so wait for it before anyone stops it.
inline bool start_worker(LoggerImpl& logger) {
    if (!logger.start()) return false;
    for (int i = 0; i < 100000 && logger.is_stopped(); ++i) Thread::usleep(50);
    return !logger.is_stopped();
}

}  // namespace Vorn
