// The built strell as a collector sees it, against a receiver on the loopback.
#include <gtest/gtest.h>
#include <signal.h>

#include <climits>
#include <ctime>
#include <regex>

#include "detail_lines.h"
#include "netflow_wire.h"

using namespace StrellTest;
using std::string;

ProgramRun run_against(UdpReceiver& receiver, std::vector<string> args) {
    return args.insert(args.end(), {"-h", receiver.address(), "-p", std::to_string(receiver.port())}), strell(args, &receiver);
}

string announcement(const UdpReceiver& r) { return "Send packets to host: " + r.address() + " ; port: " + std::to_string(r.port()) + "\n"; }

// What a synthetic run prints: its start, then the closing lines; two blanks stand before the version.
void expect_output(const ProgramRun& run, const string& start, uint32_t count, size_t packets, const char* kind = "NFv5") {
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.substr(0, start.size()), start);
    const string closing = std::to_string(count) + "  " + kind + " in " + std::to_string(packets) + " packets in ";
    EXPECT_TRUE(std::regex_match(run.out.substr(std::min(start.size(), run.out.size())), std::regex(closing +
        "[0-9]+\\.[0-9]{6} sec\nAverage [0-9]+\\.[0-9]{3} pack/s, [0-9]+\\.[0-9]{3} nf/s\n"))) << run.out;
}

TEST(StrellRun, SyntheticV5SendsFullPacketsThenOnePartialAllCutFromTheFirst) {
    const struct { std::vector<string> args; const char* address; uint32_t records, version; } cases[] = {
        // Away from 127.0.0.1 and ::1, where datagrams sent to the wildcard address end up.
        {{"-c", "0"}, "127.0.0.1", 0, 5}, {{"-c", "29"}, "127.0.0.2", 29, 5}, {{"-c", "65"}, "::1", 65, 5},
        {{"-c", "31", "-v", "7"}, "127.0.0.1", 31, 7},  // any number but 9 sends v5 packets
        {{"-c", "4294967297"}, "::ffff:127.0.0.2", 1, 5},  // cut to 32 bits
        {{"-t", "50"}, "127.0.0.1", 65535, 5},          // the default count
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args[1]);
        UdpReceiver receiver(c.address);
        const ProgramRun run = run_against(receiver, c.args);
        const size_t full = c.records / 30, datagrams = full + (c.records % 30 != 0);
        expect_output(run, announcement(receiver) + "NFData from '/dev/urandom' file\n", c.records, datagrams);
        ASSERT_EQ(run.datagrams.size(), datagrams);
        for (size_t i = 0; i < datagrams; ++i) {
            const Datagram& d = run.datagrams[i];
            ASSERT_EQ(d.size(), 24 + 48 * be(d, 2, 2));
            EXPECT_EQ(std::make_tuple(be(d, 0, 2), be(d, 2, 2)), std::make_tuple(c.version, i < full ? 30 : c.records % 30));
            EXPECT_NEAR(be(d, 4, 4), time(nullptr), 120.0);  // the start second, never refreshed
            EXPECT_EQ(hex(d, 8, 24), "00 00 00 00 00 00 00 00 00 00 00 38 00 00 00 00");  // unix_secs, nsecs, sequence, engine
            EXPECT_TRUE(std::equal(d.begin() + 4, d.end(), run.datagrams[0].begin() + 4)) << i;
        }
    }
}

TEST(StrellRun, DelayFollowsFullPacketsOnly) {
    UdpReceiver receiver;
    const ProgramRun run = run_against(receiver, {"-c", "31", "-t", "500000"});
    std::smatch seconds;
    ASSERT_TRUE(std::regex_search(run.out, seconds, std::regex("in ([0-9.]+) sec")));
    // A sleep after the partial packet would make it 1.0.
    EXPECT_TRUE(std::stod(seconds[1]) >= 0.5 && std::stod(seconds[1]) < 0.95) << seconds[1];
    EXPECT_EQ(run.datagrams.size(), 2u);
}

