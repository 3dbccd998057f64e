#include "tools/vorn_detail/nfdump_import.h"

#include <istream>
#include <ostream>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/detail_file_writer.h"
#include "tools/vorn_detail/nfdump_flow.h"
#include "tools/vorn_detail/nfdump_reader.h"

namespace Vorn {

namespace {

constexpr unsigned long progress_every = 100000;

}  // namespace

int import_nfdump(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err, bool progress) {
    DetailFileWriter writer(format, path);
    if (!writer.start(in, err)) return exit_failure;

    TrafficStat record;
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
        if (wrong.empty()) writer.add(record, wrong);
        if (!wrong.empty()) return wrong;
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
    if (!writer.commit(err)) return exit_failure;
    err << writer.summary();
    if (others > 0) err << ", " << others << " records of other types skipped";
    err << "\n";
    return exit_ok;
}

}  // namespace Vorn
