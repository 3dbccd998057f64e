#include "generator/driver/command_line.h"
#include "generator/driver/run.h"
#include "generator/driver/run_settings.h"
#include "vorn/log/logger_impl.h"

int main(int argc, char* argv[]) {
    if (argc == 1) {
        Strell::print_usage();
        return 0;
    }
    Vorn::LoggerImpl::create();

    Strell::RunSettings settings;
    if (!Strell::parse_command_line(argc, argv, settings)) {
        return 1;
    }
    return Strell::run(settings);
}