TEST(StrellRun, TheCollectorIsAnnouncedAtOnceNotOnlyAtExit) {
    UdpReceiver receiver;  // a run ended by a signal while it waits to send again still told where it sent
    const ProgramRun run = run_program("/bin/sh", {"-c", "\"$0\" -h \"$1\" -p \"$2\" -c 60 -t 5000000 & sleep 2; kill $!; wait", STRELL_BINARY,
                                                   receiver.address(), std::to_string(receiver.port())}, &receiver, "");
    EXPECT_EQ(std::make_pair(run.out, run.datagrams.size()), std::make_pair(announcement(receiver), size_t{1}));
}

TEST(StrellRun, SourceFileBytesBecomeTheRecordsAndZerosAfterItsEnd) {
    TempDir dir;
    const string path = dir.write("source", string(48, '\x11') + string(48, '\x22') + string(4, '\x33'));
    UdpReceiver receiver;
    const ProgramRun run = run_against(receiver, {"-f", path, "-c", "4", "-x", "80"});
    expect_output(run, announcement(receiver) + "NFData from '" + path + "' file\n", 4, 1);
    ASSERT_EQ(run.datagrams.size(), 1u);
    for (uint8_t i = 0; i < 4; ++i) {
        Datagram expected(48, i < 2 ? 0x11 * (i + 1) : 0);
        std::fill_n(expected.begin(), i == 2 ? 4 : 0, 0x33);
        expected[34] = 0, expected[35] = 0x50;  // dstport
        EXPECT_EQ(hex(run.datagrams[0], 24 + 48 * i, 72 + 48 * i), hex(expected)) << "record " << int(i);
    }
}

TEST(StrellRun, SyntheticV9RepeatsTheOptionValuesAsStrtolReadsThemUnderOneTemplate) {
    // -n reads base 0 and a "0b" prefix, -i base 10; every value is cut to its field's width.
    const std::pair<string, long> numbers[] = {
        {"0b101", 5}, {"0B11", 3}, {" \t-0b11", -3}, {"+0b1", 1}, {"0b1012", 5}, {"0x1f", 31}, {"017", 15},
        {"65001", 65001}, {"0b", 0}, {"0b2", 0}, {"-0b", 0}, {"b101", 0},
        {"0b" + string(64, '1'), LONG_MAX}, {"-0b1" + string(64, '0'), LONG_MIN}};
    std::vector<string> options = {"-v", "9", "-c", "1", "-i", "0b101", "-i", "12abc", "-z", "70000"};
    string fields = "01 00 00 11 00 0a 00 02 00 0a 00 02 00 07 00 02", record = "00 00 00 0c 11 70";
    for (const auto& [text, value] : numbers) {
        options.insert(options.end(), {"-n", text});
        fields += " 00 10 00 04";
        const Datagram bytes = {uint8_t(value >> 24), uint8_t(value >> 16), uint8_t(value >> 8), uint8_t(value)};
        record += " " + hex(bytes);
    }
    const struct { std::vector<string> options; string template_hex, record_hex; std::vector<size_t> sizes, counts; } cases[] = {
        {options, fields, record + " 00 00", {20 + 4 + 4 + 17 * 4 + 4 + 64}, {2}},  // 62 bytes and padding
        // No option: empty records, 735 to a datagram.
        {{"-v", "9", "-c", "1000"}, "01 00 00 00", "", {32, 32}, {736, 266}},
    };
    for (const auto& c : cases) {
        UdpReceiver receiver("127.0.0.2");
        const ProgramRun run = run_against(receiver, c.options);
        expect_output(run, announcement(receiver), std::stoi(c.options[3]), c.sizes.size(), "NFv9");
        std::vector<size_t> sizes, counts;
        for (const Datagram& datagram : run.datagrams) {
            const V9Datagram packet = parse_v9(datagram);
            sizes.push_back(datagram.size()), counts.push_back(packet.count);
            EXPECT_NEAR(packet.sys_uptime, time(nullptr), 120.0);
            EXPECT_EQ(std::tie(packet.unix_secs, packet.sequence, packet.source_id), std::make_tuple(0u, 56u, 1234u));
            ASSERT_EQ(packet.flowsets.size(), 2u);
            EXPECT_EQ(std::tie(packet.flowsets[0].id, packet.flowsets[1].id), std::make_tuple(0u, 256u));
            EXPECT_TRUE(c.template_hex.empty() || hex(packet.flowsets[0].body) == c.template_hex) << hex(packet.flowsets[0].body);
            EXPECT_TRUE(c.record_hex.empty() || hex(packet.flowsets[1].body) == c.record_hex) << hex(packet.flowsets[1].body);
        }
        EXPECT_EQ(std::make_tuple(sizes, counts), std::make_tuple(c.sizes, c.counts));
    }
}

