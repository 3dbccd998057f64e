#include "generator/driver/number_parsing.h"

#include <cctype>
#include <climits>
#include <cstdlib>

namespace Strell {

namespace {

bool is_binary_digit(char c) { return c == '0' || c == '1'; }

// Digits after a "0b" prefix, saturating like strtol at LONG_MAX or LONG_MIN.
long read_binary(const char* digits, bool negative) {
    const unsigned long limit = negative ? static_cast<unsigned long>(LONG_MAX) + 1UL : LONG_MAX;
    unsigned long value = 0;
    bool overflow = false;
    for (; is_binary_digit(*digits); ++digits) {
        const unsigned long bit = static_cast<unsigned long>(*digits - '0');
        if (value > (limit - bit) / 2) {
            overflow = true;
        } else {
            value = value * 2 + bit;
        }
    }
    if (overflow) {
        return negative ? LONG_MIN : LONG_MAX;
    }
    if (negative) {
        // -(LONG_MAX + 1) does not fit the unsigned-to-signed path below.
        return value == limit ? LONG_MIN : -static_cast<long>(value);
    }
    return static_cast<long>(value);
}

}  // namespace

long read_number(const char* text, int base) {
    if (base == 0) {
        const char* p = text;
        while (std::isspace(static_cast<unsigned char>(*p))) {
            ++p;
        }
        const bool negative = *p == '-';
        if (*p == '-' || *p == '+') {
            ++p;
        }
        // Without a binary digit after it, "0b" is the number 0 and text "b...".
        if (p[0] == '0' && (p[1] == 'b' || p[1] == 'B') && is_binary_digit(p[2])) {
            return read_binary(p + 2, negative);
        }
    }
    return std::strtol(text, nullptr, base);
}

}  // namespace Strell
