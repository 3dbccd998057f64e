#include "log/log_stream.h"

namespace Vorn {

std::atomic<Logger*> LogStream::logger_queue_{nullptr};

void LogStream::init(Logger* logger) { logger_queue_ = logger; }

LogStream::OutputBuffer::~OutputBuffer() {
    Logger* logger = LogStream::logger_queue_;
    if (logger != nullptr) logger->write(level_, stream_.facility(), text_.str());
}

}  // namespace Vorn
