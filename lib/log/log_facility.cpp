#include "log/log_facility.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "log/logger_use.h"

namespace Vorn {

std::atomic<Logger*> LogFacility::logger_queue_{nullptr};

void LogFacility::init(Logger* logger) {
    logger_queue_ = logger;
    // The old logger may be deleted as soon as this returns.
    LoggerUse::wait_for_earlier_uses();
}

void LogFacility::log(Logger::Level level, const char* format, ...) const {
    const LoggerUse use;
    Logger* logger = logger_queue_;
    if (logger == nullptr) return;

    std::vector<char> buffer(1024);
    va_list args;
    va_start(args, format);
    for (;;) {
        va_list attempt;
        va_copy(attempt, args);
        const int length = std::vsnprintf(buffer.data(), buffer.size(), format, attempt);
        va_end(attempt);
        if (length >= 0 && static_cast<size_t>(length) < buffer.size()) break;
        buffer.resize(buffer.size() * 2);
    }
    va_end(args);
    logger->write(level, facility_, std::string(buffer.data()));
}

}  // namespace Vorn
