#include <unistd.h>

#include <iostream>
#include <set>
#include <string>

#include "vorn/log/log_front_ends.h"
#include "vorn/log/logger.h"
#include "tools/vorn_detail/descriptor_stream.h"
#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/standard_descriptors.h"

namespace {

// The reader's diagnostics, one per line, straight to standard error; each
// once, since compare reads its file several times.
class StderrLogger : public Vorn::Logger {
public:
    void write(Level, const std::string& facility, const std::string& text) override {
        std::string line = facility + ": " + text + '\n';
        if (written_.insert(line).second) std::cerr << line;
    }

private:
    std::set<std::string> written_;
};

}  // namespace

int main(int argc, char** argv) {
    const bool input_closed = Vorn::occupy_closed_standard_descriptors();
    Vorn::DescriptorStream standard_input(input_closed ? -1 : STDIN_FILENO, "standard input", false);
    StderrLogger logger;
    Vorn::attach_logger(&logger);
    const int status = Vorn::run_vorn_detail({argv + 1, argv + argc}, standard_input, std::cout, std::cerr);
    Vorn::attach_logger(nullptr);
    return status;
}
