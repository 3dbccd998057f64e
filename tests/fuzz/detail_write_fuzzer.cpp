// Arbitrary text as the standard input of 'vorn-detail write': the first
// byte 'o' picks the old format, anything else the new one. Whatever is
// written must read back as the lines said.
#include <sys/stat.h>

#include <cstdio>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz_temp_path.h"
#include "stat/detailed_info_file_parser.h"
#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/json_record.h"

namespace {

using Vorn::TrafficStat;

// What the old format reads back: the rest stays as a fresh record has it.
TrafficStat old_format_view(const TrafficStat& r) {
    TrafficStat v;
    v.s_addr = r.s_addr;
    v.d_addr = r.d_addr;
    v.nexthop_addr = r.nexthop_addr;
    v.d_pkt = r.d_pkt;
    v.d_oct = r.d_oct;
    v.sport = r.sport;
    v.dport = r.dport;
    v.tcp_flags = r.tcp_flags;
    v.proto = r.proto;
    v.tos = r.tos;
    v.slink_id = r.slink_id;
    v.account_id = r.account_id;
    v.tclass = r.tclass;
    v.timestamp = r.timestamp;
    return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const fuzz::TempPath out_path("detail_write_fuzz");
    const std::string& out = out_path.str();
    std::remove(out.c_str());

    const bool old = size > 0 && data[0] == 'o';
    const std::string text = size > 0 ? std::string(reinterpret_cast<const char*>(data) + 1, size - 1) : std::string();
    std::istringstream in(text);
    std::ostringstream err;
    const int status =
        Strell::write_detail_file(old ? Strell::DetailFormat::Old : Strell::DetailFormat::New, out, in, err);

    struct stat info;
    const bool exists = stat(out.c_str(), &info) == 0;
    if (status != 0) {
        if (exists) std::abort();  // no partial file
        return 0;
    }

    std::vector<std::string> expected;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        TrafficStat r;
        std::string problem;
        if (!Strell::traffic_stat_from_json(line, r, problem)) std::abort();
        expected.push_back((old ? old_format_view(r) : r).to_str_json());
    }

    std::ostringstream dumped;
    std::ostringstream dump_err;
    const int dump_status = Strell::dump_detail_file(out, dumped, dump_err);
    std::vector<std::string> got;
    std::istringstream dumped_lines(dumped.str());
    for (std::string line; std::getline(dumped_lines, line);) got.push_back(line);
    // A file of no records is refused by probe: nothing to read back then.
    if (expected.empty() ? got.size() != 0 : (dump_status != 0 || got != expected)) std::abort();
    return 0;
}
