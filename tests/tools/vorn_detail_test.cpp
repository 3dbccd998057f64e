#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

#include <nlohmann/json.hpp>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/json_record.h"

namespace Strell {
namespace {

using Bytes = std::vector<unsigned char>;
using Vorn::IP_address;
using Vorn::TrafficStat;

struct Run { int status; std::string out, err; };

Run vorn_detail(const std::vector<std::string>& args, const std::string& input = std::string()) {
    std::istringstream in(input);
    std::ostringstream out, err;
    const int status = run_vorn_detail(args, in, out, err);
    return {status, out.str(), err.str()};
}

// A fresh directory for one test, removed with everything in it.
struct TempDir {
    std::filesystem::path path;
    TempDir() {
        const char* base = std::getenv("TMPDIR");
        std::string name = std::string(base != nullptr ? base : "/tmp") + "/vorn_detail_test_XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        path = name;
    }
    ~TempDir() { std::filesystem::remove_all(path); }
    std::string file(const char* name) const { return (path / name).string(); }
};

// Every number differs from the others; d_oct and src_as need 32 bits.
TrafficStat flow(const char* s, const char* d, const char* nexthop, uint32_t seed) {
    TrafficStat r;
    std::tie(r.s_addr, r.d_addr, r.nexthop_addr) =
        std::tuple(IP_address::from_string(s), IP_address::from_string(d), IP_address::from_string(nexthop));
    std::tie(r.iface, r.oface, r.d_pkt, r.ts_first, r.ts_last, r.sport, r.dport, r.tcp_flags, r.proto, r.tos) =
        std::tuple(seed + 1, seed + 2, seed + 3, seed + 5, seed + 6, seed + 7, seed + 8, seed + 9, seed + 10, seed + 11);
    std::tie(r.d_oct, r.src_as, r.dst_as, r.src_mask, r.dst_mask, r.slink_id, r.account_id, r.tclass, r.timestamp) =
        std::tuple(~seed, seed + 70000, seed + 13, seed + 14, seed + 15, seed + 16, seed + 17, seed + 19, int32_t(seed) - 20);
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

// The old format reads back only part of each record; the new one all but login.
TEST(VornDetail, DumpWriteDumpRoundTripsInBothFormats) {
    TempDir dir;
    std::vector<TrafficStat> v4 = {flow("10.0.0.1", "192.0.2.1", "10.0.0.254", 0),
                                   flow("172.16.0.1", "172.16.0.2", "0.0.0.0", 50)};
    v4[0].ip = IP_address::from_string("2001:db8::9");  // not stored in the old format, so not refused there
    std::vector<TrafficStat> mixed = {v4[0], v4[1], flow("2001:db8::1", "2001:db8::2", "fe80::1", 100),
                                      flow("2001:db8::3", "10.9.8.7", "::", 200)};
    mixed[2].router_ip_netflow_from = IP_address::from_string("2001:db8::fffe");
    mixed[3].ip = IP_address::from_string("::ffff:1.2.3.4");
    auto first = nlohmann::json::parse(v4[0].to_str_json());
    first["login"] = "ignored";
    first["human_timestamp"] = {1, 2};  // ignored whatever its type
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"new", first.dump() + "\n\n" + lines({mixed[1], mixed[2], mixed[3]}), lines(mixed)},
        {"old", lines(v4), lines({old_format_view(v4[0]), old_format_view(v4[1])})}};
    for (const auto& [format, input, expected] : cases) {
        const std::string file = dir.file(format), again = dir.file("again");
        const size_t count = std::count(expected.begin(), expected.end(), '\n');
        EXPECT_EQ(vorn_detail({"write", "--format", format, file}, input).err,
                  file + ": " + format + " format, " + std::to_string(count) + " records\n");
        const auto dumped = vorn_detail({"dump", file});
        EXPECT_EQ(dumped.out, expected);
        ASSERT_EQ(vorn_detail({"write", "--format", format, again}, dumped.out).status, 0);
        EXPECT_EQ(vorn_detail({"dump", again}).out, expected);
    }
    EXPECT_EQ(std::filesystem::file_size(dir.file("old")), 2 * 76u);
}

TEST(VornDetail, BadInputAndIPv6InOldNameTheLineAndLeaveNoFile) {
    TempDir dir;
    const std::string good = TrafficStat().to_str_json();
    // A valid line with one key set to a value (given as JSON text) or removed.
    const auto edited = [&good](const char* key, const char* value) {
        auto json = nlohmann::json::parse(good);
        if (value == nullptr) json.erase(key); else json[key] = nlohmann::json::parse(value);
        return json.dump();
    };
    const std::pair<std::string, std::string> cases[] = {
        {"{\"s_addr\":", "invalid JSON at byte 11"},
        {"{\"sport\":1e999}", "invalid JSON: number out of range"},
        {edited("sport", nullptr), "missing key \"sport\""},
        {edited("sport", "\"80\""), "key \"sport\" must be an unsigned integer"},
        {edited("iface", "65536"), "key \"iface\" must be at most 65535"},
        {edited("timestamp", "2147483648"), "key \"timestamp\" must be a signed 32-bit number"},
        {edited("s_addr", "\"10.0.0.300\""), "key \"s_addr\" is not an IP address: \"10.0.0.300\""},
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
    const auto v6 = vorn_detail({"write", "--format", "old", out}, good + "\n" + edited("d_addr", "\"::2\""));
    EXPECT_EQ(v6.status, 1);
    EXPECT_EQ(v6.err, "vorn-detail: line 2: key \"d_addr\" holds an IPv6 address; the old format carries IPv4 flows only\n");
    std::ifstream kept(out);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "before");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path), {}), 1);  // no temporary left
    const auto unreadable = vorn_detail({"dump", dir.file("none.vorn")});
    EXPECT_EQ(unreadable.err, "vorn-detail: " + dir.file("none.vorn") + ": not a readable detail file\n");
}

