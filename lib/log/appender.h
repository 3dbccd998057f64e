#pragma once

#include "vorn/log/logger.h"

namespace Vorn {

// An output of the logger, all the logger knows of one. Each decides by its
// own level whether a message is printed (BaseAppender does that for them).
class Appender {
public:
    virtual void write(Logger::Message* message) = 0;
    virtual void flush() {}
    virtual void close() {}
    virtual void reopen() {}
    virtual ~Appender() = default;
};

}  // namespace Vorn
