#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace Strell {

// The temporary file beside an output path; removed unless committed, so
// a command that stops on bad input leaves no partial file.
class PendingFile {
public:
    explicit PendingFile(const std::string& path);
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile();

    bool open() const { return file_ != nullptr; }
    const std::string& temp_name() const { return temp_; }

    bool write(const std::vector<unsigned char>& bytes);

    // Closes and renames onto the path; errno tells what failed when false.
    bool commit();

private:
    std::string path_;
    std::string temp_;
    FILE* file_ = nullptr;
    bool committed_ = false;
};

}  // namespace Strell
