// strell -u: what each kind of detail file, good or bad, sends and prints.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "stat/traffic_stat.h"
#include "strell_process.h"
#include "tools/vorn_detail/detail_encoder.h"
#include "udp_receiver.h"
#include "v5_datagram.h"
#include "v9_datagram.h"

namespace StrellTest {
namespace {

using std::string;
using Strell::DetailEncoder;
using Strell::DetailFormat;

// A temporary file holding the given bytes, removed with the object.
class TempFile {
public:
    explicit TempFile(const std::vector<unsigned char>& bytes) {
        const char* dir = std::getenv("TMPDIR");
        string pattern = string(dir != nullptr ? dir : "/tmp") + "/strell-modes-XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        const int fd = mkstemp(name.data());
        if (fd < 0) return;
        path_ = name.data();
        written_ = write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
        close(fd);
    }
    ~TempFile() {
        if (!path_.empty()) std::remove(path_.c_str());
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    bool ready() const { return written_; }
    const string& path() const { return path_; }

private:
    string path_;
    bool written_ = false;
};

// Flow i: IPv6 when ipv6(i), else from 10.0.0.i; i + 1 packets either way.
template <typename IsV6>
std::vector<unsigned char> detail_file(DetailFormat format, size_t records, IsV6 ipv6) {
    const DetailEncoder encoder(format);
    std::vector<unsigned char> bytes = encoder.header();
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

StrellRun replay(UdpReceiver& receiver, const std::vector<string>& options) {
    std::vector<string> args = {"-u", "-h", "127.0.0.1", "-p", std::to_string(receiver.port()), "-t", "50"};
    args.insert(args.end(), options.begin(), options.end());
    StrellRun run = run_strell(args, &receiver);
    for (auto& datagram : receiver.collect(1, std::chrono::milliseconds(200), std::chrono::seconds(5))) {
        run.datagrams.push_back(std::move(datagram));
    }
    return run;
}

string announcement(const UdpReceiver& receiver) {
    return "Send packets to host: 127.0.0.1 ; port: " + std::to_string(receiver.port()) + "\n";
}

TEST(StrellReplayModes, OldFormatGoesOutThirtyAtATimeThenTheRestForced) {
    const TempFile file(detail_file(DetailFormat::Old, 65, [](size_t) { return false; }));
    ASSERT_TRUE(file.ready());
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

TEST(StrellReplayModes, V5SkipsIPv6FlowsAndV9SendsThemUnder257) {
    const TempFile file(detail_file(DetailFormat::New, 20, [](size_t i) { return i % 4 == 3; }));
    ASSERT_TRUE(file.ready());
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

TEST(StrellReplayModes, MissingFileNameIsRefused) {
    UdpReceiver receiver;
    const StrellRun run = replay(receiver, {});
    EXPECT_TRUE(run.exited && run.exit_code == 1);
    EXPECT_EQ(run.out, announcement(receiver) + "Specify file name of .vorn detail file. Use [-f] option\n");
    EXPECT_TRUE(run.datagrams.empty());
}

TEST(StrellReplayModes, UnreadableFilesEndQuietlyAfterTheirDebugLine) {
    const TempFile empty(std::vector<unsigned char>{});
    std::vector<unsigned char> damaged = detail_file(DetailFormat::New, 3, [](size_t) { return false; });
    damaged.push_back(0xEE);  // a data id the header never declared
    const TempFile broken(damaged);
    ASSERT_TRUE(empty.ready() && broken.ready());
    const struct {
        string path;
        string line;
        size_t v5_records;
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
        ASSERT_EQ(v5.datagrams.size(), c.v5_records != 0 ? 1u : 0u);
        if (c.v5_records != 0) {
            EXPECT_EQ(v5_header(v5.datagrams[0]).count, c.v5_records);
        }
        // The v9 manager still forces out its templates.
        UdpReceiver v9_receiver;
        const StrellRun v9 = replay(v9_receiver, {"-v", "9", "-f", c.path});
        EXPECT_TRUE(v9.exited && v9.exit_code == 0) << v9.err;
        ASSERT_EQ(v9.datagrams.size(), 1u);
        EXPECT_EQ(parse_v9(v9.datagrams[0]).count, 2u + c.v5_records);
    }
}

}  // namespace
}  // namespace StrellTest
