// Arbitrary bytes as a configuration file: import, then look up every key a
// line could name through the three forms of get, the character-buffer one
// into buffers of exactly 1 to 8 bytes so that a write past `size` is caught.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "config/vorn_config.h"
#include "temp_dir.h"

namespace {

bool spaced_at_an_end(const std::string& text) {
    return !text.empty() && (std::isspace(static_cast<unsigned char>(text.front())) ||
                             std::isspace(static_cast<unsigned char>(text.back())));
}

void check_key(const Vorn::VornConfig& config, std::string key) {
    key = key.c_str();  // the character-string form ends at a zero byte
    std::string value;
    std::vector<std::string> values;
    config.get(key, value);
    config.get(key, values);
    if (spaced_at_an_end(value) || (values.empty() && !value.empty())) std::abort();
    if (!values.empty() && values.front().find(value) == std::string::npos) std::abort();
    for (int size = 1; size <= 8; ++size) {
        std::vector<char> out(static_cast<size_t>(size), '\x7f');
        config.get(key.data(), out.data(), size);
        const size_t copied = value.empty() ? 1 : std::min(value.size(), static_cast<size_t>(size));
        const std::string expected = value.empty() ? std::string(1, '\0') : value.substr(0, copied);
        if (std::string(out.data(), copied) != expected) std::abort();
        if (std::count(out.begin() + long(copied), out.end(), '\x7f') != size - long(copied)) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const StrellTest::TempDir dir;
    Vorn::VornConfig config("fuzz", dir.file("pid"));
    if (config.import(dir.write("config", std::string(reinterpret_cast<const char*>(data), size))) != 0) std::abort();

    // Candidate keys: what stands before the first "=" of each line, as it is
    // and without blanks at its ends.
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> keys = {"", "absent key"};
    for (size_t begin = 0; begin < text.size() && keys.size() < 64;) {
        size_t end = text.find('\n', begin);
        if (end == std::string::npos) end = text.size();
        const std::string line = text.substr(begin, end - begin);
        const size_t equals = line.find('=');
        if (equals != std::string::npos) {
            const std::string key = line.substr(0, equals);
            const size_t first = key.find_first_not_of(" \r"), last = key.find_last_not_of(" \t\r\v\f");
            keys.push_back(key);
            if (first != std::string::npos && last != std::string::npos && first <= last) {
                keys.push_back(key.substr(first, last - first + 1));
            }
        }
        begin = end + 1;
    }
    for (const std::string& key : keys) check_key(config, key);

    // trim keeps a piece of its line with no blank, CR or LF in front and no CR or LF behind.
    std::vector<char> line(text.begin(), text.end());
    line.push_back('\0');
    Vorn::VornConfig::trim(line.data());
    const std::string trimmed = line.data();
    if (std::string(text.c_str()).find(trimmed) == std::string::npos) std::abort();
    if (!trimmed.empty() && (std::strchr(" \r\n", trimmed.front()) || std::strchr("\r\n", trimmed.back()))) std::abort();
    return 0;
}
