#include "vorn/log/base_appender.h"

namespace Vorn {

void BaseAppender::write(Logger::Message* message) {
    if (message->level > level_) return;
    std::lock_guard<std::mutex> lock(mutex_);
    write_message(*message);
}

void BaseAppender::flush() {
    std::lock_guard<std::mutex> lock(mutex_);
    flush_output();
}

void BaseAppender::close() {
    std::lock_guard<std::mutex> lock(mutex_);
    close_output();
}

void BaseAppender::reopen() {
    std::lock_guard<std::mutex> lock(mutex_);
    reopen_output();
}

}  // namespace Vorn
