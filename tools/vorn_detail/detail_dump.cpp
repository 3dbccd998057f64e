#include <ostream>

#include "stat/detailed_info_file_parser.h"
#include "stat/filter.h"
#include "tools/vorn_detail/detail_commands.h"

namespace Vorn {

// One TrafficStat is reused as the replay reuses it, so a field that a
// record lacks shows the previous record's value, as strell would send it.
int dump_detail_file(const std::string& path, std::ostream& out, std::ostream& err) {
    AcceptAllFilter filter;
    DetailedInfoFileParser parser;
    parser.init(nullptr, &filter);
    if (parser.probe(path.c_str()) == 2) {
        err << "vorn-detail: " << path << ": not a readable detail file\n";
        return exit_failure;
    }
    const char* format = parser.format_version() == 2 ? "new" : "old";

    TrafficStat record;
    unsigned long count = 0;
    while (parser.parse_record(record) != 0) {
        out << record.to_str_json() << '\n';
        ++count;
    }
    out.flush();
    err << path << ": " << format << " format, " << count << " records\n";
    if (!out) {
        err << "vorn-detail: cannot write standard output\n";
        return exit_failure;
    }
    return exit_ok;
}

}  // namespace Vorn
