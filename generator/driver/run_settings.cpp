#include "generator/driver/run_settings.h"

#include <ctime>

namespace Strell {

RunSettings::RunSettings() {
    gettimeofday(&start_time, nullptr);
    collector.address = Vorn::IP_address::from_string("127.0.0.1");
    collector.port = 9996;
    export_start = static_cast<uint32_t>(std::time(nullptr));
}

}  // namespace Strell
