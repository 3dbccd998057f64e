#include "vorn/log/logger_setup.h"

#include <memory>

#include "vorn/log/file_appender.h"
#include "vorn/log/logger_impl.h"
#include "vorn/log/syslog_appender.h"

namespace Vorn {

namespace {

// Registers a new appender once its init has succeeded; one whose init
// throws is deleted and the exception passes on.
template <typename AppenderType, typename... InitArgs>
void register_appender(std::vector<Appender*>& appenders, InitArgs... init_args) {
    std::unique_ptr<AppenderType> appender(new AppenderType);
    appender->init(init_args...);
    appenders.push_back(appender.get());
    LoggerImpl::instance()->add_appender(std::move(appender));
}

}  // namespace

void init_logger(const LoggerSettings& settings, std::vector<Appender*>& appenders) {
    LoggerImpl::create();

    const std::string& debug = settings.debug_log_file;
    const std::string& main = settings.main_log_file;
    const std::string& critical = settings.critical_log_file;
    const auto add_file = [&](Logger::Level level, const std::string& file_name) {
        register_appender<FileAppender>(appenders, level, file_name, settings.rotate, settings.max_count,
                                   settings.max_size);
    };
    if (!debug.empty()) add_file(Logger::Trace, debug);
    if (!main.empty() && main != debug) add_file(settings.level, main);
    if (!critical.empty() && critical != debug && critical != main) add_file(Logger::Critical, critical);
    if (!settings.syslog_name.empty()) register_appender<SysLogAppender>(appenders, settings.level, settings.syslog_name);
}

}  // namespace Vorn
