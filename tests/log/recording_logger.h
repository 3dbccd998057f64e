#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "log/log_facility.h"
#include "log/logger_impl.h"

namespace Vorn {

// Stands in for the logger behind LogFacility while it lives, keeping every line.
class RecordingLogger : public Logger {
public:
    struct Line {
        int level;
        std::string facility;
        std::string text;
        bool operator==(const Line& other) const {
            return level == other.level && facility == other.facility && text == other.text;
        }
    };

    RecordingLogger() { LogFacility::init(this); }
    ~RecordingLogger() override { LogFacility::init(LoggerImpl::instance()); }

    void write(Level level, const std::string& facility, const std::string& text) override {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back({level, facility, text});
    }

    std::vector<Line> lines() {
        std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

private:
    std::mutex mutex_;
    std::vector<Line> lines_;
};

inline std::ostream& operator<<(std::ostream& out, const RecordingLogger::Line& line) {
    return out << line.level << " " << line.facility << ": " << line.text;
}

}  // namespace Vorn
