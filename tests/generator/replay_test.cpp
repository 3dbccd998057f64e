// strell -u: what each kind of detail file, good or bad, sends and prints.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "stat/detail_encoder.h"
#include "stat/traffic_stat.h"
#include "test_support.h"

namespace StrellTest {
namespace {

using std::string;
using Vorn::DetailFormat;

// Flow i: IPv6 when ipv6(i), else from 10.0.0.0 + i; i + 1 packets either way.
template <typename IsV6>
std::vector<uint8_t> detail_file(DetailFormat format, size_t records, IsV6 ipv6) {
    const Vorn::DetailEncoder encoder(format);
    std::vector<uint8_t> bytes = encoder.header();
    for (size_t i = 0; i < records; ++i) {
        Vorn::TrafficStat flow;
        if (ipv6(i)) {
            flow.s_addr.from_int(0x20010db800000000L, static_cast<long>(i));
            flow.d_addr.from_int(0x20010db800000000L, 1);
            flow.nexthop_addr.from_int(0, 0);
        } else {
            flow.s_addr.from_int(static_cast<int>(0x0a000000u + i));
            flow.d_addr.from_int(static_cast<int>(0xc0000201u));
        }
        flow.d_pkt = static_cast<uint32_t>(i + 1);
        encoder.append_record(flow, bytes);
    }
    return bytes;
}

bool all_ipv4(size_t) { return false; }

StrellRun replay(UdpReceiver& receiver, const std::vector<string>& options) {
    std::vector<string> args = {"-u", "-h", "127.0.0.1", "-p", std::to_string(receiver.port()), "-t", "50"};
    args.insert(args.end(), options.begin(), options.end());
    return run_strell(args, &receiver);
}

string announcement(const UdpReceiver& receiver) {
    return "Send packets to host: 127.0.0.1 ; port: " + std::to_string(receiver.port()) + "\n";
}

constexpr size_t big_file_records = 5000;

const TempFile& big_file() {
    static const TempFile file(detail_file(DetailFormat::New, big_file_records, all_ipv4));
    return file;
}

TEST(StrellReplay, CountLimitsTheRecordsButAbove65535SendsTheWholeFile) {
    // The 16-bit counter never reaches a count above 65535, whatever its low
    // 16 bits are (70000 is 4464 in them, 65536 is 0).
    const std::pair<const char*, size_t> cases[] = {{"70000", big_file_records}, {"65536", big_file_records},
                                                    {"10", 10}};
    for (const auto& [count, sent] : cases) {
        SCOPED_TRACE(string("count ") + count);
        UdpReceiver receiver("127.0.0.1", 8 << 20);
        const StrellRun run = replay(receiver, {"-f", big_file().path(), "-c", count});
        EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
        EXPECT_EQ(run.datagrams.size(), (sent + 29) / 30);
        std::vector<Datagram> records;
        for (const Datagram& datagram : run.datagrams) {
            for (size_t i = 0; i < v5_header(datagram).count; ++i) records.push_back(v5_record(datagram, i));
        }
        ASSERT_EQ(records.size(), sent);
        for (size_t i = 0; i < sent; i += 997) {
            EXPECT_EQ(be(records[i], 0, 4), 0x0a000000u + i);
            EXPECT_EQ(be(records[i], 16, 4), i + 1);  // dPkts
        }
        EXPECT_EQ(be(records.back(), 16, 4), sent);
    }
}

TEST(StrellReplay, V9CarriesEveryRecordOfTheFile) {
    UdpReceiver receiver("127.0.0.1", 8 << 20);
    const StrellRun run = replay(receiver, {"-f", big_file().path(), "-v", "9", "-c", "100000"});
    EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
    // 34 records beside the templates, then 37 a packet.
    ASSERT_EQ(run.datagrams.size(), 1 + (big_file_records - 34 + 36) / 37);
    size_t data_records = 0;
    for (const Datagram& datagram : run.datagrams) {
        for (const auto& flowset : parse_v9(datagram).flowsets) {
            if (flowset.id == 256) data_records += flowset.body.size() / 39;
        }
    }
    EXPECT_EQ(data_records, big_file_records);
}

TEST(StrellReplay, OldFormatGoesOutThirtyAtATimeThenTheRestForced) {
    const TempFile file(detail_file(DetailFormat::Old, 65, all_ipv4));
    UdpReceiver receiver;
    const StrellRun run = replay(receiver, {"-f", file.path()});
    EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
    // No closing statistics in this mode.
    EXPECT_EQ(run.out, announcement(receiver) + "NFData from '" + file.path() + "' vorn statistic file\n");
    ASSERT_EQ(run.datagrams.size(), 3u);
    EXPECT_EQ(v5_header(run.datagrams[0]).count, 30u);
    EXPECT_EQ(v5_header(run.datagrams[1]).count, 30u);
    EXPECT_EQ(v5_header(run.datagrams[2]).count, 5u);
    EXPECT_EQ(be(v5_record(run.datagrams[2], 4), 0, 4), 0x0a000000u + 64);
    EXPECT_EQ(be(v5_record(run.datagrams[2], 4), 16, 4), 65u);
    for (const Datagram& datagram : run.datagrams) EXPECT_EQ(v5_header(datagram).flow_sequence, 56u);
}

TEST(StrellReplay, V5SkipsIPv6FlowsAndV9SendsThemUnder257) {
    const TempFile file(detail_file(DetailFormat::New, 20, [](size_t i) { return i % 4 == 3; }));
    UdpReceiver v5_receiver;
    const StrellRun v5 = replay(v5_receiver, {"-f", file.path()});
    ASSERT_EQ(v5.datagrams.size(), 1u);
    EXPECT_EQ(v5_header(v5.datagrams[0]).count, 15u);
    for (size_t i = 0; i < 15; ++i) EXPECT_NE(be(v5_record(v5.datagrams[0], i), 16, 4) % 4, 0u) << i;

    UdpReceiver v9_receiver;
    const StrellRun v9 = replay(v9_receiver, {"-v", "9", "-f", file.path()});
    ASSERT_EQ(v9.datagrams.size(), 1u);
    const V9Datagram packet = parse_v9(v9.datagrams[0]);
    EXPECT_EQ(packet.count, 2u + 20u);
    ASSERT_EQ(packet.flowsets.size(), 3u);
    EXPECT_EQ(packet.flowsets[1].id, 256u);
    EXPECT_EQ(packet.flowsets[1].length, 4u + 15u * 39u + 3u);
    EXPECT_EQ(packet.flowsets[2].id, 257u);
    EXPECT_EQ(packet.flowsets[2].length, 4u + 5u * 75u + 1u);
}

TEST(StrellReplay, MissingFileNameIsRefused) {
    UdpReceiver receiver;
    const StrellRun run = replay(receiver, {});
    EXPECT_TRUE(run.exited && run.exit_code == 1);
    EXPECT_EQ(run.out, announcement(receiver) + "Specify file name of .vorn detail file. Use [-f] option\n");
    EXPECT_TRUE(run.datagrams.empty());
}

TEST(StrellReplay, UnreadableFilesEndQuietlyAfterTheirDebugLine) {
    const TempFile empty({});
    Datagram damaged = detail_file(DetailFormat::New, 3, all_ipv4);
    damaged.push_back(0xEE);  // a data id the header never declared
    const TempFile broken(damaged);
    const struct {
        string path;
        string line;
        size_t records;
    } cases[] = {
        {"/nonexistent/strell.vorn", "Unable to open raw file: </nonexistent/strell.vorn>", 0},
        {empty.path(), "There is no such fromat (from file <" + empty.path() + ">)", 0},
        {broken.path(), "There is no such data ID in metadata. Current file has been damaged", 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        UdpReceiver receiver;
        const StrellRun v5 = replay(receiver, {"-f", c.path});
        EXPECT_TRUE(v5.exited && v5.exit_code == 0) << v5.err;
        EXPECT_NE(v5.err.find("?Debug : "), string::npos) << v5.err;
        EXPECT_NE(v5.err.find(" DetailedInfoFileParser: " + c.line + "\n"), string::npos) << v5.err;
        ASSERT_EQ(v5.datagrams.size(), c.records != 0 ? 1u : 0u);
        if (c.records != 0) {
            EXPECT_EQ(v5_header(v5.datagrams[0]).count, c.records);
        }
        // The v9 manager still forces out its templates.
        const StrellRun v9 = replay(receiver, {"-v", "9", "-f", c.path});
        EXPECT_TRUE(v9.exited && v9.exit_code == 0) << v9.err;
        ASSERT_EQ(v9.datagrams.size(), 1u);
        EXPECT_EQ(parse_v9(v9.datagrams[0]).count, 2u + c.records);
    }
}

}  // namespace
}  // namespace StrellTest
