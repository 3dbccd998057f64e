// The built vorn-detail: JSON lines into detail files and back.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <set>

#include "detail_lines.h"
#include "netflow_wire.h"

using namespace StrellTest;
using nlohmann::json;
using std::string;

// Every number differs from the others; d_oct and src_as need 32 bits.
json flow(const char* s, const char* d, const char* nexthop, const char* ip, const char* router, int seed) {
    json r = {{"s_addr", s}, {"d_addr", d}, {"nexthop_addr", nexthop}, {"ip", ip}, {"router_ip_netflow_from", router},
              {"d_oct", 4000000000u - seed}, {"src_as", 70000 + seed}, {"timestamp", -86400 + seed}};
    const char* numbers[] = {"iface", "oface", "d_pkt", "ts_first", "ts_last", "sport", "dport", "tcp_flags",
                             "proto", "tos", "dst_as", "src_mask", "dst_mask", "slink_id", "account_id", "tclass"};
    for (int i = 0; i < 16; ++i) r[numbers[i]] = seed + i + 1;
    r["human_timestamp"] = "Wed Dec 31 00:00:" + string(seed < 10 ? "0" : "") + std::to_string(seed) + " 1969";
    return r;
}

// What the old format reads back: the rest stays as a fresh record has it.
json old_view(json r) {
    for (const char* key : {"iface", "oface", "ts_first", "ts_last", "src_as", "dst_as", "src_mask", "dst_mask"}) r[key] = 0;
    r["ip"] = r["router_ip_netflow_from"] = "0.0.0.0";
    return r;
}

TEST(VornDetail, DumpOfWriteGivesTheLinesBackInBothFormats) {
    setenv("TZ", "UTC", 1);  // for the human time stamps of the children
    TempDir dir;
    // Each address of its own family, in several mixes.
    const json v4[] = {flow("10.0.0.1", "192.0.2.1", "10.0.0.254", "2001:db8::9", "10.1.1.1", 0),
                       flow("172.16.0.1", "172.16.0.2", "0.0.0.0", "1.2.3.4", "2001:db8::fffe", 50)};
    const json v6[] = {flow("2001:db8::1", "2001:db8::2", "fe80::1", "::ffff:1.2.3.4", "::", 7),
                       flow("2001:db8::3", "10.9.8.7", "::", "10.0.0.1", "10.0.0.2", 9)};
    json ignored = v4[0];
    ignored.update({{"login", "ignored"}, {"human_timestamp", {1, 2}}});
    const std::tuple<const char*, string, string> cases[] = {
        {"new", ignored.dump() + "\n\n" + flow_json(v4[1]) + "\n" + flow_json(v6[0]) + "\n" + flow_json(v6[1]) + "\n",
         flow_json(v4[0]) + "\n" + flow_json(v4[1]) + "\n" + flow_json(v6[0]) + "\n" + flow_json(v6[1]) + "\n"},
        {"old", flow_json(v4[0]) + "\n" + flow_json(v4[1]) + "\n",
         flow_json(old_view(v4[0])) + "\n" + flow_json(old_view(v4[1])) + "\n"}};
    for (const auto& [format, input, expected] : cases) {
        const string file = dir.file(format);
        const size_t count = std::count(expected.begin(), expected.end(), '\n');
        const string summary = file + ": " + format + " format, " + std::to_string(count) + " records\n";
        const string written = vorn_detail({"write", "--format", format, file}, input).err;  // notes on mixed families follow
        EXPECT_EQ(written.substr(0, written.find('\n') + 1), summary);
        const ProgramRun dumped = vorn_detail({"dump", file});
        EXPECT_EQ(dumped.out, expected); EXPECT_EQ(dumped.err.substr(dumped.err.rfind('\n', dumped.err.size() - 2) + 1), summary);
    }
    // Old records are 76 bytes of little-endian fields; AS numbers keep 16 bits.
    const string one = read_file(write_detail_file(dir, "one", "old", {flow_json(v4[0])}));
    EXPECT_EQ(hex(Datagram(one.begin(), one.end())),
              "01 00 00 00 01 00 00 0a 01 02 00 c0 fe 00 00 0a 01 00 02 00 03 00 00 00 00 28 6b ee 04 00 00 00 "
              "05 00 00 00 06 00 07 00 00 08 09 0a 70 11 0b 00 0c 0d 00 00 0e 00 00 00 0f 00 00 00 00 00 00 00 "
              "10 00 00 00 80 ae fe ff 00 00 00 00");
}

