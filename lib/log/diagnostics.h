#pragma once

#include <string>

namespace Vorn {

// Logs the calling thread's stack at trace level under the facility "trace".
void print_backtrace();
// Logs the text at debug level under the facility "util_log", then the stack.
void print_log(std::string text);

}  // namespace Vorn
