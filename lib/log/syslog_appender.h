#pragma once

#include <string>

#include "log/appender.h"
#include "log/logger.h"

namespace Vorn {

// Forwards log lines to the platform's syslog under the user facility.
class SysLogAppender : public Appender {
public:
    SysLogAppender() = default;
    SysLogAppender(const SysLogAppender&) = delete;
    SysLogAppender& operator=(const SysLogAppender&) = delete;

    void init(Logger::Level level, const std::string& name);

    void write(Logger::Message* message) override;
    void flush() override {}
    void close() override {}
    void reopen() override {}
    ~SysLogAppender() override;

    // The syslog priority a message of the given level goes out with.
    static int priority(int level);

private:
    Logger::Level level_ = Logger::Trace;
    // openlog keeps only the pointer, so the text must live as long as the connection.
    std::string name_;
    bool opened_ = false;
};

}  // namespace Vorn
