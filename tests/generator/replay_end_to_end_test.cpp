// strell -u against a receiver: how many records of a detail file go out.
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

constexpr size_t file_records = 5000;

// A new-format detail file of file_records IPv4 flows; flow i comes from
// 10.0.x.y with y = i % 250 and carries i + 1 packets.
class DetailFile {
public:
    DetailFile() {
        const char* dir = std::getenv("TMPDIR");
        string pattern = string(dir != nullptr ? dir : "/tmp") + "/strell-replay-XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        const int fd = mkstemp(name.data());
        if (fd < 0) return;
        path_ = name.data();
        const Strell::DetailEncoder encoder(Strell::DetailFormat::New);
        std::vector<unsigned char> bytes = encoder.header();
        for (size_t i = 0; i < file_records; ++i) {
            Vorn::TrafficStat flow;
            flow.s_addr.from_int(static_cast<int>(0x0a000000u | static_cast<uint32_t>(i / 250) << 8 | (i % 250)));
            flow.d_addr.from_int(static_cast<int>(0xc0000201u));
            flow.nexthop_addr.from_int(static_cast<int>(0x0a0000feu));
            flow.d_pkt = static_cast<uint32_t>(i + 1);
            flow.proto = 6;
            encoder.append_record(flow, bytes);
        }
        written_ = write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
        close(fd);
    }
    ~DetailFile() {
        if (!path_.empty()) std::remove(path_.c_str());
    }
    DetailFile(const DetailFile&) = delete;
    DetailFile& operator=(const DetailFile&) = delete;

    bool ready() const { return written_; }
    const string& path() const { return path_; }

private:
    string path_;
    bool written_ = false;
};

const DetailFile& detail_file() {
    static const DetailFile file;
    return file;
}

// Runs a paced replay of the file into a receiver with room for all of it.
StrellRun replay(const std::vector<string>& options) {
    UdpReceiver receiver("127.0.0.1", 8 << 20);
    std::vector<string> args = {"-u", "-f", detail_file().path(), "-t", "50", "-h", "127.0.0.1", "-p",
                                std::to_string(receiver.port())};
    args.insert(args.end(), options.begin(), options.end());
    StrellRun run = run_strell(args, &receiver);
    for (auto& datagram : receiver.collect(1, std::chrono::milliseconds(300), std::chrono::seconds(5))) {
        run.datagrams.push_back(std::move(datagram));
    }
    return run;
}

// The v5 records of a run, in the order they went out.
std::vector<std::vector<uint8_t>> v5_records(const StrellRun& run) {
    std::vector<std::vector<uint8_t>> records;
    for (const Datagram& datagram : run.datagrams) {
        for (size_t i = 0; i < v5_header(datagram).count; ++i) records.push_back(v5_record(datagram, i));
    }
    return records;
}

TEST(StrellReplay, CountsAbove65535SendTheWholeFile) {
    ASSERT_TRUE(detail_file().ready());
    // The 16-bit counter never reaches a count above 65535, whatever its low
    // 16 bits are (70000 is 4464 in them, 65536 is 0).
    for (const char* count : {"70000", "65536"}) {
        SCOPED_TRACE(string("count ") + count);
        const StrellRun run = replay({"-c", count});
        EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
        const auto records = v5_records(run);
        ASSERT_EQ(records.size(), file_records);
        EXPECT_EQ(run.datagrams.size(), (file_records + 29) / 30);
        for (size_t i = 0; i < file_records; i += 997) {
            EXPECT_EQ(be(records[i], 0, 4), 0x0a000000u | static_cast<uint32_t>(i / 250) << 8 | (i % 250));
            EXPECT_EQ(be(records[i], 16, 4), i + 1);  // dPkts
        }
    }
}

TEST(StrellReplay, CountStopsTheReplay) {
    ASSERT_TRUE(detail_file().ready());
    const StrellRun run = replay({"-c", "10"});
    EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
    const auto records = v5_records(run);
    ASSERT_EQ(records.size(), 10u);
    EXPECT_EQ(run.datagrams.size(), 1u);
    EXPECT_EQ(be(records[9], 16, 4), 10u);
}

TEST(StrellReplay, V9CarriesEveryRecordOfTheFile) {
    ASSERT_TRUE(detail_file().ready());
    const StrellRun run = replay({"-v", "9", "-c", "100000"});
    EXPECT_TRUE(run.exited && run.exit_code == 0) << run.err;
    // 34 records beside the templates, then 37 a packet.
    ASSERT_EQ(run.datagrams.size(), 1 + (file_records - 34 + 36) / 37);
    size_t data_records = 0;
    for (const Datagram& datagram : run.datagrams) {
        for (const auto& flowset : parse_v9(datagram).flowsets) {
            if (flowset.id == 256) data_records += flowset.body.size() / 39;
        }
    }
    EXPECT_EQ(data_records, file_records);
}

}  // namespace
}  // namespace StrellTest
