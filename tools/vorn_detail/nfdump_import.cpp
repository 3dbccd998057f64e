#include "tools/vorn_detail/nfdump_import.h"

#include <istream>
#include <ostream>
#include <vector>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/nfdump_flow.h"
#include "tools/vorn_detail/nfdump_reader.h"
#include "tools/vorn_detail/output_file.h"

namespace Vorn {

namespace {

constexpr unsigned long progress_every = 100000;

}  // namespace

int import_nfdump(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err, bool progress) {
    if (!in.good()) {
        err << "vorn-detail: cannot read standard input: it is closed\n";
        return exit_failure;
    }
    OutputFile file(path);
    if (!file.open()) {
        err << "vorn-detail: " << file.error() << "\n";
        return exit_failure;
    }
    const DetailEncoder encoder(format);
    bool written = file.write(encoder.header());

    Vorn::TrafficStat record;
    std::vector<unsigned char> bytes;
    unsigned long flows = 0;
    unsigned long others = 0;
    NfdumpReader reader;
    const bool read = reader.read(in, [&](const nlohmann::json& object, unsigned long ordinal) {
        bool is_flow = false;
        std::string wrong = traffic_stat_from_nfdump(object, record, is_flow);
        if (wrong.empty() && !is_flow) {
            ++others;
            return wrong;
        }
        if (wrong.empty()) wrong = encoder.refusal(record);
        if (!wrong.empty()) return wrong;
        bytes.clear();
        encoder.append_record(record, bytes);
        if (!file.write(bytes)) return file.error();
        if (++flows % progress_every == 0 && progress) err << "\rflow " << ordinal << std::flush;
        return std::string();
    });
    if (progress && flows >= progress_every) err << "\r\033[K";
    if (!read) {
        err << "vorn-detail: " << reader.problem() << "\n";
        return exit_failure;
    }
    if (in.bad()) {
        err << "vorn-detail: cannot read the input\n";
        return exit_failure;
    }
    if (!written || !file.commit()) {
        err << "vorn-detail: " << file.error() << "\n";
        return exit_failure;
    }
    err << path << ": " << (format == DetailFormat::New ? "new" : "old") << " format, " << flows << " records";
    if (others > 0) err << ", " << others << " records of other types skipped";
    err << "\n";
    return exit_ok;
}

}  // namespace Vorn
