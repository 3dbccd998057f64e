#pragma once

#include "log/logger.h"

namespace Vorn {

// An output of the logger. Each appender owns its destination and its own
// lock, and decides by its own level whether a message is printed.
class Appender {
public:
    virtual void write(Logger::Message* message) = 0;
    virtual void flush() {}
    virtual void close() {}
    virtual void reopen() {}
    virtual ~Appender() = default;
};

}  // namespace Vorn
