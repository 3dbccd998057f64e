// Arbitrary bytes as a detail file: probe, then read it record by record and
// again whole with parse(). Both ways must see the same records.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>
#include <vector>

#include "fuzz_temp_path.h"
#include "stat/detailed_info_file_parser.h"
#include "stat/filter.h"

namespace {

// Addresses compare with their family.
bool same(const Vorn::TrafficStat& a, const Vorn::TrafficStat& b) {
    return a.s_addr == b.s_addr && a.d_addr == b.d_addr && a.nexthop_addr == b.nexthop_addr && a.iface == b.iface &&
           a.oface == b.oface && a.d_pkt == b.d_pkt && a.d_oct == b.d_oct && a.ts_first == b.ts_first &&
           a.ts_last == b.ts_last && a.sport == b.sport && a.dport == b.dport && a.tcp_flags == b.tcp_flags &&
           a.proto == b.proto && a.tos == b.tos && a.src_as == b.src_as && a.dst_as == b.dst_as &&
           a.src_mask == b.src_mask && a.dst_mask == b.dst_mask && a.slink_id == b.slink_id &&
           a.account_id == b.account_id && a.ip == b.ip && a.tclass == b.tclass && a.timestamp == b.timestamp &&
           a.router_ip_netflow_from == b.router_ip_netflow_from;
}

const std::string& file_path() {
    static const fuzz::TempPath path("detail_parser_fuzz");
    return path.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FILE* file = std::fopen(file_path().c_str(), "wb");
    if (file == nullptr) std::abort();
    if (size > 0 && std::fwrite(data, 1, size, file) != size) std::abort();
    std::fclose(file);

    Vorn::AcceptAllFilter filter;
    std::vector<Vorn::TrafficStat> one_by_one;
    {
        Vorn::DetailedInfoFileParser parser;
        parser.init(nullptr, &filter);
        parser.probe(file_path().c_str());
        Vorn::TrafficStat record;
        while (parser.parse_record(record) != 0) one_by_one.push_back(record);
        if (parser.parse_record(record) != 0) std::abort();  // stays at the end
    }

    std::list<Vorn::TrafficStat> output;
    Vorn::DetailedInfoFileParser parser;
    parser.init(&output, &filter);
    if (parser.probe(file_path().c_str()) != 2) {
        parser.parse();
    }
    if (output.size() != one_by_one.size()) std::abort();
    auto record = one_by_one.begin();
    for (const Vorn::TrafficStat& kept : output) {
        if (!same(kept, *record++)) std::abort();
    }
    return 0;
}
