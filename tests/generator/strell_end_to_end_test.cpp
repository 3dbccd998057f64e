#include <gtest/gtest.h>
#include <signal.h>

#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "test_support.h"

namespace StrellTest {
namespace {

using std::string;

const int big_receive_buffer = 8 << 20;

StrellRun run_against(UdpReceiver& receiver, std::vector<string> args) {
    args.insert(args.end(), {"-h", receiver.address(), "-p", std::to_string(receiver.port())});
    return run_strell(args, &receiver);
}

// The whole stdout of a synthetic run that went to the receiver; v5 names its source.
void expect_closing_output(const StrellRun& run, const UdpReceiver& receiver, uint32_t count, size_t packets,
                           const string& source = "NFData from '/dev/urandom' file\n", const char* kind = "NFv5") {
    const string address = std::regex_replace(receiver.address(), std::regex(R"(\.)"), R"(\.)");
    const string expected = "Send packets to host: " + address + " ; port: " + std::to_string(receiver.port()) +
                            "\n" + source + std::to_string(count) + "  " + kind + " in " + std::to_string(packets) +
                            " packets in [0-9]+\\.[0-9]{6} sec\n"
                            "Average [0-9]+\\.[0-9]{3} pack/s, [0-9]+\\.[0-9]{3} nf/s\n";
    EXPECT_TRUE(std::regex_match(run.out, std::regex(expected))) << run.out;
}

// Full packets first, all byte-identical; then the partial one, holding the
// first records of the full packet. Headers never change.
void expect_synthetic_datagrams(const StrellRun& run, uint32_t count, uint32_t version = 5) {
    const size_t full = count / 30;
    const size_t rest = count % 30;
    ASSERT_EQ(run.datagrams.size(), full + (rest != 0 ? 1 : 0));
    const uint32_t now = static_cast<uint32_t>(time(nullptr));
    for (size_t i = 0; i < run.datagrams.size(); ++i) {
        const Datagram& datagram = run.datagrams[i];
        const size_t records = i < full ? 30 : rest;
        ASSERT_EQ(datagram.size(), 24 + 48 * records) << "datagram " << i;
        const V5Header header = v5_header(datagram);
        EXPECT_EQ(header.version, version);
        EXPECT_EQ(header.count, records);
        EXPECT_NEAR(header.sys_uptime, now, 120.0);  // the export start second
        EXPECT_EQ(header.unix_secs, 0u);
        EXPECT_EQ(header.unix_nsecs, 0u);
        EXPECT_EQ(header.flow_sequence, 56u);
        EXPECT_EQ(header.engine, 0u);
        // From sys_uptime on, every datagram is the first one cut short.
        EXPECT_TRUE(std::equal(datagram.begin() + 4, datagram.end(), run.datagrams[0].begin() + 4)) << i;
    }
}

TEST(StrellRun, CountsSendFullPacketsThenOnePartial) {
    const struct {
        uint32_t count;
        const char* address;
        const char* version;
    } cases[] = {{0, "127.0.0.1", "5"}, {29, "127.0.0.1", "5"}, {30, "127.0.0.1", "5"}, {65, "::1", "5"},
                 {31, "127.0.0.1", "7"}};  // other numbers go into v5 packets too
    for (const auto& c : cases) {
        SCOPED_TRACE("count " + std::to_string(c.count) + " to " + c.address);
        UdpReceiver receiver(c.address);
        const auto run = run_against(receiver, {"-c", std::to_string(c.count), "-v", c.version});
        EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
        expect_synthetic_datagrams(run, c.count, static_cast<uint32_t>(std::stoi(c.version)));
        expect_closing_output(run, receiver, c.count, run.datagrams.size());
    }
}

TEST(StrellRun, DefaultCountSends2185Datagrams) {
    UdpReceiver receiver("127.0.0.1", big_receive_buffer);
    // Where the buffer cannot be raised, pace the sender rather than lose datagrams.
    std::vector<string> args;
    if (receiver.actual_receive_buffer() < big_receive_buffer) args = {"-t", "100"};
    const auto run = run_against(receiver, args);
    EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
    expect_synthetic_datagrams(run, 65535);
    expect_closing_output(run, receiver, 65535, 2185);
}

TEST(StrellRun, DelayFollowsFullPacketsOnly) {
    UdpReceiver receiver;
    const auto run = run_against(receiver, {"-c", "31", "-t", "500000"});
    std::smatch seconds;
    ASSERT_TRUE(std::regex_search(run.out, seconds, std::regex("in ([0-9.]+) sec")));
    EXPECT_GE(std::stod(seconds[1]), 0.5);
    EXPECT_LT(std::stod(seconds[1]), 0.95);  // a sleep after the partial packet would make it 1.0
    EXPECT_EQ(run.datagrams.size(), 2u);
}

TEST(StrellRun, FlowOptionsLandInTheirRecordFields) {
    UdpReceiver receiver;
    const auto run = run_against(receiver, {"-c", "31", "-s", "10.0.0.1", "-d", "192.168.1.2", "-N", "10.0.0.254",
                                            "-i", "3", "-o", "4", "-P", "5", "-b", "4096", "-z", "4660", "-x", "80",
                                            "-k", "27", "-l", "6", "-j", "16"});
    ASSERT_EQ(run.datagrams.size(), 2u);
    for (const Datagram& datagram : run.datagrams) {
        for (size_t i = 0; i < v5_header(datagram).count; ++i) {
            const string record = hex(v5_record(datagram, i));
            EXPECT_EQ(record.substr(0, 3 * 36 - 1),  // srcaddr .. dstport
                      "0a 00 00 01 c0 a8 01 02 0a 00 00 fe 00 03 00 04 00 00 00 05 00 00 10 00 " +
                          record.substr(3 * 24, 3 * 8) + "12 34 00 50");
            EXPECT_EQ(record.substr(3 * 37, 3 * 3 - 1), "1b 06 10");  // tcp_flags, prot, tos
        }
    }
}

TEST(StrellRun, RepeatedOptionsAppendAndTheLastWinsAfterTruncation) {
    UdpReceiver receiver;
    // 70000 is cut to 16 bits: 4464 (0x1170); the port the same way.
    const auto run = run_strell({"-c", "1", "-z", "1", "-z", "70000", "-c", "2", "-h", "127.0.0.1", "-p",
                                 std::to_string(receiver.port() + 65536)},
                                &receiver);
    ASSERT_EQ(run.datagrams.size(), 1u);
    EXPECT_EQ(v5_header(run.datagrams[0]).count, 2u);
    EXPECT_EQ(be(run.datagrams[0], 24 + 32, 2), 0x1170u);
    EXPECT_NE(run.out.find("; port: " + std::to_string(receiver.port()) + "\n"), string::npos);
}

TEST(StrellRun, FieldsAV5RecordCannotHoldEndTheRun) {
    const struct {
        const char* option;
        const char* value;
        const char* message;
    } cases[] = {{"-n", "0b101", "Incorrect field size for field: 16"},
                 {"-m", "0b101", "Incorrect field size for field: 17"},
                 {"-s", "2001:db8::1", "Error: attempt to create netflow v5 packet with IPv6\n"}};
    for (const auto& c : cases) {
        UdpReceiver receiver;
        const auto run = run_against(receiver, {c.option, c.value, "-c", "3"});
        EXPECT_TRUE(run.exited && run.exit_code == 1) << c.option;
        EXPECT_TRUE(run.datagrams.empty()) << c.option;
        EXPECT_TRUE(std::regex_match(
            run.out, std::regex("Send packets to host: [^\n]*\nNFData from '/dev/urandom' file\n" +
                                string(c.message))))
            << run.out;
    }
}

TEST(StrellRun, BadFlowAddressIsReportedAndBadCollectorAborts) {
    UdpReceiver receiver;
    const auto flow = run_against(receiver, {"-s", "10.0.0.300"});
    EXPECT_TRUE(flow.exited && flow.exit_code == 1);
    EXPECT_EQ(flow.out, "IPAddressStrError: Invalid address format\n");
    EXPECT_TRUE(flow.datagrams.empty());

    const auto collector = run_strell({"-h", "not-an-address", "-c", "1"});
    EXPECT_FALSE(collector.exited);
    EXPECT_EQ(collector.signal, SIGABRT);
}

TEST(StrellRun, UsageWithoutArgumentsAndOnBadOptions) {
    const std::regex date_line(
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
        int exit_code;
        const char* err;  // not even the logger starts
    } cases[] = {{{}, 0, ""},
                 {{"-q"}, 1, "invalid option -- 'q'"},
                 {{"-c"}, 1, "option requires an argument -- 'c'"}};
    for (const auto& c : cases) {
        const auto run = run_strell(c.args);
        EXPECT_TRUE(run.exited && run.exit_code == c.exit_code) << c.err;
        const size_t first_line = run.out.find('\n') + 1;
        EXPECT_TRUE(std::regex_match(run.out.substr(0, first_line), date_line)) << run.out;
        EXPECT_EQ(run.out.substr(first_line), usage);
        EXPECT_TRUE(*c.err == '\0' ? run.err.empty() : run.err.find(c.err) != string::npos) << run.err;
    }
}

TEST(StrellRun, SourceFileBytesBecomeTheRecords) {
    Datagram source(48 * 30);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i % 251);
    const TempFile file(source);
    UdpReceiver receiver;
    const auto run = run_against(receiver, {"-f", file.path(), "-c", "30", "-x", "80"});
    ASSERT_EQ(run.datagrams.size(), 1u);
    expect_closing_output(run, receiver, 30, 1, "NFData from '" + file.path() + "' file\n");
    for (size_t i = 0; i < 30; ++i) {
        auto expected = reverse_each_field({source.begin() + 48 * i, source.begin() + 48 * (i + 1)});
        expected[34] = 0x00;
        expected[35] = 0x50;
        EXPECT_EQ(hex(v5_record(run.datagrams[0], i)), hex(expected)) << "record " << i;
    }
}

TEST(StrellRunV9, OptionFieldsFill34RecordsAPacketThenThePartialOne) {
    UdpReceiver receiver;
    const auto run = run_against(receiver, {"-v", "9", "-c", "100", "-s", "10.1.2.3", "-d", "2001:db8::1", "-z",
                                            "1234", "-n", "0b101", "-m", "65001", "-i", "3", "-b", "1000", "-l", "6"});
    EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
    expect_closing_output(run, receiver, 100, 3, "", "NFv9");
    ASSERT_EQ(run.datagrams.size(), 3u);
    EXPECT_EQ(run.datagrams[1], run.datagrams[0]);
    // Every datagram: template flowset 256 with the option fields, then one
    // data flowset of copies of the option values.
    for (const size_t records : {34, 32}) {
        const Datagram& datagram = run.datagrams[records == 34 ? 0 : 2];
        const size_t data_bytes = 37 * records;
        EXPECT_EQ(datagram.size(), 20 + 40 + 4 + data_bytes + (4 - data_bytes % 4) % 4);
        const V9Datagram parsed = parse_v9(datagram);
        EXPECT_EQ(parsed.version, 9u);
        EXPECT_EQ(parsed.count, 1 + records);
        EXPECT_NEAR(parsed.sys_uptime, static_cast<uint32_t>(time(nullptr)), 120.0);
        EXPECT_EQ(parsed.unix_secs, 0u);
        EXPECT_EQ(parsed.sequence, 56u);
        EXPECT_EQ(parsed.source_id, 1234u);
        ASSERT_EQ(parsed.flowsets.size(), 2u);
        EXPECT_EQ(parsed.flowsets[0].id, 0u);
        EXPECT_EQ(hex(parsed.flowsets[0].body), "01 00 00 08 00 08 00 04 00 1c 00 10 00 07 00 02 00 10 00 04 "
                                                "00 11 00 04 00 0a 00 02 00 01 00 04 00 04 00 01");
        EXPECT_EQ(parsed.flowsets[1].id, 256u);
        for (size_t i = 0; i < records; ++i) {
            const auto begin = parsed.flowsets[1].body.begin() + static_cast<long>(37 * i);
            EXPECT_EQ(hex(Datagram(begin, begin + 37)),
                      "0a 01 02 03 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 04 d2 00 00 00 05 00 00 fd e9 "
                      "00 03 00 00 03 e8 06")
                << "record " << i;
        }
    }
}

}  // namespace
}  // namespace StrellTest
