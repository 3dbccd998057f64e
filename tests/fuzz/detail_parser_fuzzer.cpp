// Arbitrary bytes as a detail file: probe, then read it record by record and
// again whole with parse(). Both ways must see the same records.
#include <cstdlib>
#include <list>

#include "stat/detailed_info_file_parser.h"
#include "stat/filter.h"
#include "temp_dir.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const StrellTest::TempDir dir;
    const std::string path = dir.write("fuzz.vorn", std::string(reinterpret_cast<const char*>(data), size));
    Vorn::AcceptAllFilter filter;
    std::vector<std::string> one_by_one;
    {
        Vorn::DetailedInfoFileParser parser;
        parser.init(nullptr, &filter);
        parser.probe(path.c_str());
        Vorn::TrafficStat record;
        while (parser.parse_record(record) != 0) one_by_one.push_back(record.to_str_json());
        if (parser.parse_record(record) != 0) std::abort();  // stays at the end
    }
    std::list<Vorn::TrafficStat> output;
    Vorn::DetailedInfoFileParser parser;
    parser.init(&output, &filter);
    if (parser.probe(path.c_str()) != 2) parser.parse();
    std::vector<std::string> whole;
    for (const Vorn::TrafficStat& kept : output) whole.push_back(kept.to_str_json());
    if (whole != one_by_one) std::abort();
    return 0;
}
