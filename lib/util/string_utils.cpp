#include "vorn/util/string_utils.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iomanip>
#include <sstream>

namespace Vorn {

std::string vpf_str(const char* format, va_list args) {
    // Most texts fit the first attempt; a longer one is formatted again into
    // a string of the length the first attempt reported.
    char buffer[1024];
    va_list attempt;
    va_copy(attempt, args);
    const int length = std::vsnprintf(buffer, sizeof buffer, format, attempt);
    va_end(attempt);
    if (length < 0) return std::string();  // an encoding error
    if (static_cast<size_t>(length) < sizeof buffer) return std::string(buffer);

    std::string text(static_cast<size_t>(length), '\0');
    va_copy(attempt, args);
    std::vsnprintf(&text[0], text.size() + 1, format, attempt);
    va_end(attempt);
    text.resize(std::strlen(text.c_str()));  // up to the first zero byte, as the short form reads
    return text;
}

std::string pf_str(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = vpf_str(format, args);
    va_end(args);
    return text;
}

std::string itoa(int value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

std::string ftoa(float value, int precision) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(precision) << static_cast<double>(value);
    return out.str();
}

std::string to_hex_string(const void* data, size_t length) {
    static const char digits[] = "0123456789abcdef";
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    std::string result;
    result.reserve(length * 2);
    for (size_t i = 0; i < length; ++i) {
        result += digits[bytes[i] >> 4];
        result += digits[bytes[i] & 0x0f];
    }
    return result;
}

std::string tolower(const std::string& text) {
    std::string result(text);
    for (char& c : result) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return result;
}

}  // namespace Vorn
