#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "vorn/log/log_front_ends.h"
#include "vorn/log/logger_impl.h"

namespace StrellTest {

// Stands in for the logger behind both front ends while it lives, keeping
// every line as {level, facility, text}.
struct RecordingLogger : Vorn::Logger {
    using Line = std::tuple<int, std::string, std::string>;
    std::vector<Line> lines;
    RecordingLogger() { Vorn::attach_logger(this); }
    ~RecordingLogger() override { Vorn::attach_logger(Vorn::LoggerImpl::instance()); }
    void write(Level level, const std::string& facility, const std::string& text) override { lines.emplace_back(level, facility, text); }
};

}  // namespace StrellTest
