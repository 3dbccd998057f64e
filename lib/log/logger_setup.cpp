#include "log/logger_setup.h"

#include <memory>

#include "log/file_appender.h"
#include "log/logger_impl.h"
#include "log/syslog_appender.h"

namespace Vorn {

namespace {

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

}  // namespace Vorn
