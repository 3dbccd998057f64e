// Arbitrary bytes as an nfcapd file, read as from a pipe: the reader either
// reads it or says in one line, naming the file, what is wrong; every flow it
// yields is counted and renders.
#include <cstdio>
#include <cstdlib>

#include "tools/nfcapd/nfcapd_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;  // fmemopen refuses an empty buffer
    std::FILE* file = fmemopen(const_cast<uint8_t*>(data), size, "rb");
    if (file == nullptr) std::abort();
    static Vorn::NfcapdReader reader;  // one, as for the files of a directory: its buffers are kept
    const unsigned long before = reader.flows();
    unsigned long visited = 0;
    const bool read = reader.read(file, "fuzz", [&visited](const Vorn::TrafficStat& flow) {
        ++visited;
        return flow.to_str_json().empty() ? std::string("no JSON") : std::string();
    });
    std::fclose(file);
    const std::string& problem = reader.problem();
    if (read != problem.empty() || visited != reader.flows() - before) std::abort();
    if (!read && (problem.rfind("fuzz: ", 0) != 0 || problem.find('\n') != std::string::npos)) std::abort();
    return 0;
}
