#pragma once

#include <map>
#include <string>
#include <vector>

#include "vorn/log/log_facility.h"

namespace Vorn {

// Key = value configuration of the daemons, and the process's pid file.
// Failures are logged under the facility name and reported by return codes.
class VornConfig : public LogFacility {
public:
    static constexpr int import_failed = 1;  // error flag bit: a file could not be opened

    VornConfig(const std::string& facility, const std::string& pid_file);
    VornConfig(const VornConfig&) = delete;
    VornConfig& operator=(const VornConfig&) = delete;
    // Removes the pid file whether or not this object wrote it.
    ~VornConfig() override;

    // 0, or -1 when the file cannot be opened. Values only accumulate.
    int import(const std::string& file_name);

    void set(std::string key, std::string value);
    // Null pointers raise std::logic_error.
    void set(char* key, char* value);

    // The first value with white space trimmed; empty when there is none.
    void get(std::string key, std::string& value) const;
    // Copies at most `size` characters of the first value and adds no
    // terminating zero; an empty value writes a single zero byte.
    void get(char* key, char* out, int size) const;
    void get(std::string key, std::vector<std::string>& values) const;

    // Drops leading blanks, CR and LF (tabs stay) and trailing CR and LF.
    static void trim(char* line);

    // 0, or 22 on failure.
    int pid_create();
    int pid_delete();

    int errors() const { return errors_; }

private:
    std::string pid_file_;
    int errors_ = 0;
    std::map<std::string, std::vector<std::string>> settings_;
};

}  // namespace Vorn
