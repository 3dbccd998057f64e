#include "vorn/log/log_facility.h"

#include <cstdarg>

#include "vorn/log/logger_use.h"
#include "vorn/util/string_utils.h"

namespace Vorn {

std::atomic<Logger*> LogFacility::logger_queue_{nullptr};

void LogFacility::init(Logger* logger) { LoggerUse::replace(logger_queue_, logger); }

void LogFacility::log(Logger::Level level, const char* format, ...) const {
    const LoggerUse use;
    Logger* logger = logger_queue_;
    if (logger == nullptr) return;

    va_list args;
    va_start(args, format);
    const std::string text = vpf_str(format, args);
    va_end(args);
    logger->write(level, facility_, text);
}

}  // namespace Vorn