TEST(StrellRun, UsageAndFailuresPrintTheirMessageAndEndWithTheirStatus) {
    TempDir dir;
    const string usage = read_file(USAGE_TEXT), mixed = write_detail_file(dir, "mixed.vorn", "new", {flow_json({{"s_addr", "::1"}})}),
                 mixed_after_v4 = write_detail_file(dir, "mixed4.vorn", "new", {flow_json({{"d_addr", "::1"}})});
    std::vector<string> too_many = {"-v", "9"};
    // The template fits a datagram, the template and one record do not.
    for (int i = 0; i < 250; ++i) too_many.insert(too_many.end(), {"-b", "1"});
    const struct { std::vector<string> args; int status; string output_end, error_part; } cases[] = {
        {{}, 0, usage, ""},  // not even the logger starts
        {{"-q"}, 1, usage, "invalid option -- 'q'"}, {{"-c"}, 1, usage, "option requires an argument -- 'c'"},
        {{"-s", "10.0.0.300"}, 1, "IPAddressStrError: Invalid address format\n", ""},
        {{"-n", "5"}, 1, "NFData from '/dev/urandom' file\nIncorrect field size for field: 16", ""},
        {{"-s", "2001:db8::1"}, 1, "file\nError: attempt to create netflow v5 packet with IPv6\n", ""},
        {{"-u"}, 1, "Specify file name of .vorn detail file. Use [-f] option\n", ""},
        {{"-u", "-v", "9", "-f", mixed}, 1, "' vorn statistic file\nIncorrect netflow data\n", ""},
        {{"-u", "-v", "9", "-f", mixed_after_v4}, 1, "' vorn statistic file\nIncorrect netflow data\n", ""},
        {too_many, 1, "Error: too many fields for one netflow v9 packet\n", ""},
        {{"-h", "not-an-address"}, -1, "", ""},  // not caught: the runtime aborts
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("case " + std::to_string(&c - cases));
        UdpReceiver receiver;
        std::vector<string> args = {"-p", std::to_string(receiver.port())};  // should anything be sent
        args.insert(args.end(), c.args.begin(), c.args.end());
        const ProgramRun run = strell(c.args.empty() ? c.args : args, &receiver);
        EXPECT_EQ(std::make_pair(run.status, run.signal), std::make_pair(c.status, c.status == -1 ? SIGABRT : 0));
        EXPECT_EQ(run.out.substr(run.out.size() - std::min(c.output_end.size(), run.out.size())), c.output_end);
        EXPECT_NE(run.err.find(c.error_part), string::npos) << run.err;
        EXPECT_TRUE(run.datagrams.empty());
        if (c.args.empty()) {
            EXPECT_TRUE(run.err.empty()) << run.err;
            EXPECT_TRUE(std::regex_match(run.out.substr(0, run.out.find('\n') + 1), std::regex(
                "Dexmar Vorn billing NetFlow v5 and v9 packet generator\\. Compile date: "
                "[A-Z][a-z]{2} [ 1-3][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}\n")));
            EXPECT_EQ(run.out.size(), run.out.find('\n') + 1 + usage.size());
        }
    }
}

// Flow i: from 10.0.x.y = i or from 2001:db8::i, its source port i, i + 1 packets.
string flow_line(size_t i, bool v6 = false) {
    char source[40];
    std::snprintf(source, sizeof source, v6 ? "2001:db8::%zx" : "10.0.%zu.%zu", v6 ? i : i / 256, i % 256);
    return flow_json({{"s_addr", source}, {"d_addr", v6 ? "2001:db8::ffff" : "192.0.2.1"}, {"nexthop_addr", v6 ? "::" : "0.0.0.0"},
                      {"sport", i}, {"d_pkt", i + 1}});
}

ProgramRun replay(UdpReceiver& receiver, const string& file, std::vector<string> options) {
    return options.insert(options.end(), {"-u", "-f", file}), run_against(receiver, options);
}

