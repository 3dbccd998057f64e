#include <istream>
#include <ostream>

#include "tools/vorn_detail/descriptor_stream.h"
#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/detail_file_writer.h"
#include "tools/vorn_detail/failure.h"
#include "tools/vorn_detail/json_record.h"

namespace Vorn {

namespace {

bool blank(const std::string& line) { return line.find_first_not_of(" \t\r") == std::string::npos; }

}  // namespace

void write_detail_file(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err) {
    // Before the output is opened, so that it cannot take the closed descriptor.
    require_standard_input(in);
    DetailFileWriter writer(format, path, "line");
    std::string line;
    std::string problem;
    TrafficStat record;
    unsigned long line_number = 0;
    while (std::getline(in, line)) {
        ++line_number;
        if (blank(line)) continue;
        if (!traffic_stat_from_json(line, record, problem) || !(problem = writer.add(record, line_number)).empty())
            throw Failure("line " + std::to_string(line_number) + ": " + problem);
    }
    if (in.bad()) throw Failure("cannot read standard input");
    writer.commit(err);
}

}  // namespace Vorn
