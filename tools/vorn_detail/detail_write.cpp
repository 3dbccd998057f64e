#include <cerrno>
#include <cstring>
#include <istream>
#include <ostream>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/json_record.h"
#include "tools/vorn_detail/pending_file.h"

namespace Strell {

namespace {

bool blank(const std::string& line) { return line.find_first_not_of(" \t\r") == std::string::npos; }

}  // namespace

int write_detail_file(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err) {
    PendingFile file(path);
    if (!file.open()) {
        err << "vorn-detail: cannot create " << file.temp_name() << ": " << std::strerror(errno) << "\n";
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
    if (!written || in.bad() || !file.commit()) {
        err << "vorn-detail: cannot write " << path << ": " << std::strerror(errno) << "\n";
        return exit_failure;
    }
    err << path << ": " << (format == DetailFormat::New ? "new" : "old") << " format, " << count << " records\n";
    return exit_ok;
}

}  // namespace Strell
