#include "util/string_utils.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <sstream>

namespace Vorn {

namespace {
constexpr size_t kFormatStep = 1024;
// Room kept free at the end of the buffer; a result that reaches it counts as cut.
constexpr size_t kFormatSlack = 16;
}  // namespace

std::string pf_str(const char* format, ...) {
    size_t size = kFormatStep;
    char* buffer = static_cast<char*>(std::malloc(size));
    va_list args;
    va_start(args, format);
    for (;;) {
        va_list attempt;
        va_copy(attempt, args);
        const int length = std::vsnprintf(buffer, size, format, attempt);
        va_end(attempt);
        if (length < static_cast<int>(size - kFormatSlack)) break;
        std::free(buffer);
        size += kFormatStep;
        buffer = static_cast<char*>(std::malloc(size));
    }
    va_end(args);
    std::string result(buffer);
    std::free(buffer);
    return result;
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
    static const char kDigits[] = "0123456789abcdef";
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    std::string result;
    result.reserve(length * 2);
    for (size_t i = 0; i < length; ++i) {
        result += kDigits[bytes[i] >> 4];
        result += kDigits[bytes[i] & 0x0f];
    }
    return result;
}

std::string tolower(const std::string& text) {
    std::string result(text);
    for (char& c : result) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return result;
}

}  // namespace Vorn
