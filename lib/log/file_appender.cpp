#include "vorn/log/file_appender.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "vorn/log/log_facility.h"
#include "vorn/util/file_utils.h"
#include "vorn/util/thread.h"

#ifndef VORN_VERSION_TEXT
#define VORN_VERSION_TEXT "vorn"
#endif

namespace Vorn {

namespace {

constexpr unsigned long default_max_size = 10485760;

// Leading decimal digits of a rotated file's suffix; anything else counts as 0.
uint64_t suffix_number(const std::string& suffix) {
    if (suffix.empty() || suffix[0] < '0' || suffix[0] > '9') return 0;
    return std::strtoull(suffix.c_str(), nullptr, 10);
}

}  // namespace

FileAppender::~FileAppender() { close(); }

void FileAppender::init(Logger::Level level, const std::string& file_name, bool rotate, unsigned int max_count,
                        unsigned long max_size) {
    set_level(level);
    file_name_ = file_name;
    rotate_ = rotate;
    max_count_ = max_count;
    max_size_ = max_size;
    if (max_size_ == 0 && rotate_) max_size_ = default_max_size;
    open();
}

void FileAppender::open() {
    if (stream_ != nullptr && stream_ != stderr) std::fclose(stream_);
    const LogFacility log("FileAppender");
    stream_ = std::fopen(file_name_.c_str(), "a");
    if (stream_ == nullptr) {
        const int error = errno;
        stream_ = stderr;
        log.log(Logger::Alert, "Unable to open log file '%s': %s", file_name_.c_str(), std::strerror(error));
        throw FileAppenderError("Unable to open log file");
    }

    // Straight into the file, so every log file starts with the build that wrote it.
    std::fprintf(stream_, "%s %x  %s:  %s\n", Logger::time_stamp().c_str(), static_cast<unsigned>(Thread::self_id()),
                 "System version", VORN_VERSION_TEXT);
    log.log(Logger::Info, "Using '%s' file", file_name_.c_str());
}

void FileAppender::write_message(const Logger::Message& message) {
    // Only a critical-level appender echoes to the terminal; one set to a
    // more verbose level does not, though it prints the same messages.
    if (message.level <= Logger::Critical && level() == Logger::Critical && stream_ != stderr) {
        std::fputs(message.header.c_str(), stderr);
        std::fputs(message.text.c_str(), stderr);
    }
    if (stream_ == nullptr) {
        try {
            open();
        } catch (const FileAppenderError&) {
            stream_ = stderr;
        }
    }
    std::fputs(message.header.c_str(), stream_);
    std::fputs(message.text.c_str(), stream_);

    if (!rotate_) return;
    struct stat info;
    if (fstat(fileno(stream_), &info) == 0 && S_ISREG(info.st_mode) &&
        static_cast<uint64_t>(info.st_size) >= max_size_) {
        close_output();
        rotate_logs();
    }
}

void FileAppender::flush_output() {
    if (stream_ != nullptr) std::fflush(stream_);
}

void FileAppender::close_output() {
    if (stream_ != nullptr && stream_ != stderr) std::fclose(stream_);
    stream_ = nullptr;
}

void FileAppender::reopen_output() {
    close_output();
    open();
}

void FileAppender::rotate_logs() {
    const std::string base = file_name_ + ".";
    if (max_count_ > 0) {
        std::remove((base + std::to_string(max_count_)).c_str());
        for (uint32_t i = max_count_ - 1; i >= 1; --i) {
            std::rename((base + std::to_string(i)).c_str(), (base + std::to_string(i + 1)).c_str());
        }
        std::rename(file_name_.c_str(), (base + "1").c_str());
        return;
    }

    const size_t slash = file_name_.find_last_of("/\\");
    const std::string dir = slash == std::string::npos ? "." : file_name_.substr(0, slash);
    const std::string prefix = (slash == std::string::npos ? file_name_ : file_name_.substr(slash + 1)) + ".";
    uint64_t largest = 0;
    for (const std::string& entry : Utils::list_files(dir)) {
        if (entry.compare(0, prefix.size(), prefix) != 0) continue;
        const uint64_t number = suffix_number(entry.substr(prefix.size()));
        if (number > largest) largest = number;
    }
    std::rename(file_name_.c_str(), (base + std::to_string(largest + 1)).c_str());
}

}  // namespace Vorn
