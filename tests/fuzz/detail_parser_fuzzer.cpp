// Arbitrary bytes as a detail file: probe, then read it record by record and
// again whole with parse(). Both ways must see the same records.
#include <cstdlib>
#include <list>

#include "vorn/stat/detailed_info_file_parser.h"
#include "vorn/stat/filter.h"
#include "temp_dir.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const StrellTest::TempDir dir;
    const std::string path = dir.write("fuzz.vorn", std::string(reinterpret_cast<const char*>(data), size));
    Vorn::AcceptAllFilter filter;
    std::vector<std::string> seen[2];  // record by record, then whole with parse()
    std::list<Vorn::TrafficStat> output;
    Vorn::DetailedInfoFileParser one_by_one, whole;
    one_by_one.init(nullptr, &filter), whole.init(&output, &filter);
    one_by_one.probe(path.c_str());
    Vorn::TrafficStat record;
    while (one_by_one.parse_record(record) != 0) seen[0].push_back(record.to_str_json());
    if (one_by_one.parse_record(record) != 0) std::abort();  // stays at the end
    if (whole.probe(path.c_str()) != 2) whole.parse();
    for (const Vorn::TrafficStat& kept : output) seen[1].push_back(kept.to_str_json());
    if (seen[0] != seen[1]) std::abort();
    return 0;
}
