// The built vorn-detail's import of nfdump's JSON into detail files, and its
// compare of such a capture with the file that was sent.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <map>
#include <set>

#include "detail_lines.h"

using namespace StrellTest;
using nlohmann::json;
using std::string;

// As nfdump 1.7.1 prints a flow of strell's v9 replay, ICMP and v5 members added.
const json v9_flow = json::parse(R"({"type":"FLOW","sampled":0,"export_sysid":1,
  "first":"2024-03-01T12:00:05.250","last":"2024-03-01T12:00:07.999","received":"2024-03-01T12:00:08.000",
  "in_packets":3,"in_bytes":4294967295,"proto":6,"tcp_flags":"C..AP.SF","src_port":1026,"dst_port":445,
  "src_tos":2,"src4_addr":"10.0.0.2","dst4_addr":"192.168.7.9","input_snmp":3,"output_snmp":65535,
  "src_mask":24,"dst_mask":16,"src_net":"","dst_net":"","fwd_status":0,"direction":0,"dst_tos":7,
  "src_as":64498,"dst_as":4200000000,"ip6_next_hop":"0:0:a00:fe::","ip4_router":"127.0.0.1","label":"<none>"})");

TEST(VornDetailImport, MapsEveryFlowMemberAndSkipsOtherRecords) {
    setenv("TZ", "UTC", 1);  // nfdump prints local time
    TempDir dir;
    const json icmp6 = {{"type", "FLOW"}, {"src6_addr", "2001:db8::1"}, {"dst6_addr", "ff02::1"}, {"proto", 58},
                        {"icmp_type", 135}, {"icmp_code", 1}, {"ip6_router", "::1"}, {"tcp_flags", "........"}};
    const json input = {v9_flow, {{"type", "EVENT"}, {"src4_addr", "not looked at"}}, icmp6};
    const ProgramRun run = vorn_detail({"import", "--format", "new", dir.file("in.vorn")}, input.dump(1, '\t'));
    EXPECT_EQ(std::make_pair(run.status, run.err.substr(0, run.err.find('\n') + 1)), std::make_pair(0, dir.file("in.vorn") + ": new format, 2 records, 1 records of other types skipped\n"));
    std::vector<json> records;  // as dump prints them
    std::istringstream lines(vorn_detail({"dump", dir.file("in.vorn")}).out);
    for (string line; std::getline(lines, line);) records.push_back(json::parse(line));
    ASSERT_EQ(records.size(), 2u);
    const json expected[] = {
        {{"s_addr", "10.0.0.2"}, {"d_addr", "192.168.7.9"}, {"nexthop_addr", "10.0.0.254"}, {"router_ip_netflow_from", "127.0.0.1"},
         {"sport", 1026}, {"dport", 445}, {"proto", 6}, {"tcp_flags", 0x9B}, {"tos", 2}, {"d_pkt", 3}, {"d_oct", 4294967295u},
         {"iface", 3}, {"oface", 65535}, {"src_as", 64498}, {"dst_as", 4200000000u}, {"src_mask", 24}, {"dst_mask", 16},
         {"ts_first", 1709294405}, {"ts_last", 1709294407}, {"timestamp", 1709294408}, {"slink_id", 0}, {"ip", "0.0.0.0"}},
        {{"s_addr", "2001:db8::1"}, {"d_addr", "ff02::1"}, {"nexthop_addr", "::"}, {"router_ip_netflow_from", "::1"},
         {"dport", 135 * 256 + 1}, {"proto", 58}}};
    for (size_t i = 0; i < 2; ++i)
        for (const auto& [key, value] : expected[i].items()) EXPECT_EQ(records[i][key], value) << key;
}

// v9_flow as nfdump would print another flow: its source (and family), source port and AS numbers.
json stored(const string& source, int sport, uint32_t src_as = 2, uint32_t dst_as = 3) {
    json flow = v9_flow;
    if (source.find(':') != string::npos) flow.erase("src4_addr"), flow.erase("dst4_addr"), flow["dst6_addr"] = "2001:db8::2";
    flow[source.find(':') != string::npos ? "src6_addr" : "src4_addr"] = source;
    return flow.update({{"src_port", sport}, {"src_as", src_as}, {"dst_as", dst_as}}), flow;
}

TEST(VornDetailImport, EmptyCaptureMakesAFileOfTheHeaderAlone) {
    TempDir dir;
    EXPECT_EQ(vorn_detail({"import", "--format", "new", dir.file("out.vorn")}, "[\n]\n").status, 0);
    EXPECT_EQ(read_file(dir.file("out.vorn")), read_file(write_detail_file(dir, "empty.vorn", "new", {})));
}

