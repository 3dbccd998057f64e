// Arbitrary bytes as the capture of 'vorn-detail import', nfdump's JSON or
// an nfcapd file by the first byte (seeded with both): bad input must leave
// no file, and a file written must read back with every flow the import
// counted.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "temp_dir.h"
#include "tools/vorn_detail/detail_commands.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const StrellTest::TempDir dir;
    const std::string out = dir.file("import.vorn");
    std::filesystem::remove(out);
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    std::ostringstream err, dumped, dump_err;
    const int status = Vorn::run_vorn_detail({"import", "--format", "new", out}, in, dumped, err);
    if (std::filesystem::exists(out) != (status == 0)) std::abort();
    if (status != 0) return 0;
    // "OUT: new format, N records..."
    const long flows = std::strtol(err.str().c_str() + out.size() + 13, nullptr, 10);
    Vorn::run_vorn_detail({"dump", out}, in, dumped, dump_err);
    const std::string lines = dumped.str();
    if (std::count(lines.begin(), lines.end(), '\n') != flows) std::abort();
    return 0;
}
