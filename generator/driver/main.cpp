#include "generator/driver/command_line.h"
#include "generator/driver/driver.h"
#include "generator/driver/run_settings.h"
#include "generator/driver/synthetic_send.h"
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
    const auto manager = Strell::start_packet_manager(settings);
    if (settings.detail_file_mode) {
        return Strell::replay_detail_file(settings, *manager);
    }
    return Strell::send_synthetic(settings);
}
