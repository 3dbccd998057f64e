#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

// A path of its own for each process, so that parallel jobs share nothing;
// removed when the process ends normally.
class TempPath {
public:
    explicit TempPath(const char* name) {
        const char* dir = std::getenv("TMPDIR");
        path_ = std::string(dir != nullptr ? dir : "/tmp") + "/" + name + "." + std::to_string(getpid());
    }
    ~TempPath() { std::remove(path_.c_str()); }
    TempPath(const TempPath&) = delete;
    TempPath& operator=(const TempPath&) = delete;
    const std::string& str() const { return path_; }

private:
    std::string path_;
};

}  // namespace fuzz
