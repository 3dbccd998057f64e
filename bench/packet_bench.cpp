// Serialisation and field-list building: the per-record work of both managers
// without any socket.
#include <benchmark/benchmark.h>

#include <vector>

#include "generator/netflow/data_flowset_records.h"
#include "generator/netflow/netflow_v5_packet.h"
#include "generator/netflow/raw_data.h"
#include "generator/netflow/strell_record.h"
#include "sample_flows.h"

namespace {

using Strell::RawData;

void BM_V5PacketSerialize30(benchmark::State& state) {
    Strell::Netflow_v5_Packet packet(5, 1, 0, 56, "");
    for (size_t i = 0; i < 30; ++i) packet.add_record(StrellBench::sample_flow(i));
    for (auto _ : state) {
        RawData out;
        packet.serialize(out);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 30);
    state.SetBytesProcessed(state.iterations() * 1464);
}
BENCHMARK(BM_V5PacketSerialize30);

// Filling the packet the v5 manager sends: 30 detail-file flows.
void BM_V5PacketAdd30(benchmark::State& state) {
    Strell::Netflow_v5_Packet packet(5, 1, 0, 56, "");
    Vorn::TrafficStat flows[30];
    for (size_t i = 0; i < 30; ++i) flows[i] = StrellBench::sample_flow(i);
    for (auto _ : state) {
        packet.clear();
        for (const auto& flow : flows) packet.add_record(flow);
        benchmark::DoNotOptimize(packet.records_count());
    }
    state.SetItemsProcessed(state.iterations() * 30);
}
BENCHMARK(BM_V5PacketAdd30);

// A fresh record per flow whose field list is then read.
void BM_StrellRecordFromFlow(benchmark::State& state) {
    const auto flow = StrellBench::sample_flow(7, state.range(0) != 0);
    for (auto _ : state) {
        Strell::StrellRecord record(flow);
        benchmark::DoNotOptimize(record.data().data());
        benchmark::DoNotOptimize(record.fields().data());
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel(state.range(0) != 0 ? "IPv6" : "IPv4");
}
BENCHMARK(BM_StrellRecordFromFlow)->Arg(0)->Arg(1);

// 37 IPv4 records into a data flowset field by field, as the synthetic v9
// run builds its packet, and out into a datagram.
void BM_DataFlowset37(benchmark::State& state) {
    std::vector<Strell::StrellRecord> records;
    for (size_t i = 0; i < 37; ++i) records.emplace_back(StrellBench::sample_flow(i));
    Strell::DataFlowsetRecords flowset;
    for (auto _ : state) {
        flowset.clear();
        for (const auto& record : records) flowset.add_record(record.data());
        RawData out;
        flowset.serialize(out);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 37);
}
BENCHMARK(BM_DataFlowset37);

}  // namespace
