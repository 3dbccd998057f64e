#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <ostream>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/json_record.h"

namespace Strell {

namespace {

// The temporary file beside the output; removed unless committed.
class PendingFile {
public:
    explicit PendingFile(const std::string& path) : path_(path), temp_(path + ".tmp.XXXXXX") {
        const int fd = mkstemp(temp_.data());
        if (fd < 0) return;
        // mkstemp makes the file private; give it the mode a plain create would.
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(fd, 0666 & ~mask);
        file_ = fdopen(fd, "wb");
        if (file_ == nullptr) ::close(fd);
    }
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile() {
        if (committed_) return;
        if (file_ != nullptr) std::fclose(file_);
        std::remove(temp_.c_str());
    }

    bool open() const { return file_ != nullptr; }
    const std::string& temp_name() const { return temp_; }

    bool write(const std::vector<unsigned char>& bytes) {
        return bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size();
    }

    // errno tells what failed when false.
    bool commit() {
        const int closed = std::fclose(file_);
        file_ = nullptr;
        if (closed != 0 || std::rename(temp_.c_str(), path_.c_str()) != 0) return false;
        committed_ = true;
        return true;
    }

private:
    std::string path_;
    std::string temp_;
    FILE* file_ = nullptr;
    bool committed_ = false;
};

bool blank(const std::string& line) { return line.find_first_not_of(" \t\r") == std::string::npos; }

}  // namespace

int write_detail_file(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err) {
    PendingFile file(path);
    if (!file.open()) {
        err << "vorn-detail: cannot create " << file.temp_name() << ": " << std::strerror(errno) << "\n";
        return exit_failure;
    }
    const DetailEncoder encoder(format);
    bool written = file.write(encoder.header());

    std::string line;
    std::string problem;
    std::vector<unsigned char> bytes;
    Vorn::TrafficStat record;
    unsigned long line_number = 0;
    unsigned long count = 0;
    while (written && std::getline(in, line)) {
        ++line_number;
        if (blank(line)) continue;
        bool accepted = traffic_stat_from_json(line, record, problem);
        if (accepted) {
            problem = encoder.refusal(record);
            accepted = problem.empty();
        }
        if (!accepted) {
            err << "vorn-detail: line " << line_number << ": " << problem << "\n";
            return exit_failure;
        }
        bytes.clear();
        encoder.append_record(record, bytes);
        written = file.write(bytes);
        ++count;
    }
    if (!written || in.bad() || !file.commit()) {
        err << "vorn-detail: cannot write " << path << ": " << std::strerror(errno) << "\n";
        return exit_failure;
    }
    err << path << ": " << (format == DetailFormat::New ? "new" : "old") << " format, " << count << " records\n";
    return exit_ok;
}

}  // namespace Strell
