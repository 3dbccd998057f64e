#include "vorn/log/log_stream.h"

#include "vorn/log/logger_use.h"

namespace Vorn {

std::atomic<Logger*> LogStream::logger_queue_{nullptr};

void LogStream::init(Logger* logger) { LoggerUse::replace(logger_queue_, logger); }

LogStream::OutputBuffer::~OutputBuffer() {
    const LoggerUse use;
    Logger* logger = LogStream::logger_queue_;
    if (logger != nullptr) logger->write(level_, stream_.facility(), text_.str());
}

}  // namespace Vorn
