#include "vorn/config/vorn_config.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Vorn {

namespace {

constexpr size_t line_size = 4096;
constexpr int pid_error = 22;

bool is_trimmed_lead(char c) { return c == ' ' || c == '\r' || c == '\n'; }
bool is_trimmed_tail(char c) { return c == '\r' || c == '\n'; }

std::string trim_spaces(const std::string& text) {
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
    while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
    return text.substr(begin, end - begin);
}

}  // namespace

VornConfig::VornConfig(const std::string& facility, const std::string& pid_file)
    : LogFacility(facility), pid_file_(pid_file) {}

VornConfig::~VornConfig() { pid_delete(); }

void VornConfig::trim(char* line) {
    size_t lead = 0;
    while (is_trimmed_lead(line[lead])) ++lead;
    size_t length = std::strlen(line + lead);
    std::memmove(line, line + lead, length + 1);
    while (length > 0 && is_trimmed_tail(line[length - 1])) line[--length] = '\0';
}

int VornConfig::import(const std::string& file_name) {
    FILE* file = std::fopen(file_name.c_str(), "r");
    if (file == nullptr) {
        log(Logger::Error, "%s: %s", file_name.c_str(), std::strerror(errno));
        errors_ |= import_failed;
        return -1;
    }
    log(Logger::Info, "Processing config file: %s", file_name.c_str());

    char line[line_size];
    int line_number = 0;
    while (std::fgets(line, sizeof line, file) != nullptr) {
        ++line_number;
        trim(line);
        if (line[0] == '\0' || line[0] == '#' || line[0] == ';' || line[0] == '[') continue;
        char* equals = std::strchr(line, '=');
        if (equals == nullptr) {
            log(Logger::Error, "Import: parse error at line %d", line_number);
            continue;
        }
        *equals = '\0';
        char* value = equals + 1;
        trim(line);
        trim(value);
        // "key = value" must give the key "key": the blanks before "=" go,
        // while a leading tab stays part of the key.
        size_t key_length = std::strlen(line);
        while (key_length > 0 && std::isspace(static_cast<unsigned char>(line[key_length - 1]))) {
            line[--key_length] = '\0';
        }
        set(line, value);
    }
    std::fclose(file);
    return 0;
}

void VornConfig::set(std::string key, std::string value) { settings_[std::move(key)].push_back(std::move(value)); }

void VornConfig::set(char* key, char* value) { set(std::string(key), std::string(value)); }

void VornConfig::get(std::string key, std::string& value) const {
    const auto found = settings_.find(key);
    if (found == settings_.end() || found->second.empty()) {
        value.clear();
        return;
    }
    value = trim_spaces(found->second.front());
}

void VornConfig::get(char* key, char* out, int size) const {
    std::string value;
    get(std::string(key), value);
    if (value.empty()) {
        *out = '\0';
        return;
    }
    // Deliberately no terminating zero: callers pass zero-filled buffers.
    const size_t count = size > 0 ? std::min(value.size(), static_cast<size_t>(size)) : 0;
    std::memcpy(out, value.data(), count);
}

void VornConfig::get(std::string key, std::vector<std::string>& values) const {
    const auto found = settings_.find(key);
    if (found == settings_.end()) {
        values.clear();
        return;
    }
    values = found->second;
}

int VornConfig::pid_create() {
    struct stat info;
    if (stat(pid_file_.c_str(), &info) == 0) log(Logger::Info, "Pid file found: %s; Overwriting", pid_file_.c_str());

    // Not truncated: a shorter pid leaves the tail of the old one in place.
    const int fd = ::open(pid_file_.c_str(), O_RDWR | O_CREAT, 0644);
    if (fd < 0) {
        log(Logger::Error, "Can't open pid file %s: %s", pid_file_.c_str(), std::strerror(errno));
        return pid_error;
    }
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%d", static_cast<int>(getpid()));
    const ssize_t written = ::write(fd, text, static_cast<size_t>(length));
    if (written < length) {
        log(Logger::Error, "Can't write to pid file %s: %s", pid_file_.c_str(), std::strerror(errno));
        unlink(pid_file_.c_str());
        ::close(fd);
        return pid_error;
    }
    ::close(fd);
    return 0;
}

int VornConfig::pid_delete() {
    struct stat info;
    // The same text as pid_create's, kept as it reads.
    if (stat(pid_file_.c_str(), &info) == 0) log(Logger::Info, "Pid file found: %s; Overwriting", pid_file_.c_str());
    if (unlink(pid_file_.c_str()) != 0) {
        log(Logger::Error, "Can't unlink pid file %s: %s", pid_file_.c_str(), std::strerror(errno));
        return pid_error;
    }
    return 0;
}

}  // namespace Vorn
