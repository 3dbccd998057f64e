#include <gtest/gtest.h>

#include <fstream>
#include <tuple>

#include <nlohmann/json.hpp>

#include "tools/vorn_detail/json_record.h"
#include "vorn_detail_test_util.h"

namespace Strell {
namespace {

using tool_test::TempDir;
using tool_test::vorn_detail;
using Vorn::IP_address;
using Vorn::TrafficStat;

TrafficStat flow(const char* s, const char* d, const char* nexthop, uint32_t seed) {
    TrafficStat r;
    r.s_addr = IP_address::from_string(s);
    r.d_addr = IP_address::from_string(d);
    r.nexthop_addr = IP_address::from_string(nexthop);
    r.iface = uint16_t(seed + 1);
    r.oface = uint16_t(seed + 2);
    r.d_pkt = seed + 3;
    r.d_oct = 4294967295u - seed;
    r.ts_first = seed + 5;
    r.ts_last = seed + 6;
    r.sport = uint16_t(seed + 7);
    r.dport = uint16_t(seed + 8);
    r.tcp_flags = uint8_t(seed + 9);
    r.proto = uint8_t(seed + 10);
    r.tos = uint8_t(seed + 11);
    r.src_as = seed + 70000;
    r.dst_as = seed + 13;
    r.src_mask = uint8_t(seed + 14);
    r.dst_mask = uint8_t(seed + 15);
    r.slink_id = seed + 16;
    r.account_id = seed + 17;
    r.tclass = seed + 19;
    r.timestamp = int32_t(seed) - 20;
    return r;
}

std::string lines(const std::vector<TrafficStat>& records) {
    std::string text;
    for (const TrafficStat& r : records) text += r.to_str_json() + "\n";
    return text;
}

// What the old format reads back; the rest stays as in a fresh record.
TrafficStat old_format_view(const TrafficStat& r) {
    TrafficStat v;
    std::tie(v.s_addr, v.d_addr, v.nexthop_addr, v.d_pkt, v.d_oct, v.sport, v.dport) =
        std::tie(r.s_addr, r.d_addr, r.nexthop_addr, r.d_pkt, r.d_oct, r.sport, r.dport);
    std::tie(v.tcp_flags, v.proto, v.tos, v.slink_id, v.account_id, v.tclass, v.timestamp) =
        std::tie(r.tcp_flags, r.proto, r.tos, r.slink_id, r.account_id, r.tclass, r.timestamp);
    return v;
}

TEST(VornDetail, NewFormatKeepsEveryField) {
    TempDir dir;
    std::vector<TrafficStat> records = {flow("10.0.0.1", "192.0.2.1", "10.0.0.254", 0),
                                        flow("2001:db8::1", "2001:db8::2", "fe80::1", 100),
                                        flow("2001:db8::3", "10.9.8.7", "::", 200)};  // families mixed
    records[0].ip = IP_address::from_string("198.51.100.1");
    records[1].router_ip_netflow_from = IP_address::from_string("2001:db8::fffe");
    records[2].ip = IP_address::from_string("::ffff:1.2.3.4");
    auto input = nlohmann::json::parse(records[0].to_str_json());
    input["login"] = "ignored";
    input["human_timestamp"] = {1, 2};  // ignored whatever its type

    const std::string file = dir.file("new.vorn");
    const auto written = vorn_detail({"write", "--format", "new", file}, input.dump() + "\n\n" + lines({records[1], records[2]}));
    EXPECT_EQ(written.err, file + ": new format, 3 records\n");
    const auto dumped = vorn_detail({"dump", file});
    EXPECT_EQ(dumped.out, lines(records));
    EXPECT_EQ(dumped.err, file + ": new format, 3 records\n");

    ASSERT_EQ(vorn_detail({"write", "--format", "new", dir.file("again.vorn")}, dumped.out).status, 0);
    EXPECT_EQ(vorn_detail({"dump", dir.file("again.vorn")}).out, dumped.out);
}

TEST(VornDetail, OldFormatKeepsTheFieldsItCarries) {
    TempDir dir;
    std::vector<TrafficStat> records = {flow("10.0.0.1", "192.0.2.1", "10.0.0.254", 0),
                                        flow("172.16.0.1", "172.16.0.2", "0.0.0.0", 50)};
    records[0].ip = IP_address::from_string("2001:db8::9");  // not stored, so not refused
    const std::string file = dir.file("old.vorn");
    ASSERT_EQ(vorn_detail({"write", "--format", "old", file}, lines(records)).status, 0);
    EXPECT_EQ(std::filesystem::file_size(file), 2 * 76u);
    const auto dumped = vorn_detail({"dump", file});
    EXPECT_EQ(dumped.err, file + ": old format, 2 records\n");
    EXPECT_EQ(dumped.out, lines({old_format_view(records[0]), old_format_view(records[1])}));

    ASSERT_EQ(vorn_detail({"write", "--format", "old", dir.file("again.vorn")}, dumped.out).status, 0);
    EXPECT_EQ(vorn_detail({"dump", dir.file("again.vorn")}).out, dumped.out);
}

TEST(VornDetail, OldFormatRefusesIPv6Flows) {
    TempDir dir;
    const auto run = vorn_detail({"write", "--format", "old", dir.file("old.vorn")},
                                 lines({flow("10.0.0.1", "10.0.0.2", "0.0.0.0", 0), flow("10.0.0.1", "::2", "0.0.0.0", 0)}));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "vorn-detail: line 2: key \"d_addr\" holds an IPv6 address; the old format carries IPv4 flows only\n");
    EXPECT_EQ(dir.entries(), 0u);
}

TEST(VornDetail, BadInputNamesTheLineAndLeavesNoFile) {
    TempDir dir;
    const std::string good = TrafficStat().to_str_json();
    // A valid line with one key set to a value (given as JSON text) or removed.
    const auto edited = [&good](const char* key, const char* value) {
        auto json = nlohmann::json::parse(good);
        if (value == nullptr)
            json.erase(key);
        else
            json[key] = nlohmann::json::parse(value);
        return json.dump();
    };
    const std::pair<std::string, std::string> cases[] = {
        {"{\"s_addr\":", "invalid JSON at byte 11"},
        {"[1,2]", "expected a JSON object"},
        {"{\"sport\":1e999}", "invalid JSON: number out of range"},
        {edited("sport", nullptr), "missing key \"sport\""},
        {edited("sport", "\"80\""), "key \"sport\" must be an unsigned integer"},
        {edited("d_oct", "-1"), "key \"d_oct\" must be an unsigned integer"},
        {edited("tos", "1.5"), "key \"tos\" must be an unsigned integer"},
        {edited("iface", "65536"), "key \"iface\" must be at most 65535"},
        {edited("timestamp", "2147483648"), "key \"timestamp\" must be a signed 32-bit number"},
        {edited("s_addr", "\"10.0.0.300\""), "key \"s_addr\" is not an IP address: \"10.0.0.300\""},
        {edited("ip", "\"1.2.3.4:80\""), "key \"ip\" is not an IP address: \"1.2.3.4:80\""},
        {edited("d_addr", "7"), "key \"d_addr\" must be a string"},
        {edited("sprot", "7"), "unknown key \"sprot\""},
    };
    const std::string out = dir.file("out.vorn");
    std::ofstream(out) << "before";
    for (const auto& [line, message] : cases) {
        for (const char* format : {"new", "old"}) {
            const auto run = vorn_detail({"write", "--format", format, out}, good + "\n\n" + line + "\n" + good);
            EXPECT_EQ(run.status, 1);
            EXPECT_EQ(run.err, "vorn-detail: line 3: " + message + "\n");
        }
    }
    std::ifstream kept(out);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "before");
    EXPECT_EQ(dir.entries(), 1u);

