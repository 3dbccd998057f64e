#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tools/vorn_detail/detail_commands.h"

namespace tool_test {

struct Run {
    int status;
    std::string out;
    std::string err;
};

inline Run vorn_detail(const std::vector<std::string>& args, const std::string& input = std::string()) {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    const int status = Strell::run_vorn_detail(args, in, out, err);
    return {status, out.str(), err.str()};
}

// A fresh directory for one test, removed with everything in it.
class TempDir {
public:
    TempDir() {
        const char* base = std::getenv("TMPDIR");
        std::string path = std::string(base != nullptr ? base : "/tmp") + "/vorn_detail_test_XXXXXX";
        EXPECT_NE(mkdtemp(path.data()), nullptr);
        path_ = path;
        setenv("TZ", "UTC", 1);
        tzset();
    }
    ~TempDir() { std::filesystem::remove_all(path_); }
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    size_t entries() const {
        const std::filesystem::directory_iterator all(path_);
        return size_t(std::distance(begin(all), end(all)));
    }

private:
    std::filesystem::path path_;
};

}  // namespace tool_test
