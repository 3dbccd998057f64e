#include <ostream>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/detail_records.h"
#include "tools/vorn_detail/failure.h"

namespace Vorn {

void dump_detail_file(const std::string& path, std::ostream& out, std::ostream& err) {
    unsigned long count = 0;
    const char* format = read_detail_records(path, [&](const TrafficStat& record) {
        out << record.to_str_json() << '\n';
        ++count;
    });
    out.flush();
    if (!out) throw Failure("cannot write standard output");
    err << path << ": " << format << " format, " << count << " records\n";
}

}  // namespace Vorn
