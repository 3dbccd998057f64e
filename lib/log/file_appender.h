#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

#include "log/appender.h"
#include "log/logger.h"
#include "util/exception.h"

namespace Vorn {

class FileAppenderError : public Exception {
public:
    explicit FileAppenderError(const std::string& text) : Exception("FileAppenderError: " + text) {}
};

// Writes log lines to a file, optionally rotating it by size into F.1, F.2, ...
class FileAppender : public Appender {
public:
    FileAppender() = default;
    FileAppender(const FileAppender&) = delete;
    FileAppender& operator=(const FileAppender&) = delete;

    // Throws FileAppenderError when the file cannot be opened.
    void init(Logger::Level level, const std::string& file_name, bool rotate, unsigned int max_count,
              unsigned long max_size);
    // Takes no lock of its own: write() calls it with the mutex held.
    void open();

    void write(Logger::Message* message) override;
    void flush() override;
    void close() override;
    void reopen() override;
    ~FileAppender() override;

    void rotate_logs();

private:
    void close_stream();

    Logger::Level level_ = Logger::Trace;
    std::string file_name_;
    bool rotate_ = false;
    uint32_t max_count_ = 0;
    uint64_t max_size_ = 0;
    // Standard error after a failed open; null between a rotation and the next write.
    FILE* stream_ = nullptr;
    std::mutex mutex_;
};

}  // namespace Vorn
