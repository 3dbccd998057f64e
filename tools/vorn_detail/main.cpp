#include <iostream>

#include "vorn/log/log_front_ends.h"
#include "vorn/log/logger.h"
#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/standard_descriptors.h"

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
    const bool input_closed = Vorn::occupy_closed_standard_descriptors();
    std::istream no_input(nullptr);  // bad from the start
    StderrLogger logger;
    Vorn::attach_logger(&logger);
    const int status =
        Vorn::run_vorn_detail({argv + 1, argv + argc}, input_closed ? no_input : std::cin, std::cout, std::cerr);
    Vorn::attach_logger(nullptr);
    return status;
}
