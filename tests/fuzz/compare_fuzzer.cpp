// Arbitrary text as the capture of 'vorn-detail compare', against the detail
// file imported from the sample capture (its seed): bad input is one line on
// standard error and no report; a report accounts for every flow once, its
// counts adding up to the flows sent and stored and to its lines of each kind.
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "temp_dir.h"
#include "tools/vorn_detail/detail_commands.h"

namespace {

const StrellTest::TempDir dir;

// The sample's flows as a detail file, and their number.
const std::string& sent_file(unsigned long& flows) {
    static unsigned long count = 0;
    static const std::string path = [] {
        std::ifstream sample(STRELL_SAMPLE_CAPTURE);
        std::ostringstream out, err;
        if (Vorn::run_vorn_detail({"import", "--format", "new", dir.file("sent.vorn")}, sample, out, err) != 0) std::abort();
        count = std::strtoul(err.str().c_str() + dir.file("sent.vorn").size() + 13, nullptr, 10);
        return dir.file("sent.vorn");
    }();
    flows = count;
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    unsigned long sent = 0;
    const std::string& file = sent_file(sent);
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    std::ostringstream out, err;
    // The first byte picks the version; v5 carries the masks and IPv4 only.
    const char* version = size > 0 && data[0] % 2 == 0 ? "v5" : "v9";
    const int status = Vorn::run_vorn_detail({"compare", "--sent-as", version, file}, in, out, err);
    const std::string report = out.str(), message = err.str();
    if (status == 1) {
        if (!report.empty() || message.rfind("vorn-detail: ", 0) != 0 || message.find('\n') + 1 != message.size()) std::abort();
        return 0;
    }
    if (status != 0 && status != 3) std::abort();
    std::map<std::string, unsigned long> lines;
    std::istringstream read(report);
    std::string line, last;
    while (std::getline(read, line)) ++lines[line.substr(0, line.find(' '))], last = line;
    unsigned long counted = 0, stored = 0, equal = 0, missing = 0, extra = 0, differing = 0;
    if (status == 0) {
        if (std::sscanf(last.c_str(), "equal: %lu flows", &counted) != 1 || lines["missing"] + lines["extra"] + lines["differs"] != 0) std::abort();
        equal = stored = counted;
    } else if (std::sscanf(last.c_str(), "not equal: %lu sent, %lu stored; %lu equal, %lu missing, %lu extra, %lu differing", &counted,
                           &stored, &equal, &missing, &extra, &differing) != 6) {
        std::abort();
    }
    const bool adds_up = counted <= sent && equal + missing + differing == counted && equal + extra + differing == stored &&
                         lines["missing"] == missing && lines["extra"] == extra && lines["differs"] == differing;
    if (!adds_up) std::abort();
    return 0;
}