// The first send puts the epoch seconds into SysUptime (unix_secs starts at 0), every later
// one the seconds since the previous send; sequence (and source id) never change.
void expect_headers(const ProgramRun& run, uint32_t started) {
    const auto now = static_cast<uint32_t>(time(nullptr));
    for (size_t i = 0; i < run.datagrams.size(); ++i) {
        const Datagram& d = run.datagrams[i];
        const bool v9 = be(d, 0, 2) == 9;  // v5: unix_nsecs, sequence and the engine word; v9: sequence and source id
        const uint32_t uptime = be(d, 4, 4), unix_secs = be(d, 8, 4);
        EXPECT_TRUE(unix_secs >= started && unix_secs <= now) << unix_secs;
        EXPECT_TRUE(i == 0 ? uptime == unix_secs : uptime <= now - started) << uptime;
        EXPECT_EQ(hex(d, 12, v9 ? 20 : 24), v9 ? "00 00 00 38 00 00 04 d2" : "00 00 00 00 00 00 00 38 00 00 00 00");
    }
}

TEST(StrellReplay, ThirtyIPv4FlowsADatagramAndA16BitCounterThatAbove65535SendsTheWholeFile) {
    TempDir dir;
    std::vector<string> lines;
    std::vector<uint32_t> v4_packets;  // every seventh flow is IPv6: skipped in v5, yet counted
    for (uint32_t i = 0; i < 5000; ++i) lines.push_back(flow_line(i, i % 7 == 6)), i % 7 == 6 ? void() : v4_packets.push_back(i + 1);
    const string file = write_detail_file(dir, "flows.vorn", "new", lines);
    // 70000 is 4464 in 16 bits and 65536 is 0: the counter never reaches either.
    // 35 hands over 30 IPv4 flows: one full datagram, and nothing left to force out.
    for (const auto& [count, sent] : {std::pair{"70000", size_t(4286)}, {"65536", size_t(4286)}, {"35", size_t(30)}}) {
        UdpReceiver receiver("127.0.0.2");
        const auto started = static_cast<uint32_t>(time(nullptr));
        const ProgramRun run = replay(receiver, file, {"-c", count, "-t", "50"});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, announcement(receiver) + "NFData from '" + file + "' vorn statistic file\n");  // no closing lines
        EXPECT_EQ(run.datagrams.size(), (sent + 29) / 30);
        std::vector<uint32_t> packets;  // the packets fields of the records, in order; a datagram of another size adds none
        for (const Datagram& d : run.datagrams)
            for (size_t i = 0; d.size() == 24 + 48 * be(d, 2, 2) && i < be(d, 2, 2); ++i) packets.push_back(be(d, 24 + 48 * i + 16, 4));
        EXPECT_EQ(packets, std::vector<uint32_t>(v4_packets.begin(), v4_packets.begin() + sent));
        expect_headers(run, started);
    }
}

