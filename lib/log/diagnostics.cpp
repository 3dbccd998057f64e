#include "vorn/log/diagnostics.h"

#include <execinfo.h>

#include <cstdlib>

#include "vorn/log/log_stream.h"

namespace Vorn {

namespace {

constexpr int max_frames = 256;

const LogStream& trace_stream() {
    static const LogStream stream("trace");
    return stream;
}

const LogStream& util_log_stream() {
    static const LogStream stream("util_log");
    return stream;
}

}  // namespace

void print_backtrace() {
    void* frames[max_frames];
    const int count = backtrace(frames, max_frames);
    char** symbols = backtrace_symbols(frames, count);

    const LogStream& stream = trace_stream();
    stream(Logger::Trace) << "Obtained " << count << " stack frames.";
    for (int i = 0; i < count; ++i) {
        const char* symbol = (symbols != nullptr && symbols[i] != nullptr) ? symbols[i] : "";
        stream(Logger::Trace) << symbol;
    }
    std::free(symbols);
}

void print_log(std::string text) {
    util_log_stream()(Logger::Debug) << text;
    print_backtrace();
}

}  // namespace Vorn
