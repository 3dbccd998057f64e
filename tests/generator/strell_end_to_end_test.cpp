#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "strell_process.h"
#include "udp_receiver.h"
#include "v5_datagram.h"
#include "v9_datagram.h"

namespace StrellTest {
namespace {

using std::string;

const int big_receive_buffer = 8 << 20;

std::vector<string> to(const UdpReceiver& receiver, std::vector<string> args) {
    args.insert(args.end(), {"-h", receiver.address(), "-p", std::to_string(receiver.port())});
    return args;
}

string escaped(const string& text) { return std::regex_replace(text, std::regex(R"([.\\])"), R"(\$&)"); }

// The whole stdout of a synthetic v5 run that went to the receiver.
void expect_closing_output(const StrellRun& run, const UdpReceiver& receiver, uint32_t count, unsigned packets) {
    const string expected = "Send packets to host: " + escaped(receiver.address()) + " ; port: " +
                            std::to_string(receiver.port()) + "\nNFData from '/dev/urandom' file\n" +
                            std::to_string(count) + "  NFv5 in " + std::to_string(packets) +
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
        if (i < full) {
            EXPECT_EQ(datagram, run.datagrams[0]) << "full packet " << i << " differs";
        } else if (full != 0) {
            EXPECT_TRUE(std::equal(datagram.begin() + 24, datagram.end(), run.datagrams[0].begin() + 24));
        }
    }
}

StrellRun run_against(UdpReceiver& receiver, const std::vector<string>& args) {
    return run_strell(to(receiver, args), &receiver);
}

TEST(StrellRun, CountsSendFullPacketsThenOnePartial) {
    for (uint32_t count : {0u, 29u, 30u, 65u}) {
        SCOPED_TRACE("count " + std::to_string(count));
        UdpReceiver receiver;
        const auto run = run_against(receiver, {"-c", std::to_string(count)});
        EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
        expect_synthetic_datagrams(run, count);
        expect_closing_output(run, receiver, count, count / 30 + (count % 30 != 0 ? 1 : 0));
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

TEST(StrellRun, SendsToAnIPv6Collector) {
    UdpReceiver receiver("::1");
    const auto run = run_against(receiver, {"-c", "65"});
    EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
    expect_synthetic_datagrams(run, 65);
    expect_closing_output(run, receiver, 65, 3);
}

TEST(StrellRun, OtherVersionNumbersGoIntoV5Packets) {
    UdpReceiver receiver;
    const auto run = run_against(receiver, {"-v", "7", "-c", "31"});
    expect_synthetic_datagrams(run, 31, 7);
    expect_closing_output(run, receiver, 31, 2);
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

TEST(StrellRun, InertOptionsChangeNothing) {
    UdpReceiver receiver;
    const auto run = run_against(receiver, {"-a", "10", "-I", "eth0", "-c", "30"});
    EXPECT_TRUE(run.exited && run.exit_code == 0);
    expect_synthetic_datagrams(run, 30);
}

TEST(StrellRun, AsOptionsAreRefusedByTheV5Packet) {
    for (const auto& [option, type] : {std::pair<string, string>{"-n", "16"}, {"-m", "17"}}) {
        UdpReceiver receiver;
        const auto run = run_against(receiver, {option, "0b101", "-c", "3"});
        EXPECT_TRUE(run.exited && run.exit_code == 1);
        EXPECT_TRUE(run.datagrams.empty());
        EXPECT_TRUE(std::regex_match(run.out, std::regex("Send packets to host: [^\n]*\nNFData from '/dev/urandom' "
                                                         "file\nIncorrect field size for field: " +
                                                         type)))
            << run.out;
    }
}

TEST(StrellRun, IPv6FlowAddressIsRefused) {
    UdpReceiver receiver;
    const auto run = run_against(receiver, {"-s", "2001:db8::1", "-c", "3"});
    EXPECT_TRUE(run.exited && run.exit_code == 1);
    EXPECT_TRUE(run.datagrams.empty());
    EXPECT_NE(run.out.find("file\nError: attempt to create netflow v5 packet with IPv6\n"), string::npos) << run.out;
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

const char* const usage_options =
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

void expect_usage(const string& out) {
    const std::regex date_line(
        "Dexmar Vorn billing NetFlow v5 and v9 packet generator\\. Compile date: "
        "[A-Z][a-z]{2} [ 1-3][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}\n");
    const size_t first_line = out.find('\n') + 1;
    EXPECT_TRUE(std::regex_match(out.substr(0, first_line), date_line)) << out;
    EXPECT_EQ(out.substr(first_line), usage_options);
}

TEST(StrellRun, UsageWithoutArgumentsAndOnBadOptions) {
    const auto bare = run_strell({});
    EXPECT_TRUE(bare.exited && bare.exit_code == 0);
    expect_usage(bare.out);
    EXPECT_EQ(bare.err, "");  // not even the logger starts

    const auto unknown = run_strell({"-q"});
    EXPECT_TRUE(unknown.exited && unknown.exit_code == 1);
    expect_usage(unknown.out);
    EXPECT_NE(unknown.err.find("invalid option -- 'q'"), string::npos) << unknown.err;

    const auto missing = run_strell({"-c"});
    EXPECT_TRUE(missing.exited && missing.exit_code == 1);
    expect_usage(missing.out);
    EXPECT_NE(missing.err.find("option requires an argument -- 'c'"), string::npos) << missing.err;
}

TEST(StrellRun, SourceFileBytesBecomeTheRecords) {
    char path[] = "/tmp/strell_e2e_source_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    std::vector<uint8_t> source(48 * 30);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i % 251);
    ASSERT_EQ(write(fd, source.data(), source.size()), static_cast<ssize_t>(source.size()));
    close(fd);

    UdpReceiver receiver;
    const auto run = run_against(receiver, {"-f", path, "-c", "30", "-x", "80"});
    unlink(path);
    ASSERT_EQ(run.datagrams.size(), 1u);
    EXPECT_NE(run.out.find(string("NFData from '") + path + "' file\n"), string::npos);
    for (size_t i = 0; i < 30; ++i) {
        auto expected = reverse_each_field({source.begin() + 48 * i, source.begin() + 48 * (i + 1)});
        expected[34] = 0x00;
        expected[35] = 0x50;
        EXPECT_EQ(hex(v5_record(run.datagrams[0], i)), hex(expected)) << "record " << i;
    }
}

// The template record and one data record of the v9 options used below.
const char* const v9_options_template =
    "01 00 00 08 00 08 00 04 00 1c 00 10 00 07 00 02 00 10 00 04 00 11 00 04 00 0a 00 02 00 01 00 04 00 04 00 01";
const char* const v9_options_record =
    "0a 01 02 03 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 04 d2 00 00 00 05 00 00 fd e9 00 03 00 00 03 e8 06";

std::vector<string> v9_options(const string& count) {
    return {"-v", "9", "-c", count, "-s", "10.1.2.3", "-d", "2001:db8::1", "-z", "1234",
            "-n", "0b101", "-m", "65001", "-i", "3", "-b", "1000", "-l", "6"};
}

// Every v9 datagram: template flowset 256 with the option fields, then one
// data flowset of `records` copies of the option values.
void expect_v9_datagram(const Datagram& datagram, size_t records) {
    const V9Datagram parsed = parse_v9(datagram);
    const size_t data_bytes = 37 * records;
    EXPECT_EQ(datagram.size(), 20 + 40 + 4 + data_bytes + (4 - data_bytes % 4) % 4);
    EXPECT_EQ(parsed.version, 9u);
    EXPECT_EQ(parsed.count, 1 + records);
    EXPECT_NEAR(parsed.sys_uptime, static_cast<uint32_t>(time(nullptr)), 120.0);
    EXPECT_EQ(parsed.unix_secs, 0u);
    EXPECT_EQ(parsed.sequence, 56u);
    EXPECT_EQ(parsed.source_id, 1234u);
    ASSERT_EQ(parsed.flowsets.size(), 2u);
    EXPECT_EQ(parsed.flowsets[0].id, 0u);
    EXPECT_EQ(hex(parsed.flowsets[0].body), v9_options_template);
    EXPECT_EQ(parsed.flowsets[1].id, 256u);
    for (size_t i = 0; i < records; ++i) {
        const auto begin = parsed.flowsets[1].body.begin() + static_cast<long>(37 * i);
        EXPECT_EQ(hex(std::vector<uint8_t>(begin, begin + 37)), v9_options_record) << "record " << i;
    }
}

TEST(StrellRunV9, OptionFieldsFill34RecordsAPacketThenThePartialOne) {
    UdpReceiver receiver;
    const auto run = run_against(receiver, v9_options("100"));
    EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
    ASSERT_EQ(run.datagrams.size(), 3u);
    expect_v9_datagram(run.datagrams[0], 34);
    EXPECT_EQ(run.datagrams[1], run.datagrams[0]);
    expect_v9_datagram(run.datagrams[2], 32);
    const string expected = "Send packets to host: 127\\.0\\.0\\.1 ; port: " + std::to_string(receiver.port()) +
                            "\n100  NFv9 in 3 packets in [0-9]+\\.[0-9]{6} sec\n"
                            "Average [0-9]+\\.[0-9]{3} pack/s, [0-9]+\\.[0-9]{3} nf/s\n";
    EXPECT_TRUE(std::regex_match(run.out, std::regex(expected))) << run.out;
}

TEST(StrellRunV9, CountsOfZeroAndOfOnePacketSendNoPartial) {
    for (const auto& [count, packets] : {std::pair<string, size_t>{"0", 0}, {"34", 1}, {"68", 2}}) {
        UdpReceiver receiver;
        const auto run = run_against(receiver, v9_options(count));
        ASSERT_EQ(run.datagrams.size(), packets) << count;
        for (const Datagram& datagram : run.datagrams) expect_v9_datagram(datagram, 34);
        EXPECT_NE(run.out.find(count + "  NFv9 in " + std::to_string(packets) + " packets"), string::npos);
    }
}

TEST(StrellRunV9, IPv6CollectorAndNoOptionsGiveEmptyRecords) {
    UdpReceiver receiver("::1");
    const auto run = run_against(receiver, {"-v", "9", "-c", "736"});
    ASSERT_EQ(run.datagrams.size(), 2u);
    // No field: a 4-byte template record and records of no bytes, 735 to a packet.
    EXPECT_EQ(run.datagrams[0].size(), 20u + 8u + 4u);
    EXPECT_EQ(parse_v9(run.datagrams[0]).count, 736u);
    EXPECT_EQ(parse_v9(run.datagrams[1]).count, 2u);
}

}  // namespace
}  // namespace StrellTest