TEST(StrellReplay, FlowsGoOutByteForByteInBothVersionsAfterTheDelay) {
    TempDir dir;
    const nlohmann::json v4 = {{"s_addr", "10.0.0.1"}, {"d_addr", "192.168.1.2"}, {"nexthop_addr", "10.0.0.254"}, {"iface", 3},
                               {"oface", 4}, {"d_pkt", 5}, {"d_oct", 4096}, {"ts_first", 0x11111111}, {"ts_last", 0x22222222},
                               {"sport", 0x1234}, {"dport", 80}, {"tcp_flags", 27}, {"proto", 6}, {"tos", 16},
                               {"src_as", 70000}, {"dst_as", 65001}, {"src_mask", 24}, {"dst_mask", 16}};
    nlohmann::json v6 = v4;
    v6.update({{"s_addr", "2001:db8::1"}, {"d_addr", "2001:db8::2"}, {"nexthop_addr", "fe80::1"}});
    const string file = write_detail_file(dir, "two.vorn", "new", {flow_json(v6), flow_json(v4)});
    UdpReceiver receiver;
    const auto started = static_cast<uint32_t>(time(nullptr));
    // Each manager sleeps before every send, the forced last one too: the header time follows the sleep.
    const ProgramRun v5 = replay(receiver, file, {"-t", "1100000"}), v9 = replay(receiver, file, {"-t", "1100000", "-v", "9"});
    ASSERT_EQ(v5.datagrams.size() + v9.datagrams.size(), 2u);
    expect_headers(v5, started + 1);
    expect_headers(v9, started + 2);
    // v5: the IPv6 flow is skipped; src_as 70000 keeps its lower 16 bits.
    EXPECT_EQ(hex(v5.datagrams[0], 0, 4) + " " + hex(v5.datagrams[0], 24),
              "00 05 00 01 0a 00 00 01 c0 a8 01 02 0a 00 00 fe 00 03 00 04 00 00 00 05 00 00 10 00 "
                                                   "11 11 11 11 22 22 22 22 12 34 00 50 00 1b 06 10 11 70 fd e9 18 10 00 00");
    // v9: both templates first, then 256 before 257 whatever the arrival order, each padded to 4 bytes.
    const V9Datagram packet = parse_v9(v9.datagrams[0]);
    EXPECT_EQ(std::tie(packet.version, packet.count), std::make_tuple(9u, 4u)); ASSERT_EQ(packet.flowsets.size(), 3u);
    const string fields = "00 08 00 04 00 0c 00 04 00 3e 00 04 00 07 00 02 00 0b 00 02 00 10 00 04 00 11 00 04 "
                          "00 0a 00 02 00 0e 00 02 00 01 00 04 00 02 00 04 00 05 00 01 00 06 00 01 00 04 00 01";
    const string rest = "12 34 00 50 00 01 11 70 00 00 fd e9 00 03 00 04 00 00 10 00 00 00 00 05 10 1b 06 00";
    EXPECT_EQ(std::tie(packet.flowsets[0].id, packet.flowsets[1].id, packet.flowsets[2].id), std::make_tuple(0u, 256u, 257u));
    EXPECT_EQ(hex(packet.flowsets[0].body), "01 00 00 0e " + fields + " 01 01 00 0e 00 1b 00 10 00 1c 00 10 00 3e 00 10" + fields.substr(35));
    EXPECT_EQ(hex(packet.flowsets[1].body), "0a 00 00 01 c0 a8 01 02 0a 00 00 fe " + rest);
    EXPECT_EQ(hex(packet.flowsets[2].body), "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 20 01 0d b8 00 00 00 00 "
                                            "00 00 00 00 00 00 00 02 fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 01 " + rest);
}

TEST(StrellReplay, V9SendsEveryFlowOnceAndInOrderInDatagramsUpTo1500BytesTemplatesInTheFirst) {
    // Runs of either family of varying length, so that flowsets of both ids open and close in every order.
    std::vector<std::pair<int, bool>> long_run;  // flows, IPv6
    for (uint32_t state = 12345, flows = 0; flows < 1500; flows += long_run.back().first) {
        state = state * 1103515245u + 12345u;
        long_run.emplace_back(1 + (state >> 20) % 40, (state >> 16) % 3 == 0);
    }
    // The sizes of the datagrams, when given.
    const struct { const char* traffic; std::vector<std::pair<int, bool>> runs; std::vector<size_t> sizes; } cases[] = {
        {"IPv4: 34 records beside the templates, then 37", {{76, false}}, {1476, 1468, 20 + 4 + 5 * 39 + 1}},
        {"IPv6: 18, then 19", {{38, true}}, {1500, 1452, 20 + 4 + 76}},
        {"a flow of the other family that does not fit", {{34, false}, {1, true}}, {1476, 20 + 4 + 76}},
        {"no flow: the templates alone", {}, {144}},
        {"three IPv4 flows: count 5, data flowset of 117 bytes and 3 of padding", {{3, false}}, {268}}, {"a long mixed run", long_run, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.traffic);
        TempDir dir;
        std::vector<string> lines;
        std::vector<uint32_t> expected[2], seen[2];
        for (const auto& [flows, v6] : c.runs)
            for (int i = 0; i < flows; ++i) expected[v6].push_back(uint32_t(lines.size())), lines.push_back(flow_line(lines.size(), v6));
        UdpReceiver receiver("::ffff:127.0.0.2");
        const auto started = static_cast<uint32_t>(time(nullptr));
        const ProgramRun run = replay(receiver, write_detail_file(dir, "flows.vorn", "new", lines), {"-v", "9"});
        expect_headers(run, started);
        std::vector<size_t> sizes;
        int64_t last_sent = -1;
        for (const Datagram& datagram : run.datagrams) {
            sizes.push_back(datagram.size());
            EXPECT_LE(datagram.size(), 1500u);
            int64_t first = INT32_MAX, last = -1;
            const size_t before = seen[0].size() + seen[1].size();
            const V9Datagram packet = parse_v9(datagram);
            EXPECT_EQ(packet.flowsets.at(0).id == 0, sizes.size() == 1) << "templates in the first datagram only";
            for (const V9Flowset& flowset : packet.flowsets) {
                const bool v6 = flowset.id == 257;
                const size_t size = v6 ? 75 : 39;
                for (size_t at = 0; flowset.id != 0 && at + size <= flowset.body.size(); at += size) {
                    const uint32_t n = be(flowset.body, at + (v6 ? 48 : 12), 2);  // the source port
                    EXPECT_EQ(be(flowset.body, at + (v6 ? 12 : 0), 4), v6 ? n : 0x0a000000u + n);
                    seen[v6].push_back(n);
                    std::tie(first, last) = std::make_pair(std::min<int64_t>(first, n), std::max<int64_t>(last, n));
                }
            }
            EXPECT_EQ(packet.count, seen[0].size() + seen[1].size() - before + (sizes.size() == 1 ? 2 : 0)) << "records, templates too";
            EXPECT_GT(first, last_sent) << "flows out of order across datagrams";
            last_sent = std::max(last, last_sent);
        }
        EXPECT_TRUE(seen[0] == expected[0] && seen[1] == expected[1]) << "every flow once, in order";
        EXPECT_TRUE(c.sizes.empty() || sizes == c.sizes);
    }
}

