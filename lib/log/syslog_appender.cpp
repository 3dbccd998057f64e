#include "vorn/log/syslog_appender.h"

#include <syslog.h>

#include "vorn/log/log_facility.h"

namespace Vorn {

namespace {

// The syslog priority a message of the given level goes out with.
int priority(int level) {
    switch (level) {
        case Logger::Alert: return LOG_ALERT;
        case Logger::Critical: return LOG_CRIT;
        case Logger::Error: return LOG_ERR;
        case Logger::Warning: return LOG_WARNING;
        case Logger::Info: return LOG_INFO;
        // Notices and emergencies go out as debug on purpose.
        default: return LOG_DEBUG;
    }
}

}  // namespace

void SysLogAppender::init(Logger::Level level, const std::string& name) {
    set_level(level);
    name_ = name;
    openlog(name_.c_str(), 0, LOG_USER);
    opened_ = true;
    LogFacility("SyslogAppender").log(Logger::Info, "Using syslog name '%s\" log level %d", name_.c_str(), level);
}

void SysLogAppender::write_message(const Logger::Message& message) {
    syslog(priority(message.level), "%s", message.text.c_str());
}

SysLogAppender::~SysLogAppender() {
    // The identity text dies with this object; syslog must not keep pointing at it.
    if (opened_) closelog();
}

}  // namespace Vorn
