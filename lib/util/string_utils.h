#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

namespace Vorn {

// printf into a string of whatever length the text needs.
std::string pf_str(const char* format, ...) __attribute__((format(printf, 1, 2)));
// The same for an argument list; `args` is only copied, the caller still ends it.
std::string vpf_str(const char* format, va_list args) __attribute__((format(printf, 1, 0)));
std::string itoa(int value);
std::string ftoa(float value, int precision);
std::string to_hex_string(const void* data, size_t length);
std::string tolower(const std::string& text);

}  // namespace Vorn
