#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>

#include <nlohmann/json.hpp>

#include "tools/vorn_detail/detail_commands.h"

namespace Strell {
namespace {

using nlohmann::json;
using Vorn::TrafficStat;

struct Run { int status; std::string out, err; };

Run vorn_detail(const std::vector<std::string>& args, const std::string& input) {
    std::istringstream in(input);
    std::ostringstream out, err;
    const int status = run_vorn_detail(args, in, out, err);
    return {status, out.str(), err.str()};
}

struct ImportTest : testing::Test {
    std::filesystem::path dir;
    void SetUp() override {
        setenv("TZ", "UTC", 1);  // nfdump prints local time
        tzset();
        std::string name = std::filesystem::temp_directory_path() / "import_test_XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        dir = name;
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    std::string file(const char* name) const { return (dir / name).string(); }
    // JSON lines that dump prints of a file, one object per record.
    std::vector<json> dumped(const std::string& path) const {
        std::vector<json> records;
        std::istringstream lines(vorn_detail({"dump", path}, "").out);
        for (std::string line; std::getline(lines, line);) records.push_back(json::parse(line));
        return records;
    }
};

// As nfdump 1.7.1 prints a flow of strell's v9 replay, ICMP and v5 members added.
const json v9_flow = json::parse(R"({"type":"FLOW","sampled":0,"export_sysid":1,
  "first":"2024-03-01T12:00:05.250","last":"2024-03-01T12:00:07.999","received":"2024-03-01T12:00:08.000",
  "in_packets":3,"in_bytes":4294967295,"proto":6,"tcp_flags":"C..AP.SF","src_port":1026,"dst_port":445,
  "src_tos":2,"src4_addr":"10.0.0.2","dst4_addr":"192.168.7.9","input_snmp":3,"output_snmp":65535,
  "src_mask":24,"dst_mask":16,"src_net":"","dst_net":"","fwd_status":0,"direction":0,"dst_tos":7,
  "src_as":64498,"dst_as":4200000000,"ip6_next_hop":"0:0:a00:fe::","ip4_router":"127.0.0.1","label":"<none>"})");

TEST_F(ImportTest, MapsEveryFlowMemberAndSkipsOtherRecords) {
    json icmp6 = {{"type", "FLOW"}, {"src6_addr", "2001:db8::1"}, {"dst6_addr", "ff02::1"}, {"proto", 58},
                  {"icmp_type", 135}, {"icmp_code", 1}, {"ip6_router", "::1"}, {"tcp_flags", "........"}};
    const json input = {v9_flow, {{"type", "EVENT"}, {"src4_addr", "not looked at"}}, icmp6};
    const auto run = vorn_detail({"import", "--format", "new", file("in.vorn")}, input.dump(1, '\t'));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, file("in.vorn") + ": new format, 2 records, 1 records of other types skipped\n");
    const auto records = dumped(file("in.vorn"));
    ASSERT_EQ(records.size(), 2u);
    const json expected = {{"s_addr", "10.0.0.2"}, {"d_addr", "192.168.7.9"}, {"nexthop_addr", "10.0.0.254"},
                           {"router_ip_netflow_from", "127.0.0.1"}, {"sport", 1026}, {"dport", 445},
                           {"proto", 6}, {"tcp_flags", 0x9B}, {"tos", 2}, {"d_pkt", 3}, {"d_oct", 4294967295u},
                           {"iface", 3}, {"oface", 65535}, {"src_as", 64498}, {"dst_as", 4200000000u},
                           {"src_mask", 24}, {"dst_mask", 16}, {"ts_first", 1709294405}, {"ts_last", 1709294407},
                           {"timestamp", 1709294408}, {"slink_id", 0}, {"ip", "0.0.0.0"}};
    for (const auto& [key, value] : expected.items()) EXPECT_EQ(records[0][key], value) << key;
    const json expected_v6 = {{"s_addr", "2001:db8::1"}, {"d_addr", "ff02::1"}, {"nexthop_addr", "::"},
                              {"router_ip_netflow_from", "::1"}, {"dport", 135 * 256 + 1}, {"proto", 58}};
    for (const auto& [key, value] : expected_v6.items()) EXPECT_EQ(records[1][key], value) << key;
}

TEST_F(ImportTest, BadInputNamesTheFlowAndLeavesNoFile) {
    const auto edited = [](const char* key, json value) {
        json flow = v9_flow;
        flow[key] = std::move(value);
        return json::array({v9_flow, flow}).dump();
    };
    const std::string two = json::array({v9_flow, v9_flow}).dump();
    const std::pair<std::string, std::string> cases[] = {
        {"ordinal 5", "invalid JSON at byte 1"},
        {two.substr(0, two.size() - 1), "after flow 2: input ends before the array is closed"},
        {two.substr(0, two.size() / 2 + 20), "flow 2: input ends before the array is closed"},
        {edited("src4_addr", "10.0.0.300"), "flow 2: member \"src4_addr\" is not an IP address: \"10.0.0.300\""},
        {edited("dst4_addr", "::1"), "flow 2: member \"dst4_addr\" is not an IPv4 address: \"::1\""},
        {edited("src_port", 65536), "flow 2: member \"src_port\" must be at most 65535"},
        {edited("in_packets", 4294967296), "flow 2: member \"in_packets\" must be at most 4294967295"},
        {edited("tcp_flags", "...AP.FS"), "flow 2: member \"tcp_flags\" must be eight of the letters CEUAPRSF "
                                          "or dots, as nfdump prints TCP flags: \"...AP.FS\""},
        {edited("first", "2024-13-01T12:00:05.000"), "flow 2: member \"first\" must be a time as nfdump prints "
                                                     "it (YYYY-MM-DDThh:mm:ss.sss): \"2024-13-01T12:00:05.000\""},
        {"[" + v9_flow.dump() + ",3]", "element 2 of the array is not an object"},
    };
    for (const auto& [input, message] : cases) {
        const auto run = vorn_detail({"import", "--format", "new", file("out.vorn")}, input);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err, "vorn-detail: " + message + "\n");
    }
    json v6 = v9_flow;
    v6.erase("src4_addr"), v6.erase("dst4_addr"), v6["src6_addr"] = "::1", v6["dst6_addr"] = "::2";
    EXPECT_EQ(vorn_detail({"import", "--format", "old", file("out.vorn")}, json::array({v6}).dump()).status, 1);
    EXPECT_TRUE(std::filesystem::is_empty(dir));
    // An empty capture makes an empty file: the header alone.
    EXPECT_EQ(vorn_detail({"import", "--format", "new", file("out.vorn")}, "[\n]\n").status, 0);
    EXPECT_EQ(std::filesystem::file_size(file("out.vorn")), DetailEncoder(DetailFormat::New).header().size());
}

