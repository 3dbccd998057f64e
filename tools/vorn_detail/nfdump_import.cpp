#include "tools/vorn_detail/nfdump_import.h"

#include <ostream>

#include "tools/vorn_detail/capture.h"
#include "tools/vorn_detail/detail_file_writer.h"

namespace Vorn {

namespace {

constexpr unsigned long progress_every = 100000;

// A running count on a terminal, cleared however the import ends, so that a
// message printed afterwards stands on a line of its own.
class ProgressLine {
public:
    ProgressLine(std::ostream& err, bool shown) : err_(err), shown_(shown) {}
    ~ProgressLine() {
        if (written_) err_ << "\r\033[K";
    }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(unsigned long flows, unsigned long ordinal) {
        if (!shown_ || flows % progress_every != 0) return;
        err_ << "\rflow " << ordinal << std::flush;
        written_ = true;
    }

private:
    std::ostream& err_;
    bool shown_;
    bool written_ = false;
};

}  // namespace

void import_capture(DetailFormat format, const std::string& path, Capture& capture, std::ostream& err,
                    bool progress) {
    DetailFileWriter writer(format, path, "flow");
    {
        ProgressLine line(err, progress);
        unsigned long flows = 0;
        capture.read([&](const TrafficStat& record, unsigned long ordinal) {
            std::string refusal = writer.add(record, ordinal);
            if (refusal.empty()) line.show(++flows, ordinal);
            return refusal;
        });
    }
    const unsigned long others = capture.others();
    writer.commit(err, others > 0 ? ", " + std::to_string(others) + " records of other types skipped" : "");
}

}  // namespace Vorn
