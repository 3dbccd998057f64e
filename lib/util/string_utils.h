#pragma once

#include <cstddef>
#include <string>

namespace Vorn {

std::string pf_str(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string itoa(int value);
std::string ftoa(float value, int precision);
std::string to_hex_string(const void* data, size_t length);
std::string tolower(const std::string& text);

}  // namespace Vorn
