#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vorn/log/appender.h"
#include "vorn/log/logger.h"

namespace Vorn {

// What the process-wide logger is set up from; empty names mean no such output.
struct LoggerSettings {
    Logger::Level level = Logger::Trace;  // main log file and syslog
    std::string debug_log_file;           // every line, up to trace
    std::string main_log_file;            // lines up to `level`
    std::string critical_log_file;        // lines up to critical
    std::string syslog_name;
    uint32_t max_count = 0;  // rotated files kept, 0 for unlimited
    uint64_t max_size = 0;
    bool rotate = false;
};

// Creates the logger and registers one appender per distinct output, which
// the logger owns; each is also appended to `appenders`, to be looked at. An appender that fails to initialise is
// deleted and its exception passes on; those made before it stay registered.
void init_logger(const LoggerSettings& settings, std::vector<Appender*>& appenders);

}  // namespace Vorn