// A capture as nfdump prints it of the v9 fields of records.
json capture(const std::vector<TrafficStat>& records) {
    json flows = json::array();
    for (const TrafficStat& r : records) {
        const bool v6 = r.s_addr.family() == Vorn::IP_address::IPv6;
        std::string flags = "CEUAPRSF";
        for (int i = 0; i < 8; ++i) flags[i] = (r.tcp_flags & (0x80 >> i)) ? flags[i] : '.';
        flows.push_back({{"type", "FLOW"}, {v6 ? "src6_addr" : "src4_addr", r.s_addr.to_string()},
                         {v6 ? "dst6_addr" : "dst4_addr", r.d_addr.to_string()},
                         {v6 ? "ip6_next_hop" : "ip4_next_hop", r.nexthop_addr.to_string()},
                         {"src_port", r.sport}, {"dst_port", r.dport}, {"proto", r.proto}, {"tcp_flags", flags},
                         {"src_tos", r.tos}, {"in_packets", r.d_pkt}, {"in_bytes", r.d_oct},
                         {"input_snmp", r.iface}, {"output_snmp", r.oface}, {"src_as", r.src_as},
                         {"dst_as", r.dst_as}, {"src_mask", r.src_mask}, {"dst_mask", r.dst_mask}});
    }
    return flows;
}

TrafficStat flow(const char* s, uint16_t sport, uint32_t src_as) {
    TrafficStat r;
    r.s_addr = Vorn::IP_address::from_string(s);
    r.d_addr = r.nexthop_addr = Vorn::IP_address::from_string(r.s_addr.family() == 6 ? "2001:db8::2" : "10.9.9.9");
    r.sport = sport, r.dport = 443, r.proto = 6, r.tcp_flags = 0x1B, r.d_pkt = 5, r.d_oct = 900, r.src_as = src_as;
    r.src_mask = 24, r.ts_first = 77;  // times are never compared
    return r;
}

