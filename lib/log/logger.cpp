#include "log/logger.h"

namespace Vorn {

const char* Logger::level_name(int level) {
    static const char* const kNames[] = {
        "*EMERG ", "*ALERT ", "*CRIT  ", " ERROR ", " Warn  ", " Notice", " Info  ", "?Debug ", "?Trace ",
    };
    if (level < 0 || level > Trace) return "";
    return kNames[level];
}

}  // namespace Vorn
