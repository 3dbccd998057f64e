#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace StrellTest {

inline std::string read_file(const std::string& path) { return (std::ostringstream() << std::ifstream(path).rdbuf()).str(); }

// A fresh directory under $TMPDIR (or /tmp), removed with everything in it.
struct TempDir {
    std::string path = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + "/strell-test-XXXXXX";
    TempDir() { ::mkdtemp(path.data()); }
    ~TempDir() { std::error_code ignored; std::filesystem::remove_all(path, ignored); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string file(const std::string& name) const { return path + "/" + name; }
    // Writes the file and returns its path.
    std::string write(const std::string& name, const std::string& bytes) const {
        return std::ofstream(file(name), std::ios::binary) << bytes, file(name);
    }
};

}  // namespace StrellTest
