#pragma once

#include <atomic>
#include <string>

#include "vorn/log/logger.h"

namespace Vorn {

// printf-style front end; subclasses (the configuration, say) log under their own name.
class LogFacility {
public:
    explicit LogFacility(std::string facility) : facility_(std::move(facility)) {}
    virtual ~LogFacility() = default;

    void log(Logger::Level level, const char* format, ...) const __attribute__((format(printf, 3, 4)));

    static void init(Logger* logger);

private:
    static std::atomic<Logger*> logger_queue_;
    std::string facility_;
};

}  // namespace Vorn