TEST_F(ImportTest, CompareMatchesByFieldsAndReportsLossExtrasAndDifferences) {
    const std::vector<TrafficStat> sent = {flow("10.0.0.1", 1, 70000), flow("10.0.0.2", 2, 1), flow("10.0.0.2", 2, 1),
                                           flow("2001:db8::1", 3, 5), flow("10.0.0.4", 4, 9)};
    std::string lines;
    for (const TrafficStat& r : sent) lines += r.to_str_json() + "\n";
    ASSERT_EQ(vorn_detail({"write", "--format", "new", file("sent.vorn")}, lines).status, 0);
    const auto compare = [&](std::vector<std::string> options, const std::vector<TrafficStat>& stored) {
        options.insert(options.begin(), "compare");
        options.push_back(file("sent.vorn"));
        return vorn_detail(options, capture(stored).dump());
    };
    // Stored in another order, masks dropped: v9 carries none.
    std::vector<TrafficStat> v9 = {sent[4], sent[3], sent[2], sent[1], sent[0]};
    for (TrafficStat& r : v9) r.src_mask = 0, r.ts_first = 0;
    EXPECT_EQ(compare({"--sent-as", "v9"}, v9).out, "equal: 5 flows\n");
    // One duplicate lost, one flow changed, one never sent.
    std::vector<TrafficStat> changed = {v9[0], v9[1], v9[2], v9[4], flow("10.7.7.7", 7, 7)};
    changed[0].d_oct = 901, changed[0].tos = 3;
    const auto differ = compare({"--sent-as", "v9", "--ignore", "tos"}, changed);
    EXPECT_EQ(differ.status, 3);
    EXPECT_EQ(differ.out,
              "differs {\"d_addr\":\"10.9.9.9\",\"dport\":443,\"proto\":6,\"s_addr\":\"10.0.0.4\",\"sport\":4}: "
              "d_oct sent 900 stored 901\n"
              "extra " + json({{"d_addr", "10.9.9.9"}, {"d_oct", 900}, {"d_pkt", 5}, {"dport", 443}, {"dst_as", 0},
                               {"iface", 0}, {"nexthop_addr", "10.9.9.9"}, {"oface", 0}, {"proto", 6},
                               {"s_addr", "10.7.7.7"}, {"sport", 7}, {"src_as", 7}, {"tcp_flags", 27}}).dump() + "\n"
              "missing " + json({{"d_addr", "10.9.9.9"}, {"d_oct", 900}, {"d_pkt", 5}, {"dport", 443}, {"dst_as", 0},
                                 {"iface", 0}, {"nexthop_addr", "10.9.9.9"}, {"oface", 0}, {"proto", 6},
                                 {"s_addr", "10.0.0.2"}, {"sport", 2}, {"src_as", 1}, {"tcp_flags", 27}}).dump() + "\n"
              "not equal: 5 sent, 5 stored; 3 equal, 1 missing, 1 extra, 1 differing\n");
    // v5 leaves out the IPv6 flow, cuts AS numbers to 16 bits and carries the masks.
    std::vector<TrafficStat> v5 = {sent[0], sent[1], sent[2], sent[4]};
    v5[0].src_as = 70000 & 0xFFFF;
    EXPECT_EQ(compare({"--sent-as", "v5"}, v5).out,
              "equal: 4 flows (1 IPv6 flows of the file left out: v5 does not carry them)\n");
    EXPECT_EQ(compare({"--sent-as", "v9"}, v5).status, 3);
    EXPECT_EQ(compare({"--sent-as", "v9", "--ignore", "src_mask"}, {}).status, 2);
}

// A stored flow that differs in one member is equal only where the version does not carry it.
TEST_F(ImportTest, CompareLooksAtTheFieldsTheVersionCarries) {
    const std::vector<TrafficStat> sent = {flow("10.0.0.1", 1, 2), flow("10.0.0.2", 2, 3)};
    ASSERT_EQ(vorn_detail({"write", "--format", "new", file("sent.vorn")}, sent[0].to_str_json() + "\n" +
                                                                             sent[1].to_str_json()).status, 0);
    const std::pair<const char*, json> changes[] = {
        {"src_port", 9}, {"dst_port", 9}, {"proto", 17}, {"tcp_flags", "........"}, {"src_tos", 9},
        {"in_packets", 9}, {"in_bytes", 9}, {"input_snmp", 9}, {"output_snmp", 9}, {"src_as", 9},
        {"dst_as", 9}, {"src_mask", 9}, {"dst_mask", 9}, {"ip4_next_hop", "10.1.1.1"}, {"dst4_addr", "10.1.1.1"}};
    for (const char* version : {"v5", "v9"}) {
        for (const auto& [member, value] : changes) {
            json stored = capture(sent);
            stored[1][member] = value;
            const bool carried = version == std::string("v5") || std::string(member).find("mask") == std::string::npos;
            const auto run = vorn_detail({"compare", "--sent-as", version, file("sent.vorn")}, stored.dump());
            EXPECT_EQ(run.status, carried ? 3 : 0) << version << " " << member;
        }
    }
}

}  // namespace
}  // namespace Strell
