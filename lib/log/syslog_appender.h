#pragma once

#include <string>

#include "vorn/log/base_appender.h"
#include "vorn/log/logger.h"

namespace Vorn {

// Forwards log lines to the platform's syslog under the user facility.
class SysLogAppender : public BaseAppender {
public:
    ~SysLogAppender() override;

    void init(Logger::Level level, const std::string& name);

private:
    void write_message(const Logger::Message& message) override;

    // openlog keeps only the pointer, so the text must live as long as the connection.
    std::string name_;
    bool opened_ = false;
};

}  // namespace Vorn
