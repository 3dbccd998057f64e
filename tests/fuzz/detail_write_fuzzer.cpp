// Arbitrary text as the standard input of 'vorn-detail write': the first
// byte 'o' picks the old format, anything else the new one. Whatever is
// written must read back as the lines said; nothing is left on failure.
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include <nlohmann/json.hpp>

#include "temp_dir.h"
#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/json_record.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const StrellTest::TempDir dir;
    const std::string out = dir.file("fuzz.vorn"), text(reinterpret_cast<const char*>(data) + (size > 0), size - (size > 0));
    const bool old = size > 0 && data[0] == 'o';
    std::filesystem::remove(out);
    std::istringstream in(text), lines(text);
    std::ostringstream err, dumped;
    if (Vorn::run_vorn_detail({"write", "--format", old ? "old" : "new", out}, in, dumped, err) != 0) {
        if (std::filesystem::exists(out)) std::abort();  // no partial file
        return 0;
    }
    std::string expected, problem;
    for (std::string line; std::getline(lines, line);) {
        Vorn::TrafficStat record;
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        if (!Vorn::traffic_stat_from_json(line, record, problem)) std::abort();
        auto json = nlohmann::json::parse(record.to_str_json());
        // What the old format does not carry reads back as in a fresh record.
        for (const char* key : {"iface", "oface", "ts_first", "ts_last", "src_as", "dst_as", "src_mask", "dst_mask", "ip", "router_ip_netflow_from"})
            if (old) json[key] = json[key].is_string() ? nlohmann::json("0.0.0.0") : nlohmann::json(0);
        expected += json.dump() + "\n";
    }
    // A file of no records is refused by probe: nothing to read back then.
    const int status = Vorn::run_vorn_detail({"dump", out}, in, dumped, err);
    if (expected.empty() ? !dumped.str().empty() : (status != 0 || dumped.str() != expected)) std::abort();
    return 0;
}
