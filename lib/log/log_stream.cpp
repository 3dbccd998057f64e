#include "log/log_stream.h"

#include "log/logger_use.h"

namespace Vorn {

std::atomic<Logger*> LogStream::logger_queue_{nullptr};

void LogStream::init(Logger* logger) {
    logger_queue_ = logger;
    // The old logger may be deleted as soon as this returns.
    LoggerUse::wait_for_earlier_uses();
}

LogStream::OutputBuffer::~OutputBuffer() {
    const LoggerUse use;
    Logger* logger = LogStream::logger_queue_;
    if (logger != nullptr) logger->write(level_, stream_.facility(), text_.str());
}

}  // namespace Vorn
