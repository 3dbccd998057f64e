#include "tools/vorn_detail/capture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ostream>

#include "tools/nfcapd/capture_files.h"
#include "tools/nfcapd/file_header.h"
#include "tools/vorn_detail/descriptor_stream.h"
#include "tools/vorn_detail/failure.h"
#include "tools/vorn_detail/nfdump_flow.h"
#include "tools/vorn_detail/nfdump_reader.h"

namespace Vorn {

namespace {

// A running count on a terminal, redrawn a few times a second and cleared
// however the reading ends, so that a message printed afterwards stands on a
// line of its own.
class ProgressLine {
public:
    ProgressLine(std::ostream& err, bool shown, size_t files)
        : err_(err), shown_(shown), files_(files), start_(Clock::now()), drawn_(start_) {}
    ~ProgressLine() {
        if (written_) err_ << "\r\033[K" << std::flush;
    }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void count(size_t file) {
        // The clock is looked at every few thousand flows only.
        if (++flows_ % 4096 != 0 || !shown_) return;
        const Clock::time_point now = Clock::now();
        if (now - drawn_ < std::chrono::milliseconds(250)) return;
        drawn_ = now;
        const double seconds = std::chrono::duration<double>(now - start_).count();
        err_ << "\r\033[Kfile " << file << " of " << files_ << ", " << flows_ << " flows, "
             << static_cast<unsigned long>(flows_ / seconds) << " flows/s" << std::flush;
        written_ = true;
    }

private:
    using Clock = std::chrono::steady_clock;
    std::ostream& err_;
    bool shown_;
    size_t files_;
    Clock::time_point start_, drawn_;
    unsigned long flows_ = 0;
    bool written_ = false;
};

}  // namespace

Capture::Capture(const std::vector<std::string>& paths, std::istream& in, std::ostream& err, bool progress)
    : in_(in), err_(err), progress_(progress) {
    for (const std::string& path : paths.empty() ? std::vector<std::string>{"-"} : paths) {
        if (path == "-") {
            require_standard_input(in);
            files_.push_back(path);
            continue;
        }
        struct stat info;
        if (::stat(path.c_str(), &info) != 0) throw Failure("cannot open " + path + ": " + std::strerror(errno));
        if (!S_ISDIR(info.st_mode)) {
            files_.push_back(path);
            continue;
        }
        std::vector<std::string> found;
        const std::string wrong = capture_files(path, found);
        if (!wrong.empty()) throw Failure(wrong);
        files_.insert(files_.end(), found.begin(), found.end());
    }
}

void Capture::read(const Visit& visit) {
    ProgressLine line(err_, progress_, files_.size());
    for (size_t file = 0; file < files_.size(); ++file) {
        const Visit counted = [&](const TrafficStat& flow, unsigned long ordinal) {
            line.count(file + 1);
            return visit(flow, ordinal);
        };
        if (files_[file] == "-") {
            read_input("standard input", in_, counted);
            continue;
        }
        const int fd = ::open(files_[file].c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) throw Failure("cannot open " + files_[file] + ": " + std::strerror(errno));
        DescriptorStream stream(fd, files_[file], true);
        read_input(files_[file], stream, counted);
    }
}

void Capture::read_input(const std::string& name, std::istream& in, const Visit& visit) {
    const auto first = in.peek();
    if (first != std::istream::traits_type::eof() && starts_as_nfcapd(static_cast<unsigned char>(first))) {
        // Ordinals as in nfdump's JSON of the file: events count.
        const unsigned long before = ordinal_ - nfcapd_.flows() - nfcapd_.events(), events = nfcapd_.events();
        const bool read = nfcapd_.read(in, name, [&](const TrafficStat& flow) {
            return visit(flow, before + nfcapd_.flows() + nfcapd_.events() + 1);
        });
        if (!read) throw Failure(nfcapd_.problem());
        ordinal_ = before + nfcapd_.flows() + nfcapd_.events();
        others_ += nfcapd_.events() - events;
        return;
    }
    // Ordinals go on from the inputs before.
    const unsigned long before = ordinal_;
    TrafficStat record;
    NfdumpReader reader;
    const bool read = reader.read(in, [&](const nlohmann::json& object, unsigned long ordinal) {
        bool is_flow = false;
        const std::string wrong = traffic_stat_from_nfdump(object, record, is_flow);
        if (!wrong.empty()) return wrong;
        if (!is_flow) {
            ++others_;
            return wrong;
        }
        return visit(record, before + ordinal);
    });
    if (!read) throw Failure(name + ": " + reader.problem());
    ordinal_ = before + reader.objects();
}

}  // namespace Vorn
