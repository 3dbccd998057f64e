#include "log/logger_setup.h"

#include <cctype>
#include <cstdlib>
#include <memory>

#include "config/vorn_config.h"
#include "log/file_appender.h"
#include "log/logger_impl.h"
#include "log/syslog_appender.h"
#include "util/string_utils.h"

namespace Vorn {

namespace {

constexpr uint64_t kDefaultMaxSize = 10485760;

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

void add_file_appender(LoggerImpl* logger, const LoggerSettings& settings, Logger::Level level,
                       const std::string& file_name, std::vector<Appender*>& appenders) {
    std::unique_ptr<FileAppender> appender(new FileAppender);
    appender->init(level, file_name, settings.rotate, settings.max_count, settings.max_size);
    logger->add_appender(appender.get());
    appenders.push_back(appender.release());
}

}  // namespace

void init_logger(const LoggerSettings& settings, std::vector<Appender*>& appenders) {
    LoggerImpl::create();
    LoggerImpl* logger = LoggerImpl::instance();

    const std::string& debug = settings.debug_log_file;
    const std::string& main = settings.main_log_file;
    const std::string& critical = settings.critical_log_file;
    if (!debug.empty()) add_file_appender(logger, settings, Logger::Trace, debug, appenders);
    if (!main.empty() && main != debug) add_file_appender(logger, settings, settings.level, main, appenders);
    if (!critical.empty() && critical != debug && critical != main) {
        add_file_appender(logger, settings, Logger::Critical, critical, appenders);
    }
    if (!settings.syslog_name.empty()) {
        std::unique_ptr<SysLogAppender> appender(new SysLogAppender);
        appender->init(settings.level, settings.syslog_name);
        logger->add_appender(appender.get());
        appenders.push_back(appender.release());
    }
}

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
        config->get("max_logfile_size", value);
        if (starts_with_digit(value)) settings.max_size = std::strtoull(value.c_str(), nullptr, 10);
        if (settings.max_size == 0) settings.max_size = kDefaultMaxSize;
    }

    std::vector<Appender*> appenders;
    init_logger(settings, appenders);
}

}  // namespace Vorn
