#pragma once

#include <atomic>
#include <sstream>
#include <string>

#include "vorn/log/logger.h"

namespace Vorn {

// Stream-style front end: stream(Logger::Debug) << "text" << n; sends one line
// when the temporary OutputBuffer dies at the end of the full expression.
class LogStream {
public:
    class OutputBuffer {
    public:
        OutputBuffer(Logger::Level level, const LogStream& stream) : level_(level), stream_(stream) {}
        OutputBuffer(const OutputBuffer&) = delete;
        OutputBuffer& operator=(const OutputBuffer&) = delete;
        ~OutputBuffer();

        template <typename T>
        OutputBuffer& operator<<(const T& value) {
            text_ << value;
            return *this;
        }

    private:
        Logger::Level level_;
        const LogStream& stream_;
        std::ostringstream text_;
    };

    explicit LogStream(std::string facility) : facility_(std::move(facility)) {}

    OutputBuffer operator()(Logger::Level level) const { return OutputBuffer(level, *this); }
    const std::string& facility() const { return facility_; }

    static void init(Logger* logger);

private:
    static std::atomic<Logger*> logger_queue_;
    std::string facility_;
};

}  // namespace Vorn
