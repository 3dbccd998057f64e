#include "tools/vorn_detail/detail_records.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace Vorn {

void require_detail_file(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) throw Failure("cannot read " + path + ": " + std::strerror(errno));
    const char* kind = nullptr;
    if (S_ISDIR(info.st_mode)) kind = "a directory";
    if (S_ISFIFO(info.st_mode)) kind = "a FIFO (a detail file is read by seeking: copy the stream to a file first)";
    if (S_ISSOCK(info.st_mode)) kind = "a socket";
    if (kind != nullptr) throw Failure("cannot read " + path + ": " + kind);
}

}  // namespace Vorn