TEST(VornDetail, HelpDescribesBothCommands) {
    const auto help = vorn_detail({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out, vorn_detail_usage);
    EXPECT_NE(help.out.find("\ndump FILE\n"), std::string::npos);
    EXPECT_NE(help.out.find("\nwrite --format new|old OUT\n"), std::string::npos);
    const auto misuse = vorn_detail({"write", "new", "x"});
    EXPECT_TRUE(misuse.status == 2 && misuse.err == vorn_detail_usage);
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
        EXPECT_FALSE(records.empty());
        EXPECT_EQ(vorn_detail({"dump", std::string(STRELL_SAMPLE_DIR) + "/" + name + ".vorn"}).out, lines(records));
    }
}

TEST(DetailEncoder, NewFormatHeaderDeclaresEveryFieldAndEachAddressFamilyMix) {
    const Bytes header = DetailEncoder(DetailFormat::New).header();
    const Bytes fields = {0x02, 0x1D,                                                              // version, 29 fields
                          0x08, 0x04, 0x1B, 0x10, 0x0C, 0x04, 0x1C, 0x10, 0x0F, 0x04, 0x3E, 0x10,  // addresses
                          0x07, 0x02, 0x0B, 0x02, 0x0A, 0x02, 0x0E, 0x02,                          // ports, interfaces
                          0x02, 0x04, 0x01, 0x04, 0x16, 0x04, 0x15, 0x04,  // packets, bytes, first, last
                          0x06, 0x01, 0x04, 0x01, 0x05, 0x01,              // flags, proto, tos
                          0x10, 0x04, 0x11, 0x04, 0x09, 0x01, 0x0D, 0x01,  // AS, masks
                          0x64, 0x04, 0x65, 0x04, 0x66, 0x04, 0x96, 0x10, 0x67, 0x04, 0x68, 0x04, 0x69, 0x04, 0x97, 0x10,
                          0x20};  // 32 data descriptions
    const Bytes all_v4 = {0x01, 0x18, 0x08, 0x0C, 0x0F, 0x07, 0x0B, 0x0A, 0x0E, 0x02, 0x01, 0x16, 0x15,
                          0x06, 0x04, 0x05, 0x10, 0x11, 0x09, 0x0D, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69};
    const Bytes all_v6 = {0x20, 0x18, 0x1B, 0x1C, 0x3E, 0x07, 0x0B, 0x0A, 0x0E, 0x02, 0x01, 0x16, 0x15,
                          0x06, 0x04, 0x05, 0x10, 0x11, 0x09, 0x0D, 0x64, 0x65, 0x96, 0x67, 0x68, 0x97};
    ASSERT_EQ(header.size(), fields.size() + 32 * all_v4.size());
    EXPECT_EQ(Bytes(header.begin(), header.begin() + long(fields.size())), fields);
    EXPECT_EQ(Bytes(header.begin() + long(fields.size()), header.begin() + long(fields.size() + all_v4.size())), all_v4);
    EXPECT_EQ(Bytes(header.end() - long(all_v6.size()), header.end()), all_v6);
}

TEST(DetailEncoder, OldFormatRecordBytes) {
    const DetailEncoder encoder(DetailFormat::Old);
    EXPECT_TRUE(encoder.header().empty());
    const TrafficStat record = flow("10.0.0.1", "10.0.0.2", "10.0.0.3", 0x10);
    EXPECT_EQ(encoder.refusal(record), "");
    Bytes out;
    encoder.append_record(record, out);
    EXPECT_EQ(out, (Bytes{
                       0x01, 0x00, 0x00, 0x00,                                                  // version
                       0x01, 0x00, 0x00, 0x0A, 0x02, 0x00, 0x00, 0x0A, 0x03, 0x00, 0x00, 0x0A,  // s, d, nexthop
                       0x11, 0x00, 0x12, 0x00,                                                  // iface, oface
                       0x13, 0x00, 0x00, 0x00, 0xEF, 0xFF, 0xFF, 0xFF,                          // d_pkt, d_oct
                       0x15, 0x00, 0x00, 0x00, 0x16, 0x00, 0x00, 0x00,                          // ts_first, ts_last
                       0x17, 0x00, 0x18, 0x00, 0x00, 0x19, 0x1A, 0x1B,  // ports, pad1, flags, proto, tos
                       0x80, 0x11, 0x1D, 0x00, 0x1E, 0x1F, 0x00, 0x00,  // AS cut to 16 bits, masks, pad2
                       0x20, 0x00, 0x00, 0x00, 0x21, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // slink, account, reserved1
                       0x23, 0x00, 0x00, 0x00, 0xFC, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00,  // tclass, timestamp, reserved2
                   }));
}

}  // namespace
}  // namespace Strell
