// Arbitrary text as nfdump's JSON output for 'vorn-detail import': bad input
// must leave no file, and a file written must read back with every flow the
// import counted.
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "temp_dir.h"
#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/nfdump_import.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const StrellTest::TempDir dir;
    const std::string out = dir.file("import.vorn");
    std::remove(out.c_str());

    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    std::ostringstream err;
    const int status = Strell::import_nfdump(Strell::DetailFormat::New, out, in, err, false);
    struct stat info;
    const bool exists = stat(out.c_str(), &info) == 0;
    if (status != 0) {
        if (exists) std::abort();
        return 0;
    }
    // "OUT: new format, N records..."
    const unsigned long flows = std::strtoul(err.str().c_str() + out.size() + 13, nullptr, 10);
    std::ostringstream dumped, dump_err;
    Strell::dump_detail_file(out, dumped, dump_err);
    const std::string text = dumped.str();
    unsigned long lines = 0;
    for (char c : text) lines += c == '\n';
    if (!exists || lines != flows) std::abort();
    return 0;
}
