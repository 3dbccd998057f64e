#pragma once

#include "log/log_stream.h"

namespace Vorn {

// Shared by every parser; its lines are all at the debug level.
extern const LogStream parser_log;

}  // namespace Vorn
