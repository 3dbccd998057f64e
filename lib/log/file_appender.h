#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "vorn/log/base_appender.h"
#include "vorn/log/logger.h"
#include "vorn/util/exception.h"

namespace Vorn {

class FileAppenderError : public Exception {
public:
    explicit FileAppenderError(const std::string& text) : Exception("FileAppenderError: " + text) {}
};

// Writes log lines to a file, optionally rotating it by size into F.1, F.2, ...
class FileAppender : public BaseAppender {
public:
    ~FileAppender() override;

    // Throws FileAppenderError when the file cannot be opened.
    void init(Logger::Level level, const std::string& file_name, bool rotate, unsigned int max_count,
              unsigned long max_size);
    // Takes no lock of its own: it runs at set-up and under the lock.
    void open();
    void rotate_logs();

private:
    void write_message(const Logger::Message& message) override;
    void flush_output() override;
    void close_output() override;
    void reopen_output() override;

    std::string file_name_;
    bool rotate_ = false;
    uint32_t max_count_ = 0;
    uint64_t max_size_ = 0;
    // Standard error after a failed open; null between a rotation and the next write.
    FILE* stream_ = nullptr;
};

}  // namespace Vorn
