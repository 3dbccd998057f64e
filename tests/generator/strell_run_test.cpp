// The built strell as a collector sees it, against a receiver on the loopback.
#include <gtest/gtest.h>
#include <signal.h>

#include <climits>
#include <fstream>
#include <numeric>
#include <ctime>
#include <regex>

#include "detail_lines.h"
#include "netflow_wire.h"

namespace StrellTest {
namespace {

using std::string;

ProgramRun run_against(UdpReceiver& receiver, std::vector<string> args) {
    args.insert(args.end(), {"-h", receiver.address(), "-p", std::to_string(receiver.port())});
    return strell(args, &receiver);
}

string announcement(const UdpReceiver& receiver) {
    return "Send packets to host: " + receiver.address() + " ; port: " + std::to_string(receiver.port()) + "\n";
}

// What a synthetic run prints; two blanks stand before the version.
void expect_output(const ProgramRun& run, const string& start, uint32_t count, size_t packets, const char* kind = "NFv5") {
    EXPECT_EQ(run.status, 0) << run.err;
    const std::regex closing(std::to_string(count) + "  " + kind + " in " + std::to_string(packets) +
                             " packets in [0-9]+\\.[0-9]{6} sec\nAverage [0-9]+\\.[0-9]{3} pack/s, "
                             "[0-9]+\\.[0-9]{3} nf/s\n");
    EXPECT_EQ(run.out.substr(0, start.size()), start);
    EXPECT_TRUE(std::regex_match(run.out.substr(std::min(start.size(), run.out.size())), closing)) << run.out;
}

TEST(StrellRun, SyntheticV5SendsFullPacketsThenOnePartialAllCutFromTheFirst) {
    const struct {
        std::vector<string> args;
        const char* address;
        uint32_t records, version;
    } cases[] = {
        {{"-c", "0"}, "127.0.0.1", 0, 5},
        {{"-c", "29"}, "127.0.0.1", 29, 5},
        {{"-c", "65"}, "::1", 65, 5},
        {{"-c", "31", "-v", "7"}, "127.0.0.1", 31, 7},  // any number but 9 sends v5 packets
        {{"-c", "4294967297"}, "127.0.0.1", 1, 5},      // cut to 32 bits
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
            const Datagram& datagram = run.datagrams[i];
            const V5Header header = v5_header(datagram);
            EXPECT_EQ(header.version, c.version);
            EXPECT_EQ(header.count, i < full ? 30 : c.records % 30);
            ASSERT_EQ(datagram.size(), 24 + 48 * header.count);
            EXPECT_NEAR(header.sys_uptime, time(nullptr), 120.0);  // the start second, never refreshed
            EXPECT_EQ(header.unix_secs + header.unix_nsecs + header.engine, 0u);
            EXPECT_EQ(header.sequence, 56u);
            EXPECT_TRUE(std::equal(datagram.begin() + 4, datagram.end(), run.datagrams[0].begin() + 4)) << i;
        }
    }
}

TEST(StrellRun, DelayFollowsFullPacketsOnly) {
    UdpReceiver receiver;
    const ProgramRun run = run_against(receiver, {"-c", "31", "-t", "500000"});
    std::smatch seconds;
    ASSERT_TRUE(std::regex_search(run.out, seconds, std::regex("in ([0-9.]+) sec")));
    EXPECT_GE(std::stod(seconds[1]), 0.5);
    EXPECT_LT(std::stod(seconds[1]), 0.95);  // a sleep after the partial packet would make it 1.0
    EXPECT_EQ(run.datagrams.size(), 2u);
}

TEST(StrellRun, SourceFileBytesBecomeTheRecordsAndZerosAfterItsEnd) {
    TempDir dir;
    const string path = dir.write("source", string(48, '\x11') + string(48, '\x22') + string(4, '\x33'));
    UdpReceiver receiver;
    const ProgramRun run = run_against(receiver, {"-f", path, "-c", "4", "-x", "80"});
    expect_output(run, announcement(receiver) + "NFData from '" + path + "' file\n", 4, 1);
    ASSERT_EQ(run.datagrams.size(), 1u);
    Datagram expected[4] = {Datagram(48, 0x11), Datagram(48, 0x22), {0x33, 0x33, 0x33, 0x33}, {}};
    for (size_t i = 0; i < 4; ++i) {
        expected[i].resize(48);
        expected[i][34] = 0x00;  // dstport
        expected[i][35] = 0x50;
        EXPECT_EQ(hex(v5_record(run.datagrams[0], i)), hex(expected[i])) << "record " << i;
    }
}

TEST(StrellRun, SyntheticV9RepeatsTheOptionFieldsUnderOneTemplate) {
    const struct {
        std::vector<string> options;
        string template_hex, record_hex;
        std::vector<size_t> sizes, counts;
    } cases[] = {
        // Every option in command-line order; a repeated one appends a field, ports are cut to 16 bits.
        {{"-c", "100", "-s", "10.1.2.3", "-d", "2001:db8::1", "-N", "10.0.0.254", "-z", "70000", "-x", "80", "-n",
          "0b101", "-m", "65001", "-i", "3", "-o", "4", "-b", "1000", "-P", "2", "-j", "16", "-k", "27", "-l", "6",
          "-z", "9"},
         "01 00 00 0f 00 08 00 04 00 1c 00 10 00 0f 00 04 00 07 00 02 00 0b 00 02 00 10 00 04 00 11 00 04 "
         "00 0a 00 02 00 0e 00 02 00 01 00 04 00 02 00 04 00 05 00 01 00 06 00 01 00 04 00 01 00 07 00 02",
         "0a 01 02 03 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 0a 00 00 fe 11 70 00 50 00 00 00 05 "
         "00 00 fd e9 00 03 00 04 00 00 03 e8 00 00 00 02 10 1b 06 00 09",
         {1364, 1364, 1364, 1364, 304}, {25, 25, 25, 25, 5}},
        // No option: empty records, 735 to a datagram.
        {{"-c", "1000"}, "01 00 00 00", "", {32, 32}, {736, 266}},
    };
    for (const auto& c : cases) {
        UdpReceiver receiver;
        std::vector<string> args = c.options;
        args.insert(args.begin(), {"-v", "9"});
        const ProgramRun run = run_against(receiver, args);
        expect_output(run, announcement(receiver), std::stoi(c.options[1]), c.sizes.size(), "NFv9");
        std::vector<size_t> sizes, counts;
        for (const Datagram& datagram : run.datagrams) {
            const V9Datagram packet = parse_v9(datagram);
            sizes.push_back(datagram.size());
            counts.push_back(packet.count);
            EXPECT_NEAR(packet.sys_uptime, time(nullptr), 120.0);
            EXPECT_EQ(packet.unix_secs, 0u);
            EXPECT_EQ(packet.sequence, 56u);
            EXPECT_EQ(packet.source_id, 1234u);
            ASSERT_EQ(packet.flowsets.size(), 2u);
            EXPECT_EQ(packet.flowsets[0].id, 0u);
            EXPECT_EQ(hex(packet.flowsets[0].body), c.template_hex);
            EXPECT_EQ(packet.flowsets[1].id, 256u);
            const size_t size = (c.record_hex.size() + 1) / 3;
            for (size_t at = 0; size != 0 && at + size <= packet.flowsets[1].body.size(); at += size) {
                EXPECT_EQ(hex(packet.flowsets[1].body, at, at + size), c.record_hex);
            }
        }
        EXPECT_EQ(sizes, c.sizes);
        EXPECT_EQ(counts, c.counts);
    }
}

TEST(StrellRun, NumbersAreReadAsStrtolReadsThemWithABinaryPrefixUnderBaseZero) {
    // -n takes base 0, -i base 10; a value is cut to its field's width.
    const std::pair<string, long> as_numbers[] = {
        {"0b101", 5}, {"0B11", 3}, {" \t-0b11", -3}, {"+0b1", 1}, {"0b1012", 5}, {"0x1f", 31}, {"017", 15},
        {"65001", 65001}, {"0b", 0}, {"0b2", 0}, {"-0b", 0}, {"b101", 0},
        {"0b" + string(64, '1'), LONG_MAX}, {"-0b1" + string(64, '0'), LONG_MIN}};
    std::vector<string> args = {"-v", "9", "-c", "1", "-i", "0b101", "-i", "12abc"};
    Datagram expected = {0, 0, 0, 12};
    for (const auto& [text, value] : as_numbers) {
        args.insert(args.end(), {"-n", text});
        for (int shift = 24; shift >= 0; shift -= 8) expected.push_back(static_cast<uint8_t>(value >> shift));
    }
    UdpReceiver receiver;
    const ProgramRun run = run_against(receiver, args);
    ASSERT_EQ(run.datagrams.size(), 1u);
    const V9Datagram packet = parse_v9(run.datagrams[0]);
    ASSERT_EQ(packet.flowsets.size(), 2u);
    EXPECT_EQ(hex(packet.flowsets[1].body, 0, expected.size()), hex(expected));
}

TEST(StrellRun, FailuresPrintTheirMessageAndEndWithTheirStatus) {
    TempDir dir;
    const string mixed = write_detail_file(dir, "mixed.vorn", "new", {flow_json({{"s_addr", "2001:db8::1"}})});
    const struct {
        std::vector<string> args;
        int status;
        string output_end;
    } cases[] = {
        {{"-s", "10.0.0.300"}, 1, "IPAddressStrError: Invalid address format\n"},
        {{"-n", "5"}, 1, "NFData from '/dev/urandom' file\nIncorrect field size for field: 16"},
        {{"-m", "5"}, 1, "NFData from '/dev/urandom' file\nIncorrect field size for field: 17"},
        {{"-s", "2001:db8::1"}, 1, "file\nError: attempt to create netflow v5 packet with IPv6\n"},
        {{"-u"}, 1, " ; port: PORT\nSpecify file name of .vorn detail file. Use [-f] option\n"},
        {{"-u", "-v", "9", "-f", mixed}, 1, "' vorn statistic file\nIncorrect netflow data\n"},
        {{"-h", "not-an-address"}, -1, ""},  // not caught: the runtime aborts
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args[1]);
        UdpReceiver receiver;
        const ProgramRun run = run_against(receiver, c.args);
        EXPECT_EQ(run.status, c.status);
        EXPECT_EQ(run.signal, c.status == -1 ? SIGABRT : 0);
        const string end = std::regex_replace(c.output_end, std::regex("PORT"), std::to_string(receiver.port()));
        EXPECT_EQ(run.out.substr(run.out.size() - std::min(end.size(), run.out.size())), end);
        EXPECT_TRUE(run.datagrams.empty());
    }
}