// A layout of the fields in another order than vorn-detail writes them: data id 1 holds a whole flow,
// data id 2 only a source port, and a record of it takes every other field from the record before it.
TEST(StrellReplay, ARecordLackingFieldsTakesThemFromTheRecordBeforeWhateverTheLayouts) {
    const std::string ids = {8, 12, 15, 10, 14, 2, 1, 22, 21, 7, 11, 6, 4, 5, 16, 17, 9, 13}, sizes = {4, 4, 4, 2, 2, 4, 4, 4, 4, 2, 2, 1, 1, 1, 4, 4, 1, 1};
    string file = {2, 18};
    for (size_t i = 0; i < ids.size(); ++i) file += {ids[i], sizes[i]};
    file += string{2, 1, 18} + ids + string{2, 1, 7};
    const auto whole = [&](uint32_t base) {  // field i holds base + i, little-endian
        string record = {1};
        for (size_t i = 0; i < ids.size(); ++i)
            for (int b = 0; b < sizes[i]; ++b) record += char((base + i) >> 8 * b);
        return record;
    };
    const auto port = [](uint16_t p) { return string{2, char(p), char(p >> 8)}; };
    TempDir dir;
    UdpReceiver receiver;
    const ProgramRun run = replay(receiver, dir.write("layouts.vorn", file + whole(0x0a000000) + port(0x1234) + whole(0x0b000000) + port(0x5678)), {});
    ASSERT_EQ(run.datagrams.size(), 1u);
    const Datagram& d = run.datagrams[0];
    ASSERT_EQ(d.size(), 24 + 4 * 48u);
    const auto record = [&](size_t i, bool port) { return hex(d, 24 + 48 * i, 24 + 48 * i + (port ? 48 : 32)) + (port ? "" : " " + hex(d, 24 + 48 * i + 34, 72 + 48 * i)); };
    EXPECT_EQ(record(0, true), "0a 00 00 00 0a 00 00 01 0a 00 00 02 00 03 00 04 0a 00 00 05 0a 00 00 06 0a 00 00 07 0a 00 00 08 "
                               "00 09 00 0a 00 0b 0c 0d 00 0e 00 0f 10 11 00 00");
    EXPECT_EQ(std::make_tuple(record(1, false), be(d, 24 + 48 + 32, 2)), std::make_tuple(record(0, false), 0x1234u));
    EXPECT_EQ(std::make_tuple(record(3, false), be(d, 24 + 3 * 48 + 32, 2)), std::make_tuple(record(2, false), 0x5678u));
    EXPECT_EQ(be(d, 24 + 2 * 48, 4), 0x0b000000u);
}
