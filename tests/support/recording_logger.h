#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "vorn/log/log_facility.h"
#include "vorn/log/log_stream.h"
#include "vorn/log/logger_impl.h"

namespace StrellTest {

// Stands in for the logger behind both front ends while it lives, keeping
// every line as {level, facility, text}.
struct RecordingLogger : Vorn::Logger {
    using Line = std::tuple<int, std::string, std::string>;
    std::vector<Line> lines;
    RecordingLogger() { Vorn::LogFacility::init(this), Vorn::LogStream::init(this); }
    ~RecordingLogger() override {
        Vorn::LogFacility::init(Vorn::LoggerImpl::instance()), Vorn::LogStream::init(Vorn::LoggerImpl::instance());
    }
    void write(Level level, const std::string& facility, const std::string& text) override { lines.emplace_back(level, facility, text); }
};

}  // namespace StrellTest