TEST(StrellRun, UsageWithoutArgumentsAndOnBadOptions) {
    const std::regex first_line(
        "Dexmar Vorn billing NetFlow v5 and v9 packet generator\\. Compile date: "
        "[A-Z][a-z]{2} [ 1-3][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}\n");
    const string usage =
        "usage: strell\n"
        "\t[-h host]   \t\tTarget machine. Default is 127.0.0.1\n"
        "\t[-p port]   \t\tTarget port. Default is 9996\n"
        "\t[-c count]   \t\tNumber of records to send. Default is 0xffff\n"
        "\t[-v version]   \t\tNetflow protocol version. Netflow v5 and v9 supported\n"
        "\t[-f file]   \t\tGet data to send from file. Default is /dev/urandom. For netflow v5 only\n"
        "\t[-t usec]  \t\tSleep for usec milliseconds after each packet (or specified with -a packets)\n"
        "\t[-s ip]  \t\tSource IP-address in netflow packets(srcaddr field)\n"
        "\t[-d ip] \t\tDestination IP-address in netflow packets(dstaddr field)\n"
        "\t[-z src_port]  \t\tSource port in netflow packet\n"
        "\t[-x dst_port ] \t\tDestination port in netflow packet\n"
        "\t[-n src_as ] \t\tSource AS in netflow packet\n"
        "\t[-m dst_as ] \t\tDestination AS in netflow packet\n"
        "\t[-i input_if ] \t\tInput interface index\n"
        "\t[-o output_if ] \tOutput interface index\n"
        "\t[-b bytes ] \t\tBytes in dOctet field\n"
        "\t[-P packets ] \t\tPackets in dPacket field\n"
        "\t[-j tos ] \t\tType-of-Service\n"
        "\t[-k tcp_flags ] \tTCP Flags\n"
        "\t[-l proto ] \t\tIP protocol, e.g., 6=TCP, 17=UDP, ...\n"
        "\t[-N nexthop ] \t\tIP of next router\n"
        "\t[-u] \t\tUse Vorn detailed statistic file\n";
    const struct {
        std::vector<string> args;
        int status;
        const char* err;  // not even the logger starts
    } cases[] = {{{}, 0, ""}, {{"-q"}, 1, "invalid option -- 'q'"}, {{"-c"}, 1, "option requires an argument -- 'c'"}};
    for (const auto& c : cases) {
        const ProgramRun run = strell(c.args);
        EXPECT_EQ(run.status, c.status) << c.err;
        const size_t first_end = run.out.find('\n') + 1;
        EXPECT_TRUE(std::regex_match(run.out.substr(0, first_end), first_line)) << run.out;
        EXPECT_EQ(run.out.substr(first_end), usage);
        EXPECT_TRUE(*c.err == '\0' ? run.err.empty() : run.err.find(c.err) != string::npos) << run.err;
    }
}

