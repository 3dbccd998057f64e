#include "vorn/config/logger_setup_from_config.h"

#include <cctype>
#include <cstdlib>
#include <string>
#include <vector>

#include "vorn/config/vorn_config.h"
#include "vorn/log/logger_setup.h"
#include "vorn/util/string_utils.h"

namespace Vorn {

namespace {

bool starts_with_digit(const std::string& text) {
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0]));
}

// The configured 0..5 (error..trace) shifted onto the logger's levels;
// anything that is not a number logs everything.
Logger::Level level_from(const std::string& text) {
    char* end = nullptr;
    const long long n = std::strtoll(text.c_str(), &end, 10);
    if (end == text.c_str()) return Logger::Trace;
    if (n < 0) return Logger::Error;
    if (n > 5) return Logger::Trace;
    return static_cast<Logger::Level>(n + 3);
}

}  // namespace

void init_logger(VornConfig* config) {
    LoggerSettings settings;
    std::string value;
    config->get("log_file_main", settings.main_log_file);
    config->get("log_file_debug", settings.debug_log_file);
    config->get("log_file_critical", settings.critical_log_file);
    config->get("syslog_name", settings.syslog_name);
    config->get("log_level", value);
    settings.level = level_from(value);

    config->get("rotate_logs", value);
    value = tolower(value);
    settings.rotate = value == "yes" || value == "on" || value == "enable";
    if (settings.rotate) {
        config->get("max_logfile_count", value);
        if (starts_with_digit(value)) {
            settings.max_count = static_cast<uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
        }
        // A size of 0, given or missing, is left for FileAppender::init to
        // turn into its default.
        config->get("max_logfile_size", value);
        if (starts_with_digit(value)) settings.max_size = std::strtoull(value.c_str(), nullptr, 10);
    }

    std::vector<Appender*> appenders;
    init_logger(settings, appenders);
}

}  // namespace Vorn
