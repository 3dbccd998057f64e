#include "tools/nfcapd/capture_files.h"

#include <algorithm>
#include <filesystem>

namespace Vorn {

std::string capture_files(const std::string& directory, std::vector<std::string>& files) {
    namespace fs = std::filesystem;
    std::error_code error;
    std::vector<std::string> found;
    for (fs::recursive_directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename().string();
        std::error_code unreadable;  // a dangling link, say: not a capture file
        if (name.rfind("nfcapd.", 0) == 0 && name.rfind("nfcapd.current.", 0) != 0 && it->is_regular_file(unreadable))
            found.push_back(it->path().string());
    }
    if (error) return "cannot read " + directory + ": " + error.message();
    if (found.empty()) return directory + ": no capture files (nfcapd.*) in it";
    std::sort(found.begin(), found.end());
    files = std::move(found);
    return std::string();
}

}  // namespace Vorn
