// Arbitrary bytes as an nfcapd file: the reader either reads it or says in
// one line, naming the file, what is wrong; every flow it yields is counted
// and renders.
#include <cstdlib>
#include <sstream>

#include "tools/nfcapd/nfcapd_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    static Vorn::NfcapdReader reader;  // one, as for the files of a directory: its buffers are kept
    const unsigned long before = reader.flows();
    unsigned long visited = 0;
    const bool read = reader.read(in, "fuzz", [&visited](const Vorn::TrafficStat& flow) {
        ++visited;
        return flow.to_str_json().empty() ? std::string("no JSON") : std::string();
    });
    const std::string& problem = reader.problem();
    if (read != problem.empty() || visited != reader.flows() - before) std::abort();
    if (!read && (problem.rfind("fuzz: ", 0) != 0 || problem.find('\n') != std::string::npos)) std::abort();
    return 0;
}
