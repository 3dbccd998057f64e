#include <iostream>

#include "log/log_stream.h"
#include "tools/vorn_detail/detail_commands.h"

namespace {

// The reader's diagnostics, one per line, straight to standard error.
class StderrLogger : public Vorn::Logger {
public:
    void write(Level, const std::string& facility, const std::string& text) override {
        std::cerr << facility << ": " << text << '\n';
    }
};

}  // namespace

int main(int argc, char** argv) {
    StderrLogger logger;
    Vorn::LogStream::init(&logger);
    const int status = Strell::run_vorn_detail({argv + 1, argv + argc}, std::cin, std::cout, std::cerr);
    Vorn::LogStream::init(nullptr);
    return status;
}
