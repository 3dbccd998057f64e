#include "vorn/log/log_front_ends.h"

#include "vorn/log/log_facility.h"
#include "vorn/log/log_stream.h"

namespace Vorn {

void attach_logger(Logger* logger) {
    LogFacility::init(logger);
    LogStream::init(logger);
}

}  // namespace Vorn
