#include <ostream>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/detail_records.h"

namespace Vorn {

int dump_detail_file(const std::string& path, std::ostream& out, std::ostream& err) {
    const char* format = nullptr;
    unsigned long count = 0;
    const bool read = read_detail_records(path, err, format, [&](const TrafficStat& record) {
        out << record.to_str_json() << '\n';
        ++count;
    });
    if (!read) return exit_failure;
    out.flush();
    err << path << ": " << format << " format, " << count << " records\n";
    if (!out) {
        err << "vorn-detail: cannot write standard output\n";
        return exit_failure;
    }
    return exit_ok;
}

}  // namespace Vorn
