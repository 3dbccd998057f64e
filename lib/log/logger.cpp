#include "vorn/log/logger.h"

#include <ctime>

namespace Vorn {

namespace {
constexpr size_t time_stamp_size = 17;
}

const char* Logger::level_name(int level) {
    static const char* const names[] = {
        "*EMERG ", "*ALERT ", "*CRIT  ", " ERROR ", " Warn  ", " Notice", " Info  ", "?Debug ", "?Trace ",
    };
    if (level < 0 || level > Trace) return "";
    return names[level];
}

std::string Logger::time_stamp() {
    char text[time_stamp_size];
    tm local_time;
    const time_t now = std::time(nullptr);
    localtime_r(&now, &local_time);
    return std::string(text, std::strftime(text, sizeof text, "%b %d %T ", &local_time));
}

}  // namespace Vorn
