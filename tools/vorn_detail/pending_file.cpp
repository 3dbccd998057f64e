#include "tools/vorn_detail/pending_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace Strell {

PendingFile::PendingFile(const std::string& path) : path_(path), temp_(path + ".tmp.XXXXXX") {
    const int fd = mkstemp(temp_.data());
    if (fd < 0) return;
    // mkstemp makes the file private; give it the mode a plain create would.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    file_ = fdopen(fd, "wb");
    if (file_ == nullptr) ::close(fd);
}

PendingFile::~PendingFile() {
    if (committed_) return;
    if (file_ != nullptr) std::fclose(file_);
    std::remove(temp_.c_str());
}

bool PendingFile::write(const std::vector<unsigned char>& bytes) {
    return bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size();
}

bool PendingFile::commit() {
    const int closed = std::fclose(file_);
    file_ = nullptr;
    if (closed != 0 || std::rename(temp_.c_str(), path_.c_str()) != 0) return false;
    committed_ = true;
    return true;
}

}  // namespace Strell
