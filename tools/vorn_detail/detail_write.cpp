#include <istream>
#include <ostream>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/detail_file_writer.h"
#include "tools/vorn_detail/json_record.h"

namespace Vorn {

namespace {

bool blank(const std::string& line) { return line.find_first_not_of(" \t\r") == std::string::npos; }

}  // namespace

int write_detail_file(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err) {
    DetailFileWriter writer(format, path);
    if (!writer.start(in, err)) return exit_failure;

    std::string line;
    std::string problem;
    TrafficStat record;
    unsigned long line_number = 0;
    while (writer.writing() && std::getline(in, line)) {
        ++line_number;
        if (blank(line)) continue;
        if ((!traffic_stat_from_json(line, record, problem) || !writer.add(record, problem)) && writer.writing()) {
            err << "vorn-detail: line " << line_number << ": " << problem << "\n";
            return exit_failure;
        }
    }
    if (in.bad()) {
        err << "vorn-detail: cannot read standard input\n";
        return exit_failure;
    }
    if (!writer.commit(err)) return exit_failure;
    err << writer.summary() << "\n";
    return exit_ok;
}

}  // namespace Vorn