TEST(VornDetailImport, CaptureFilesAreClosedOneByOneSoThatMoreOfThemThanDescriptorsAreRead) {
    TempDir dir;
    Args args = {"import", "--format", "new", dir.file("out.vorn")};
    for (int i = 0; i < 40; ++i) args.push_back(dir.write("c" + std::to_string(i) + ".json", json::array({v9_flow}).dump()));
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit low = before;
    low.rlim_cur = 32;  // inherited by vorn-detail
    setrlimit(RLIMIT_NOFILE, &low);
    const ProgramRun run = vorn_detail(args);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(run.err.substr(0, run.err.find('\n')), dir.file("out.vorn") + ": new format, 40 records");
}

TEST(VornDetailImport, CompareMatchesByFieldsAndReportsLossExtrasAndDifferences) {
    TempDir dir;
    const auto sent_file = [&dir](const char* name, const json& flows) {
        return vorn_detail({"import", "--format", "new", dir.file(name)}, flows.dump()), dir.file(name);
    };
    const json sent = {stored("10.0.0.1", 1, 70000), stored("10.0.0.2", 2), stored("10.0.0.2", 2), stored("2001:db8::1", 3), stored("10.0.0.4", 4)};
    const string file = sent_file("sent.vorn", sent);
    const auto compare = [&](const char* version, const json& flows, std::vector<string> options = {}) {
        options.insert(options.begin(), {"compare", "--sent-as", version}), options.push_back(file);
        return vorn_detail(options, flows.dump());
    };
    // Stored in another order, masks dropped: v9 carries none.
    json v9 = {sent[4], sent[3], sent[2], sent[1], sent[0]};
    for (json& flow : v9) flow["src_mask"] = flow["dst_mask"] = 0;
    EXPECT_EQ(compare("v9", v9).out, "equal: 5 flows\n");
    // One duplicate lost, one flow changed, one never sent.
    json changed = {v9[0], v9[1], v9[2], v9[4], stored("10.7.7.7", 7, 7)};
    changed[0]["in_bytes"] = 901, changed[0]["src_tos"] = 3;
    const ProgramRun differ = compare("v9", changed, {"--ignore", "tos"});
    EXPECT_EQ(differ.status, 3);
    const string members = R"({"d_addr":"192.168.7.9","d_oct":4294967295,"d_pkt":3,"dport":445,"dst_as":3,"iface":3,"nexthop_addr":"10.0.0.254","oface":65535,"proto":6,"s_addr":)";
    // The sent flows not stored as sent in the file's order, then the extra ones in the capture's.
    EXPECT_EQ(differ.out, "missing " + members + "\"10.0.0.2\",\"sport\":2,\"src_as\":2,\"tcp_flags\":155}\n"
                          "differs {\"d_addr\":\"192.168.7.9\",\"dport\":445,\"proto\":6,\"s_addr\":\"10.0.0.4\",\"sport\":4}: d_oct sent 4294967295 stored 901\n"
                          "extra " + members + "\"10.7.7.7\",\"sport\":7,\"src_as\":7,\"tcp_flags\":155}\n"
                          "not equal: 5 sent, 5 stored; 3 equal, 1 missing, 1 extra, 1 differing\n");
    // v5 leaves out the IPv6 flow, cuts AS numbers to 16 bits and carries the masks.
    json v5 = {sent[0], sent[1], sent[2], sent[4]};
    v5[0]["src_as"] = 70000 & 0xFFFF;
    EXPECT_EQ(compare("v5", v5).out, "note: record 4 of " + file + " has an IPv6 address: a v5 replay skips it, and every such record, without a word\n"
                                  "equal: 4 flows (1 flows of the file with an IPv6 address left out: v5 does not carry them)\n");
    EXPECT_EQ(compare("v9", v5).status, 3); EXPECT_EQ(compare("v9", json::array(), {"--ignore", "src_mask"}).status, 2);
    // A stored flow that differs in one member is equal only where the version does not carry it.
    const std::pair<const char*, json> changes[] = {
        {"src_port", 9}, {"dst_port", 9}, {"proto", 17}, {"tcp_flags", "........"}, {"src_tos", 9}, {"in_packets", 9}, {"in_bytes", 9},
        {"input_snmp", 9}, {"output_snmp", 9}, {"src_as", 9}, {"dst_as", 9}, {"src_mask", 9}, {"dst_mask", 9},
        {"ip6_next_hop", "::2"}, {"dst4_addr", "10.1.1.1"}};
    const json two = {stored("10.0.0.1", 1), stored("10.0.0.2", 2)};
    const string two_file = sent_file("two.vorn", two);
    for (const char* version : {"v5", "v9"}) {
        EXPECT_EQ(vorn_detail({"compare", "--sent-as", version, two_file}, two.dump()).status, 0) << version;
        for (const auto& [member, value] : changes) {
            json flows = two;
            flows[1][member] = value;
            const bool carried = version == string("v5") || string(member).find("mask") == string::npos;
            // A change of addresses, ports or protocol makes another flow: one missing, one extra.
            const bool identity = std::set<string>{"src_port", "dst_port", "proto", "dst4_addr"}.count(member) > 0;
            const ProgramRun run = vorn_detail({"compare", "--sent-as", version, two_file}, flows.dump());
            EXPECT_EQ(run.status, carried ? 3 : 0) << version << " " << member;
            EXPECT_EQ(run.out.rfind(!carried ? "equal" : identity ? "missing" : "differs", 0), 0u) << version << " " << member << ": " << run.out;
        }
    }
}

