#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace Vorn {

// A fresh directory under the test temporary directory, removed with its contents.
class TempDir {
public:
    TempDir() {
        std::string pattern = testing::TempDir() + "strell-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp " << pattern;
        path_ = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void write_file(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline bool file_exists(const std::string& path) { return std::filesystem::exists(path); }

}  // namespace Vorn
