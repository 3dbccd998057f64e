#pragma once

namespace Vorn {

class VornConfig;

// Creates the process-wide logger and its outputs from the configuration's
// logger keys (log_file_main, log_level, rotate_logs, ...); see init_logger
// in log/logger_setup.h for what is made of them.
void init_logger(VornConfig* config);

}  // namespace Vorn
