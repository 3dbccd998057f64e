#include "vorn/util/file_utils.h"

#include <dirent.h>

#include <cstring>

namespace Vorn {
namespace Utils {

std::vector<std::string> list_files(const std::string& dir) {
    std::vector<std::string> names;
    DIR* stream = opendir(dir.c_str());
    if (stream == nullptr) return names;
    while (const dirent* entry = readdir(stream)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
        names.emplace_back(entry->d_name);
    }
    closedir(stream);
    return names;
}

}  // namespace Utils
}  // namespace Vorn