// Flow i: from 10.0.0.0 + i, or from 2001:db8:: + i when v6; i + 1 packets.
string flow_line(size_t i, bool v6 = false) {
    const string source = v6 ? "2001:db8::" + std::to_string(i) : "10.0." + std::to_string(i / 256) + "." + std::to_string(i % 256);
    return flow_json({{"s_addr", source}, {"d_addr", v6 ? "2001:db8::ffff" : "192.0.2.1"}, {"nexthop_addr", v6 ? "::" : "0.0.0.0"}, {"d_pkt", i + 1}});
}

ProgramRun replay(UdpReceiver& receiver, const string& file, std::vector<string> options) {
    options.insert(options.end(), {"-u", "-f", file, "-t", "50"});
    return run_against(receiver, options);
}

// The packets of the v5 records of a run, in order.
std::vector<uint32_t> v5_packets_fields(const ProgramRun& run) {
    std::vector<uint32_t> packets;
    for (const Datagram& datagram : run.datagrams) {
        EXPECT_EQ(v5_header(datagram).sequence, 56u);
        for (size_t i = 0; i < v5_header(datagram).count; ++i) packets.push_back(be(datagram, 24 + 48 * i + 16, 4));
    }
    return packets;
}

TEST(StrellReplay, SixteenBitCounterLimitsTheRecordsButAbove65535SendsTheWholeFile) {
    TempDir dir;
    std::vector<string> lines;
    for (size_t i = 0; i < 5000; ++i) lines.push_back(flow_line(i));
    const string file = write_detail_file(dir, "flows.vorn", "new", lines);
    // 70000 is 4464 in 16 bits and 65536 is 0: the counter never reaches either.
    for (const auto& [count, sent] : {std::pair{"70000", 5000u}, {"65536", 5000u}, {"10", 10u}}) {
        SCOPED_TRACE(count);
        UdpReceiver receiver;
        const ProgramRun run = replay(receiver, file, {"-c", count});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.datagrams.size(), (sent + 29) / 30);
        std::vector<uint32_t> expected(sent);
        std::iota(expected.begin(), expected.end(), 1);
        EXPECT_EQ(v5_packets_fields(run), expected);
    }
}

