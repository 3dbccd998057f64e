#include "vorn/log/logger_impl.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "vorn/log/log_front_ends.h"
#include "vorn/util/time_utils.h"

namespace Vorn {

namespace {

constexpr std::chrono::milliseconds idle_wait(50);
constexpr int64_t flush_interval_usec = 50000;
constexpr size_t prefix_size = 256;

std::mutex lifecycle_mutex;

}  // namespace

std::atomic<LoggerImpl*> LoggerImpl::instance_{nullptr};

LoggerImpl::LoggerImpl() : ring_(static_cast<Message**>(std::calloc(ring_size, sizeof(Message*)))) {
    if (ring_ == nullptr) throw std::bad_alloc();
}

LoggerImpl::~LoggerImpl() {
    for (std::unique_ptr<Appender>& appender : appenders_) {
        appender->close();
        appender.reset();
    }
    // Whatever is still queued here was written after stop() and is abandoned.
    std::free(ring_);
}

void LoggerImpl::write(Level level, const std::string& facility, const std::string& text) {
    Message* message = new Message;
    message->level = level;

    message->header = time_stamp();

    char prefix[prefix_size];
    int prefix_length = std::snprintf(prefix, sizeof prefix, "%s: %x %s: ", level_name(level),
                                      static_cast<unsigned>(Thread::self_id()), facility.c_str());
    if (prefix_length < 0) prefix_length = 0;
    if (static_cast<size_t>(prefix_length) >= sizeof prefix) prefix_length = sizeof prefix - 1;
    message->text.reserve(static_cast<size_t>(prefix_length) + text.size() + 1);
    message->text.append(prefix, static_cast<size_t>(prefix_length));
    message->text.append(text);
    message->text.push_back('\n');

    std::lock_guard<std::mutex> lock(queue_mutex_);
    if (ring_[write_pos_] != nullptr) {
        // A full ring loses the newest line rather than stall the producer.
        ++dropped_;
        delete message;
        return;
    }
    ring_[write_pos_] = message;
    write_pos_ = (write_pos_ + 1) % ring_size;
    queue_ready_.notify_one();
}

void LoggerImpl::stop() {
    {
        std::lock_guard<std::mutex> lock(queue_mutex_);
        // Skipping an empty slot leaves a hole the drain stops at, so lines
        // written from here on are never output.
        if (ring_[write_pos_] == nullptr) {
            write_pos_ = (write_pos_ + 1) % ring_size;
        } else {
            ++dropped_;
        }
        // The flag goes up before the wake-up, or the worker may sleep out a
        // whole idle wait before it sees it and every exit would pay for that.
        Thread::stop();
        queue_ready_.notify_one();
    }
    join();
}

LoggerImpl::Message* LoggerImpl::take(std::chrono::milliseconds wait) {
    std::unique_lock<std::mutex> lock(queue_mutex_);
    if (ring_[read_pos_] == nullptr) queue_ready_.wait_for(lock, wait);
    Message* message = ring_[read_pos_];
    if (message != nullptr) {
        ring_[read_pos_] = nullptr;
        read_pos_ = (read_pos_ + 1) % ring_size;
    }
    return message;
}

void LoggerImpl::run() {
    while (!check_stop()) {
        Message* message = take(idle_wait);
        std::lock_guard<std::mutex> lock(appenders_mutex_);
        write(message);
        if (Time::useconds() - last_flush_ > flush_interval_usec) flush_appenders();
    }
    drain();
}

void LoggerImpl::drain() {
    std::lock_guard<std::mutex> lock(appenders_mutex_);
    for (;;) {
        Message* message = take(std::chrono::milliseconds(0));
        if (message == nullptr) break;
        write(message);
    }
    Message* last = new Message;
    last->level = Debug;
    last->text = "<LAST LINE>\n";
    write(last);
    flush_appenders();
}

void LoggerImpl::write(Message* message) {
    if (message == nullptr) return;
    std::unique_ptr<Message> owned(message);
    if (appenders_.empty()) {
        std::fwrite(message->header.data(), 1, message->header.size(), stderr);
        std::fwrite(message->text.data(), 1, message->text.size(), stderr);
        return;
    }
    for (const std::unique_ptr<Appender>& appender : appenders_) appender->write(message);
}

void LoggerImpl::flush_appenders() {
    if (appenders_.empty()) {
        std::fflush(stderr);
    } else {
        for (const std::unique_ptr<Appender>& appender : appenders_) appender->flush();
    }
    last_flush_ = Time::useconds();
}

void LoggerImpl::add_appender(Appender* appender) { add_appender(std::unique_ptr<Appender>(appender)); }

// An appender is owned once: one already listed is not listed again.
void LoggerImpl::add_appender(std::unique_ptr<Appender> appender) {
    if (!appender) return;
    std::lock_guard<std::mutex> lock(appenders_mutex_);
    for (const std::unique_ptr<Appender>& listed : appenders_) {
        if (listed == appender) {
            appender.release();
            return;
        }
    }
    appenders_.push_back(std::move(appender));
}

void LoggerImpl::remove_appender(Appender* appender) {
    if (appender == nullptr) return;
    std::lock_guard<std::mutex> lock(appenders_mutex_);
    for (auto it = appenders_.begin(); it != appenders_.end(); ++it) {
        if (it->get() == appender) {
            appender->close();
            appenders_.erase(it);
            return;
        }
    }
}

void LoggerImpl::reopen() {
    std::lock_guard<std::mutex> lock(appenders_mutex_);
    for (const std::unique_ptr<Appender>& appender : appenders_) appender->reopen();
}

uint64_t LoggerImpl::dropped() const {
    std::lock_guard<std::mutex> lock(queue_mutex_);
    return dropped_;
}

void LoggerImpl::create() {
    std::lock_guard<std::mutex> lock(lifecycle_mutex);
    if (instance_ != nullptr) return;
    LoggerImpl* logger = new LoggerImpl;
    // running is raised by the worker itself; wait for it so that an early
    // destroy() cannot free the logger before its worker has begun.
    if (logger->start()) {
        while (logger->is_stopped()) Thread::usleep(50);
    }
    instance_ = logger;
    attach_logger(logger);
    static bool registered = false;
    if (!registered) {
        std::atexit(&LoggerImpl::destroy);
        registered = true;
    }
}

void LoggerImpl::destroy() {
    std::lock_guard<std::mutex> lock(lifecycle_mutex);
    LoggerImpl* logger = instance_.exchange(nullptr);
    if (logger == nullptr) return;
    attach_logger(nullptr);
    logger->stop();
    delete logger;
}

LoggerImpl* LoggerImpl::instance() { return instance_; }

}  // namespace Vorn
