// Arbitrary bytes as a configuration file: import, then look up every key a
// line could name through the three forms of get, the character-buffer one
// into buffers of exactly 1 to 8 bytes so that a write past `size` is caught.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>
#include <vector>

#include "vorn/config/vorn_config.h"
#include "temp_dir.h"

void check_key(const Vorn::VornConfig& config, std::string key) {
    std::string value;
    std::vector<std::string> values;
    config.get(key, value), config.get(key, values);
    const auto blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    if (!value.empty() && (blank(value.front()) || blank(value.back()) || values.empty() || values.front().find(value) == std::string::npos))
        std::abort();
    for (long size = 1; size <= 8; ++size) {
        std::vector<char> out(size_t(size), '\x7f');
        config.get(key.data(), out.data(), int(size));
        const std::string expected = value.empty() ? std::string(1, '\0') : value.substr(0, size_t(size));
        if (std::string(out.data(), expected.size()) != expected || std::count(out.begin() + long(expected.size()), out.end(), '\x7f') != size - long(expected.size()))
            std::abort();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const StrellTest::TempDir dir;
    const std::string text(reinterpret_cast<const char*>(data), size);
    Vorn::VornConfig config("fuzz", dir.file("pid"));
    if (config.import(dir.write("config", text)) != 0) std::abort();
    std::istringstream lines(text);
    check_key(config, "absent key");
    // What stands before the first "=" of each line, as it is and without blanks at its ends; the
    // character-string form of get ends at a zero byte.
    for (std::string line; std::getline(lines, line);) {
        const std::string key = line.substr(0, line.find('=')).c_str();
        check_key(config, key);
        const size_t first = key.find_first_not_of(" \r"), last = key.find_last_not_of(" \t\r\v\f");
        if (first != std::string::npos && last != std::string::npos && first <= last) check_key(config, key.substr(first, last - first + 1));
    }
    return 0;
}