// Enough flows to cross the blocks in which compare sets flows aside: each
// kind of line is counted, in the file's order (the sent flows not stored as
// sent) and then the capture's (the extra ones); a missing flow pairs with
// the stored flow of its identity that differs from it in the fewest fields,
// and with none of another identity.
TEST(VornDetailImport, CompareAtScaleReportsEachFlowOnceInFileThenCaptureOrder) {
    TempDir dir;
    // Flows as text: nlohmann's objects are slow to build in a sanitised debug build.
    const auto flow = [](const string& source, int sport, long bytes = 4294967295, int tos = 2) {
        return "{\"type\":\"FLOW\",\"src4_addr\":\"" + source + "\",\"dst4_addr\":\"192.168.7.9\",\"src_port\":" + std::to_string(sport) +
               ",\"in_bytes\":" + std::to_string(bytes) + ",\"src_tos\":" + std::to_string(tos) + "}";
    };
    const auto address = [](int network, int i) { return "10." + std::to_string(network) + "." + std::to_string(i / 250) + "." + std::to_string(i % 250); };
    std::vector<string> sent, capture;
    std::vector<int> extra_ports;
    for (int i = 0; i < 10000; ++i) {
        sent.push_back(flow(address(1, i), i));
        if (i % 4 != 0) capture.push_back(flow(address(1, i), i, i % 4 == 1 ? i : 4294967295));  // i % 4 == 0 is lost, 1 differs
        if (i % 8 == 1) capture.push_back(flow(address(1, i), i, i, 3)), extra_ports.insert(extra_ports.begin(), i);  // differs more: extra
    }
    std::reverse(capture.begin(), capture.end());
    for (int bytes : {100, 200, 300}) {  // one identity, two stored the other way round with another type of service
        sent.push_back(flow("10.9.9.9", 60000, bytes));
        if (bytes < 300) capture.insert(capture.begin(), flow("10.9.9.9", 60000, bytes, 3));
    }
    for (int i = 0; i < 3000; ++i) capture.push_back(flow(address(2, i), i)), extra_ports.push_back(i);
    const auto array = [](const std::vector<string>& flows) {
        string text = "[";
        for (const string& f : flows) text += (text.size() > 1 ? "," : "") + f;
        return text + "]";
    };
    vorn_detail({"import", "--format", "new", dir.file("sent.vorn")}, array(sent));
    const ProgramRun run = vorn_detail({"compare", "--sent-as", "v9", dir.file("sent.vorn"), dir.write("capture.json", array(capture))});
    std::map<string, int> kinds;
    std::map<string, std::vector<int>> ports;  // source ports in the order of the lines
    std::istringstream lines(run.out);
    string line;
    while (std::getline(lines, line) && line.rfind("not equal", 0) != 0) {
        const string kind = line.substr(0, line.find(' '));
        ++kinds[kind];
        ports[kind == "differs" ? "missing" : kind].push_back(std::stoi(line.substr(line.find("\"sport\":") + 8)));
        EXPECT_TRUE(kind != "differs" || line.find(", ") == string::npos) << line;  // one field differs
    }
    EXPECT_EQ(line, "not equal: 10003 sent, 11752 stored; 5000 equal, 2501 missing, 4250 extra, 2502 differing");
    EXPECT_EQ(kinds, (std::map<string, int>{{"differs", 2502}, {"extra", 4250}, {"missing", 2501}}));
    EXPECT_TRUE(std::is_sorted(ports["missing"].begin(), ports["missing"].end()));
    EXPECT_EQ(ports["extra"], extra_ports);
}