TEST(StrellReplay, V5SendsThirtyIPv4FlowsADatagramAndV9EveryFlowUnderItsTemplate) {
    TempDir dir;
    std::vector<string> mixed, v4;
    for (size_t i = 0; i < 65; ++i) v4.push_back(flow_line(i));
    for (size_t i = 0; i < 20; ++i) mixed.push_back(flow_line(i, i % 4 == 3));
    const string old_file = write_detail_file(dir, "old.vorn", "old", v4);
    const string mixed_file = write_detail_file(dir, "mixed.vorn", "new", mixed);
    UdpReceiver receiver;
    const ProgramRun old_v5 = replay(receiver, old_file, {});
    // No closing statistics in this mode.
    EXPECT_EQ(old_v5.out, announcement(receiver) + "NFData from '" + old_file + "' vorn statistic file\n");
    std::vector<uint32_t> expected(65);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(v5_packets_fields(old_v5), expected);
    EXPECT_EQ(old_v5.datagrams.size(), 3u);
    // IPv6 flows are skipped in v5.
    expected = {1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, 17, 18, 19};
    EXPECT_EQ(v5_packets_fields(replay(receiver, mixed_file, {})), expected);
    const ProgramRun v9 = replay(receiver, mixed_file, {"-v", "9"});
    ASSERT_EQ(v9.datagrams.size(), 1u);
    const V9Datagram packet = parse_v9(v9.datagrams[0]);
    EXPECT_EQ(packet.count, 2u + 20u);
    ASSERT_EQ(packet.flowsets.size(), 3u);
    EXPECT_EQ(packet.flowsets[1].body.size(), 15 * 39 + 3u);
    EXPECT_EQ(packet.flowsets[2].body.size(), 5 * 75 + 1u);
}

TEST(StrellReplay, UnreadableFilesEndQuietlyAfterTheirDebugLine) {
    TempDir dir;
    const string damaged = write_detail_file(dir, "damaged.vorn", "new", {flow_line(0), flow_line(1), flow_line(2)});
    std::ofstream(damaged, std::ios::app) << '\xEE';  // a data id the header never declared
    const struct {
        string path, line;
        size_t records;
    } cases[] = {
        {dir.file("none.vorn"), "Unable to open raw file: <" + dir.file("none.vorn") + ">", 0},
        {dir.write("empty.vorn", ""), "There is no such fromat (from file <" + dir.file("empty.vorn") + ">)", 0},
        {damaged, "There is no such data ID in metadata. Current file has been damaged", 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        UdpReceiver receiver;
        const ProgramRun v5 = replay(receiver, c.path, {});
        EXPECT_EQ(v5.status, 0) << v5.err;
        EXPECT_TRUE(std::regex_search(v5.err, std::regex("\\?Debug : [0-9a-f]+ DetailedInfoFileParser: "))) << v5.err;
        EXPECT_NE(v5.err.find("DetailedInfoFileParser: " + c.line + "\n"), string::npos) << v5.err;
        EXPECT_EQ(v5_packets_fields(v5).size(), c.records);
        // The v9 manager still forces out its templates.
        const ProgramRun v9 = replay(receiver, c.path, {"-v", "9"});
        EXPECT_EQ(v9.status, 0) << v9.err;
        ASSERT_EQ(v9.datagrams.size(), 1u);
        EXPECT_EQ(parse_v9(v9.datagrams[0]).count, 2u + c.records);
    }
}

}  // namespace
}  // namespace StrellTest
