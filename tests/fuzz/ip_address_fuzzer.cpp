// Arbitrary text to IP_address::from_string: only the project's own
// exceptions may leave it, the family follows the colon test, and what it
// accepts prints as text that parses back to the same address.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "vorn/net/ip_address.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Vorn::IP_address address;
    try {
        address = Vorn::IP_address::from_string(text);
    } catch (const Vorn::Exception&) {
        Vorn::IP_address::from_string_json(text);  // never throws
        return 0;
    }
    const bool colon = text.find(':') != std::string::npos;
    if ((address.family() == Vorn::IP_address::IPv6) != colon) std::abort();
    if (Vorn::IP_address::from_string(address.to_string()) != address) std::abort();
    if (Vorn::IP_address::from_string_json(text) != address) std::abort();
    return 0;
}
