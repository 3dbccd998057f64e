#include <istream>
#include <ostream>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/json_record.h"
#include "tools/vorn_detail/output_file.h"

namespace Vorn {

namespace {

bool blank(const std::string& line) { return line.find_first_not_of(" \t\r") == std::string::npos; }

}  // namespace

int write_detail_file(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err) {
    // A closed standard input is no input at all, not an empty one.
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
    if (in.bad()) {
        err << "vorn-detail: cannot read standard input\n";
        return exit_failure;
    }
    if (!written || !file.commit()) {
        err << "vorn-detail: " << file.error() << "\n";
        return exit_failure;
    }
    err << path << ": " << (format == DetailFormat::New ? "new" : "old") << " format, " << count << " records\n";
    return exit_ok;
}

}  // namespace Vorn