    const auto nowhere = vorn_detail({"write", "--format", "new", dir.file("none/out.vorn")});
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_EQ(nowhere.err.rfind("vorn-detail: cannot create " + dir.file("none/out.vorn.tmp."), 0), 0u);
    const auto unreadable = vorn_detail({"dump", dir.file("none.vorn")});
    EXPECT_EQ(unreadable.status, 1);
    EXPECT_EQ(unreadable.err, "vorn-detail: " + dir.file("none.vorn") + ": not a readable detail file\n");
}

TEST(VornDetail, HelpDescribesBothCommands) {
    const auto help = vorn_detail({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out, vorn_detail_usage);
    EXPECT_NE(help.out.find("\ndump FILE\n"), std::string::npos);
    EXPECT_NE(help.out.find("\nwrite --format new|old OUT\n"), std::string::npos);
    for (const std::vector<std::string>& args : {std::vector<std::string>{}, {"dump"}, {"write", "new", "x"}}) {
        const auto run = vorn_detail(args);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, vorn_detail_usage);
    }
    EXPECT_EQ(vorn_detail({"write", "--format", "csv", "x"}).err, "vorn-detail: unknown format 'csv' (new or old)\n");
}

// The build writes them from the committed JSON lines.
TEST(VornDetail, SampleFilesHoldTheCommittedRecords) {
    for (const auto& [name, old] : {std::pair{"sample", false}, std::pair{"sample-old", true}}) {
        std::ifstream in(std::string(STRELL_SAMPLE_SOURCE_DIR) + "/" + name + ".jsonl");
        std::vector<TrafficStat> records;
        std::string problem;
        for (std::string line; std::getline(in, line);) {
            ASSERT_TRUE(traffic_stat_from_json(line, records.emplace_back(), problem)) << problem;
            if (old) records.back() = old_format_view(records.back());
        }
        EXPECT_EQ(records.size(), old ? 7u : 12u);
        EXPECT_EQ(vorn_detail({"dump", std::string(STRELL_SAMPLE_DIR) + "/" + name + ".vorn"}).out, lines(records));
    }
}

}  // namespace
}  // namespace Strell
