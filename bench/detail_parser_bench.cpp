// parse_record on both detail-file formats, the reading half of a replay.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "sample_flows.h"
#include "vorn/stat/detail_encoder.h"
#include "vorn/stat/detailed_info_file_parser.h"
#include "vorn/stat/filter.h"

namespace {

constexpr size_t file_records = 100000;

// A detail file of file_records IPv4 flows in the format, written once per
// process into the temporary directory and removed at exit.
const std::string& detail_file(Vorn::DetailFormat format) {
    struct File {
        std::string path;
        ~File() {
            if (!path.empty()) std::remove(path.c_str());
        }
    };
    static File files[2];
    File& file = files[format == Vorn::DetailFormat::New ? 0 : 1];
    if (file.path.empty()) {
        const char* dir = std::getenv("TMPDIR");
        std::string path = std::string(dir != nullptr ? dir : "/tmp") + "/strell-bench-XXXXXX";
        std::vector<char> name(path.begin(), path.end());
        name.push_back('\0');
        const int fd = mkstemp(name.data());
        if (fd < 0) {
            std::perror("mkstemp");
            std::exit(1);
        }
        const Vorn::DetailEncoder encoder(format);
        std::vector<unsigned char> bytes = encoder.header();
        for (size_t i = 0; i < file_records; ++i) encoder.append_record(StrellBench::sample_flow(i), bytes);
        if (write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
            std::perror("write");
            std::exit(1);
        }
        close(fd);
        file.path = name.data();
    }
    return file.path;
}

void BM_ParseRecord(benchmark::State& state) {
    const auto format = state.range(0) != 0 ? Vorn::DetailFormat::New : Vorn::DetailFormat::Old;
    const std::string& path = detail_file(format);
    Vorn::AcceptAllFilter filter;
    auto parser = std::make_unique<Vorn::DetailedInfoFileParser>();
    parser->init(nullptr, &filter);
    parser->probe(path.c_str());
    Vorn::TrafficStat record;
    for (auto _ : state) {
        if (parser->parse_record(record) == 0) {
            // The end of the file: start it again, outside the timing.
            state.PauseTiming();
            parser = std::make_unique<Vorn::DetailedInfoFileParser>();
            parser->init(nullptr, &filter);
            parser->probe(path.c_str());
            state.ResumeTiming();
        }
        benchmark::DoNotOptimize(record.d_oct);
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(format == Vorn::DetailFormat::New ? "new format" : "old format");
}
BENCHMARK(BM_ParseRecord)->Arg(1)->Arg(0);

}  // namespace