// Every command against what is not an input of its kind: one line naming the
// input on standard error, nothing on standard output, exit status 1 (2 for
// misuse) and nothing left behind. Records that a replay cannot send are
// written, with a note of what strell will do there.
TEST(VornDetail, BadInputGivesOneLineNamingItAndLeavesNothing) {
    const string good = flow_json({{"s_addr", "10.0.0.1"}}), v6 = flow_json({{"s_addr", "::1"}, {"d_addr", "::2"}, {"nexthop_addr", "::"}});
    const auto edited = [&good](const char* key, const char* value) {  // value as JSON text; null removes the key
        json line = json::parse(good);
        if (value == nullptr) line.erase(key); else line[key] = json::parse(value);
        return line.dump();
    };
    const string mixed = edited("nexthop_addr", "\"::1\""), mixed6 = edited("s_addr", "\"::3\"");
    const auto line3 = [&good](const string& line) { return good + "\n\n" + line + "\n" + good; };
    const json flow = {{"type", "FLOW"}, {"src4_addr", "10.0.0.1"}, {"dst4_addr", "10.0.0.2"}};
    const auto second = [&flow](const char* key, json value) { json f = flow; return f[key] = std::move(value), json::array({flow, f}).dump(); };
    const string two = json::array({flow, flow}).dump(), cut = "vorn-detail: cannot read fifo: a FIFO (a detail file is read by seeking: copy the stream to a file first)\n";
    const string v9_ends = "a v9 replay ends there (strell prints \"Incorrect netflow data\" and exits with status 1, the datagram being filled unsent)";
    const string usage = vorn_detail({"--help"}).out, closed = "vorn-detail: cannot read standard input: it is closed\n";
    // nfcapd files: the capture file in dir is cut in its header; a whole header of one block, then 6 bytes.
    const string damaged = "vorn-detail: dir/nfcapd.202401010000: truncated header: 4 of 40 bytes\n", no_files = "vorn-detail: empty: no capture files (nfcapd.*) in it\n";
    const string one_block = string("\x0c\xa5\x02", 3) + string(33, '\0') + string("\x01\0\0\0\0\0\0\0\0\0", 10);
    const struct { string command, input; int status; string err, out = ""; } cases[] = {
        {"write --format new out.vorn <&-", "", 1, closed}, {"import --format new out.vorn <&-", "", 1, closed},
        {"compare --sent-as v9 sent.vorn <&-", "", 1, closed}, {"compare --sent-as v5 sent.vorn - <&-", "", 1, closed},
        {"import --format new out.vorn dir", "", 1, damaged}, {"compare --sent-as v5 sent.vorn empty", "", 1, no_files},
        {"import --format new out.vorn - dir", two, 1, damaged},  // the flows read before are not written
        {"import --format new out.vorn", one_block, 1, "vorn-detail: standard input: block 1 of 1: truncated: the file ends after 6 of 12 bytes of its header\n"},
        {"import --format new out.vorn", "\xa5\x0c", 1, "vorn-detail: standard input: an nfcapd file written on a big-endian host; only little-endian files are read\n"},
        {"dump dir", "", 1, "vorn-detail: cannot read dir: a directory\n"},
        {"compare --sent-as v9 empty -", "[]", 1, "vorn-detail: cannot read empty: a directory\n"},
        {"dump fifo", "", 1, cut}, {"compare --sent-as v9 fifo -", "[]", 1, cut},
        {"dump none.vorn", "", 1, "vorn-detail: cannot read none.vorn: No such file or directory\n"},
        {"import --format new out.vorn none.json", "", 1, "vorn-detail: cannot open none.json: No such file or directory\n"},
        {"write --format csv out.vorn", "", 2, "vorn-detail: unknown format 'csv' (new or old)\n"}, {"import --format", "", 2, usage},
        {"write --format new out.vorn", line3("{\"s_addr\":"), 1, "vorn-detail: line 3: invalid JSON at byte 11\n"},
        {"write --format old out.vorn", line3("{\"sport\":1e999}"), 1, "vorn-detail: line 3: invalid JSON: number out of range\n"},
        {"write --format new out.vorn", line3("[1]"), 1, "vorn-detail: line 3: expected a JSON object\n"},
        {"write --format new out.vorn", line3(edited("sport", nullptr)), 1, "vorn-detail: line 3: missing key \"sport\"\n"},
        {"write --format new out.vorn", line3(good.substr(0, good.size() - 1) + ",\"sport\":1}"), 1, "vorn-detail: line 3: key \"sport\" appears twice\n"},
        {"write --format old out.vorn", line3(edited("sport", "\"80\"")), 1, "vorn-detail: line 3: key \"sport\" must be an unsigned integer\n"},
        {"write --format new out.vorn", line3(edited("iface", "65536")), 1, "vorn-detail: line 3: key \"iface\" must be at most 65535\n"},
        {"write --format old out.vorn", line3(edited("timestamp", "2147483648")), 1, "vorn-detail: line 3: key \"timestamp\" must be a signed 32-bit number\n"},
        {"write --format new out.vorn", line3(edited("s_addr", "\"10.0.0.300\"")), 1, "vorn-detail: line 3: key \"s_addr\" is not an IP address: \"10.0.0.300\"\n"},
        {"write --format old out.vorn", line3(edited("sprot", "7")), 1, "vorn-detail: line 3: unknown key \"sprot\"\n"},
        {"write --format old out.vorn", line3(mixed), 1, "vorn-detail: line 3: key \"nexthop_addr\" holds an IPv6 address; the old format carries IPv4 flows only\n"},
        {"import --format new out.vorn", "ordinal 5", 1, "vorn-detail: standard input: invalid JSON at byte 1\n"},
        {"import --format new out.vorn", two.substr(0, two.size() - 1), 1, "vorn-detail: standard input: after flow 2: input ends before the array is closed\n"},
        {"import --format new out.vorn", two.substr(0, two.size() / 2 + 20), 1, "vorn-detail: standard input: flow 2: input ends before the array is closed\n"},
        {"import --format new out.vorn", "[]garbage", 1, "vorn-detail: standard input: text after the array at byte 3\n"},
        {"import --format new out.vorn", "[] []", 1, "vorn-detail: standard input: text after the array at byte 4\n"},
        {"import --format new out.vorn", "[" + flow.dump().insert(1, "\"proto\":6,") + ",{\"proto\":6,\"proto\":17}]", 1, "vorn-detail: standard input: flow 2: member \"proto\" appears twice\n"},
        {"import --format new out.vorn", second("dst4_addr", "::1"), 1, "vorn-detail: standard input: flow 2: member \"dst4_addr\" is not an IPv4 address: \"::1\"\n"},
        {"import --format new out.vorn", second("src_port", 65536), 1, "vorn-detail: standard input: flow 2: member \"src_port\" must be at most 65535\n"},
        {"import --format new out.vorn", second("tcp_flags", "...AP.FS"), 1, "vorn-detail: standard input: flow 2: member \"tcp_flags\" must be eight of the letters CEUAPRSF or dots, as nfdump prints TCP flags: \"...AP.FS\"\n"},
        {"import --format new out.vorn", second("first", "2024-13-01T12:00:05.000"), 1, "vorn-detail: standard input: flow 2: member \"first\" must be a time as nfdump prints it (YYYY-MM-DDThh:mm:ss.sss): \"2024-13-01T12:00:05.000\"\n"},
        {"import --format new out.vorn", "[" + flow.dump() + ",3]", 1, "vorn-detail: standard input: element 2 of the array is not an object\n"},
        {"import --format old out.vorn -", second("ip6_next_hop", "::1"), 1, "vorn-detail: standard input: flow 2: key \"nexthop_addr\" holds an IPv6 address; the old format carries IPv4 flows only\n"},
        {"compare --sent-as v9 sent.vorn", "[{\"type\":\"FLOW\"}]", 1, "vorn-detail: standard input: flow 1: no source address (src4_addr or src6_addr)\n"},
        // Mixed families: v9 ends the replay at the first, v5 skips every flow with an IPv6 address.
        {"write --format new -", good + "\n" + mixed + "\n" + v6 + "\n" + mixed6 + "\n" + v6 + "\n" + v6, 0,
         "-: new format, 6 records\nvorn-detail: line 2 has an IPv4 source and an IPv6 next hop: " + v9_ends +
         "\nvorn-detail: records that mix address families, which v9 cannot send: 2 (lines 2 and 4)\n"
         "vorn-detail: a v5 replay skips, without a word, each record with an IPv6 address (5: lines 2, 3, 4 and 2 more)\n"},
        {"import --format new -", second("dst4_addr", "10.0.0.9").insert(1, json::object({{"type", "FLOW"}, {"src6_addr", "::1"}, {"dst6_addr", "::2"}, {"ip4_next_hop", "10.0.0.1"}}).dump() + ","), 0,
         "-: new format, 3 records\nvorn-detail: flow 1 has an IPv6 source and an IPv4 next hop: " + v9_ends +
         "\nvorn-detail: a v5 replay skips, without a word, each record with an IPv6 address (1: flow 1)\n"},
        {"compare --sent-as v9 sent.vorn", "[]", 3, "", "note: record 2 of sent.vorn has an IPv4 source and an IPv6 next hop: " + v9_ends + "\n"},
        {"compare --sent-as v5 sent.vorn", "[]", 3, "", "note: record 2 of sent.vorn has an IPv6 address: a v5 replay skips it, and every such record, without a word\n"},
    };
    const string sent = read_file(write_detail_file(TempDir(), "sent.vorn", "new", {good, mixed, v6}));
    const std::set<string> fixtures = {"dir", "dir/nfcapd.202401010000", "empty", "fifo", "out.vorn", "sent.vorn"};
    for (const auto& c : cases) {
        TempDir dir;
        dir.write("sent.vorn", sent), dir.write("out.vorn", "before");
        std::filesystem::create_directory(dir.file("dir")), std::filesystem::create_directory(dir.file("empty")), ::mkfifo(dir.file("fifo").c_str(), 0600);
        dir.write("dir/nfcapd.202401010000", string("\x0c\xa5\x02\0", 4));
        const ProgramRun run = run_program("/bin/sh", {"-c", "cd \"$1\" && exec timeout 10 \"$0\" " + c.command, VORN_DETAIL_BINARY, dir.path}, nullptr, c.input);
        EXPECT_EQ(std::make_pair(run.status, run.err), std::make_pair(c.status, c.err)) << c.command << " <<< " << c.input;
        EXPECT_TRUE(c.status == 0 || c.status == 3 ? run.out.rfind(c.out, 0) == 0 : run.out.empty()) << c.command << ": " << run.out;
        std::set<string> left;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.path)) left.insert(entry.path().string().substr(dir.path.size() + 1));
        EXPECT_EQ(left, fixtures) << c.command;
        EXPECT_EQ(read_file(dir.file("out.vorn")), "before") << c.command;
    }
}
