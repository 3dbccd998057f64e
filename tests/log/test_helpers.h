#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "log/log_facility.h"
#include "log/log_stream.h"
#include "log/logger_impl.h"

namespace Vorn {

// Stands in for the logger behind both front ends while it lives; keeps {level, facility, text}.
struct RecordingLogger : Logger {
    using Line = std::tuple<int, std::string, std::string>;
    RecordingLogger() {
        LogFacility::init(this);
        LogStream::init(this);
    }
    ~RecordingLogger() override {
        LogFacility::init(LoggerImpl::instance());
        LogStream::init(LoggerImpl::instance());
    }
    void write(Level level, const std::string& facility, const std::string& text) override {
        lines.emplace_back(level, facility, text);
    }
    std::vector<Line> lines;
};

// What a RecordingAppender saw; it outlives the appender, which the logger deletes.
struct AppenderLog {
    std::vector<Logger::Message> messages;
    std::vector<std::string> events;  // "flush after <messages so far>", "close", "reopen", "delete" in order
    std::atomic<int> flushes{0};
};

struct RecordingAppender : Appender {
    explicit RecordingAppender(AppenderLog& log) : log(log) {}
    ~RecordingAppender() override { log.events.push_back("delete"); }
    void write(Logger::Message* message) override { log.messages.push_back(*message); }
    void flush() override {
        ++log.flushes;
        log.events.push_back("flush after " + std::to_string(log.messages.size()));
    }
    void close() override { log.events.push_back("close"); }
    void reopen() override { log.events.push_back("reopen"); }
    AppenderLog& log;
};

// running is raised by the worker itself, so wait for it before anyone stops it.
inline bool start_worker(LoggerImpl& logger) {
    if (!logger.start()) return false;
    for (int i = 0; i < 100000 && logger.is_stopped(); ++i) Thread::usleep(50);
    return !logger.is_stopped();
}

// `text` with each time stamp that starts a line ("Jan 02 03:04:05 ") replaced by "<stamp> ".
inline std::string unstamped(std::string text) {
    const std::string shape = "Aaa 00 00:00:00 ";  // A: upper case, a: lower case, 0: digit
    const auto fits = [](char s, unsigned char c) -> bool {
        return s == 'A' ? isupper(c) : s == 'a' ? islower(c) : s == '0' ? isdigit(c) : c == s;
    };
    size_t line = 0;
    do {
        size_t i = 0;
        while (i < shape.size() && line + i < text.size() && fits(shape[i], text[line + i])) ++i;
        if (i == shape.size()) text.replace(line, i, "<stamp> ");
    } while ((line = text.find('\n', line) + 1) != 0);  // npos + 1 ends it
    return text;
}

inline std::string thread_hex() {
    char text[16];
    std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(pthread_self()));
    return text;
}

// A fresh directory under the test temporary directory, removed with its contents.
struct TempDir {
    TempDir() : path(testing::TempDir() + "strell-XXXXXX") {
        if (mkdtemp(path.data()) == nullptr) ADD_FAILURE() << "mkdtemp " << path;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TempDir(const TempDir&) = delete;
    std::string file(const std::string& name) const { return path + "/" + name; }
    std::string path;
};

inline std::string read_file(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline void write_file(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

}  // namespace Vorn
