// The built vorn-detail: JSON lines into detail files and back.
#include <gtest/gtest.h>

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
        EXPECT_EQ(vorn_detail({"write", "--format", format, file}, input).err, summary);
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

TEST(VornDetail, BadInputNamesTheLineAndLeavesTheOutputAsItWasAndMisuseEndsWithStatus2) {
    TempDir dir;
    const string good = flow_json({});
    const auto edited = [&good](const char* key, const char* value) {  // value as JSON text; null removes the key
        json line = json::parse(good);
        if (value == nullptr) line.erase(key); else line[key] = json::parse(value);
        return line.dump();
    };
    const std::tuple<const char*, string, string> cases[] = {
        {"new", "{\"s_addr\":", "invalid JSON at byte 11"}, {"old", "{\"sport\":1e999}", "invalid JSON: number out of range"},
        {"new", edited("sport", nullptr), "missing key \"sport\""},
        {"old", edited("sport", "\"80\""), "key \"sport\" must be an unsigned integer"},
        {"new", edited("iface", "65536"), "key \"iface\" must be at most 65535"},
        {"old", edited("timestamp", "2147483648"), "key \"timestamp\" must be a signed 32-bit number"},
        {"new", edited("s_addr", "\"10.0.0.300\""), "key \"s_addr\" is not an IP address: \"10.0.0.300\""},
        {"old", edited("sprot", "7"), "unknown key \"sprot\""},
        {"old", edited("d_addr", "\"::2\""), "key \"d_addr\" holds an IPv6 address; the old format carries IPv4 flows only"},
    };
    const string out = dir.write("out.vorn", "before");
    for (const auto& [format, line, message] : cases) {
        const ProgramRun run = vorn_detail({"write", "--format", format, out}, good + "\n\n" + line + "\n" + good);
        EXPECT_EQ(std::make_pair(run.status, run.err), std::make_pair(1, "vorn-detail: line 3: " + message + "\n"));
    }
    EXPECT_EQ(read_file(out), "before");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path), {}), 1) << "a temporary file was left";
    const ProgramRun unreadable = vorn_detail({"dump", dir.file("none.vorn")});
    EXPECT_TRUE(unreadable.status == 1 && unreadable.err.find("\nvorn-detail: " + dir.file("none.vorn") + ": not a readable detail file\n") != string::npos);
    const ProgramRun misuse = vorn_detail({"write", "--format", "csv", out}), unknown = vorn_detail({"write", "new", out});
    EXPECT_TRUE(misuse.status == 2 && misuse.err == "vorn-detail: unknown format 'csv' (new or old)\n") << misuse.err;
    EXPECT_TRUE(unknown.status == 2 && unknown.err.rfind("Usage: vorn-detail dump FILE\n", 0) == 0) << unknown.err;
}
