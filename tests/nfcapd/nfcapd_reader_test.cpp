// The reader of nfcapd files against Debian's nfcapd, which writes them, and
// nfdump, which decodes them on its own: every flow gives the record that the
// import of 'nfdump -o json' makes of it, in a time zone with summer time.
#include <gtest/gtest.h>

#include <future>
#include <map>

#include "detail_lines.h"
#include "tools/nfcapd/capture_files.h"
#include "tools/nfcapd/nfcapd_reader.h"
#include "tools/nfcapd/nfdump_view.h"
#include "tools/vorn_detail/nfdump_flow.h"

using namespace StrellTest;
using nlohmann::json;
using std::string;

namespace {

constexpr int sent_count = 12000;  // v9 records of more than 1 MiB: two blocks

// Flows of both families that reach each element nfcapd writes for v5 and v9
// and each way nfdump shows them: ICMP and ICMPv6, no interfaces, AS numbers
// or next hop, counters at their limit, times over hours.
string sent_file(const TempDir& dir) {
    std::vector<string> lines;
    char text[64];
    for (int i = 0; i < sent_count; ++i) {
        const bool v6 = i % 4 == 3;
        const int proto = i % 10 == 1 ? 1 : i % 10 == 2 ? 58 : i % 2 ? 17 : 6;
        std::snprintf(text, sizeof text, v6 ? "2001:db8::%x" : "10.%d.%d.%d", v6 ? i + 1 : i >> 16, (i >> 8) & 255, i & 255);
        const string source = text;
        const char* hop = i % 5 == 0 ? (v6 ? "::" : "0.0.0.0") : v6 ? "fe80::1" : "10.0.0.254";
        const uint32_t counter = i % 50 == 0 ? 4294967295u : 1000 + i;
        lines.push_back(flow_json({{"s_addr", source}, {"d_addr", v6 ? "2001:db8:ffff::53" : "192.168.7.9"}, {"nexthop_addr", hop},
                                   {"proto", proto}, {"sport", proto == 1 ? 7 * (i % 3) : 1024 + i}, {"dport", proto < 17 ? 0x0803 : 443},
                                   {"iface", i % 6 ? 1 + i % 5 : 0}, {"oface", i % 6 ? 2 + i % 5 : 0}, {"src_as", i % 7 ? 64496 : 0},
                                   {"dst_as", i % 7 ? 4200000000u : 0}, {"d_pkt", counter}, {"d_oct", counter}, {"tcp_flags", i % 256},
                                   {"tos", (i * 7) % 256}, {"src_mask", 24}, {"dst_mask", 16}, {"ts_first", 3600000 + 997 * i},
                                   {"ts_last", 3601000 + 997 * i}}));
    }
    return write_detail_file(dir, "sent.vorn", "new", lines);
}

uint32_t le32(const string& bytes, size_t at) {
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
}

// The captures a test reads, made at once: the sent file as v9 with each
// compression and as v5 over IPv6; its first 20 flows as v9, plain and with
// LZ4. nfcapd's buffer holds a whole capture, so that none loses a flow to
// the others.
std::vector<string> captures(const std::vector<string>& names) {
    setenv("TZ", "Europe/Berlin", 1);  // for nfdump too, which prints local time
    tzset();
    static const TempDir dir;
    static const string sent = sent_file(dir);
    static const std::map<string, std::pair<string, string>> how = {  // nfcapd's option, version
        {"v9", {"", "9"}},      {"v9 LZO", {"-z", "9"}},       {"v9 BZ2", {"-j", "9"}}, {"v9 LZ4", {"-y", "9"}},
        {"v5 over IPv6", {"-6", "5"}}, {"small", {"", "9"}}, {"small LZ4", {"-y", "9"}}};
    std::vector<std::future<ProgramRun>> made;
    std::vector<string> files;
    for (const string& name : names) {
        files.push_back(dir.file(name));
        made.push_back(std::async(std::launch::async, [&name, file = files.back()] {
            const auto& [option, version] = how.at(name);
            Args args = {NFCAPD_CAPTURE, STRELL_BINARY, file};
            if (!option.empty()) args.push_back(option);
            const string count = name.rfind("small", 0) == 0 ? "20" : "70000";  // above 65535: all
            args.insert(args.end(), {"--", "-u", "-f", sent, "-v", version, "-c", count, "-t", "40"});
            return run_program("bash", args, nullptr, "");
        }));
    }
    for (auto& run : made)
        if (const ProgramRun done = run.get(); done.status != 0) throw std::runtime_error("no capture: " + done.err);
    return files;
}

}  // namespace

TEST(NfcapdReader, EveryFlowGivesTheRecordThatNfdumpsJsonGives) {
    const std::vector<string> names = {"v9", "v9 LZO", "v9 BZ2", "v9 LZ4", "v5 over IPv6"}, files = captures(names);
    for (size_t n = 0; n < names.size(); ++n) {
        const string &name = names[n], &path = files[n];
        std::vector<string> native;
        Vorn::NfcapdReader reader;
        ASSERT_TRUE(reader.read(path, [&](const Vorn::TrafficStat& flow) { return native.push_back(flow.to_str_json()), string(); }))
            << reader.problem();
        EXPECT_EQ(reader.skipped(), 2u) << name;  // the exporter and its statistics
        EXPECT_GT(le32(read_file(path), 36), 1u) << name << ": blocks";

        const ProgramRun nfdump = run_program("nfdump", {"-r", path, "-o", "json"}, nullptr, "");
        std::vector<string> expected;
        for (const json& object : json::parse(nfdump.out)) {
            Vorn::TrafficStat record;
            bool is_flow = false;
            ASSERT_EQ(Vorn::traffic_stat_from_nfdump(object, record, is_flow), "") << object.dump();
            expected.push_back(record.to_str_json());
        }
        // v5 carries no IPv6 flows.
        EXPECT_EQ(expected.size(), name[1] == '5' ? sent_count / 4 * 3 : sent_count) << name;
        ASSERT_EQ(native.size(), expected.size()) << name;
        for (size_t i = 0; i < native.size(); ++i) ASSERT_EQ(native[i], expected[i]) << name << ", flow " << i + 1;
    }
}

TEST(NfdumpClock, ReadsLocalTimeBackAsTheImportDoesAcrossSummerTime) {
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    // Clocks go from 02:00 to 03:00 at 01:00 UTC on 2024-03-31 and back from
    // 03:00 to 02:00 at 01:00 UTC on 2024-10-27: the second 02:xx reads as the
    // first, forwards and backwards (mktime alone takes the one nearer its
    // last call).
    const int64_t spring = 1711846800, autumn = 1729990800;
    int64_t seconds = 0;
    for (int64_t change : {spring, autumn})
        for (int64_t step : {13, -13}) {
            Vorn::NfdumpClock clock;
            for (int64_t t = step > 0 ? change - 7200 : change + 7199; t >= change - 7200 && t < change + 7200; t += step) {
                ASSERT_TRUE(clock.seconds(static_cast<uint64_t>(t) * 1000 + 999, seconds));
                ASSERT_EQ(seconds, change == autumn && t >= change ? t - 3600 * (t < change + 3600) : t) << t;
            }
        }
    Vorn::NfdumpClock clock;
    // nfdump prints four-digit years only, as far as the import reads.
    EXPECT_TRUE(clock.seconds(253402297199999, seconds));  // 9999-12-31T23:59:59 in Berlin
    EXPECT_EQ(seconds, 253402297199);
    EXPECT_FALSE(clock.seconds(253402297200000, seconds));
}

TEST(NfdumpView, NextHopInTheFirstHalfOfAnIpv6AddressComesBackAsIpv4ForIpv4FlowsOnly) {
    const auto settled = [](const char* source, const char* hop) {
        Vorn::TrafficStat record;
        record.s_addr = Vorn::IP_address::from_string(source);
        if (hop != nullptr) record.nexthop_addr = Vorn::IP_address::from_string(hop);
        Vorn::settle_next_hop(record, hop != nullptr);
        return record.nexthop_addr.to_string();
    };
    // The import tests read 0:0:a00:fe:: of an IPv4 flow as 10.0.0.254, and no next hop of an IPv6 one as ::.
    EXPECT_EQ(settled("10.0.0.1", "10.0.0.9"), "10.0.0.9");
    EXPECT_EQ(settled("10.0.0.1", "1:0:a00:fe::"), "1:0:a00:fe::");
    EXPECT_EQ(settled("10.0.0.1", "0:0:a00:fe::1"), "0:0:a00:fe::1");
    EXPECT_EQ(settled("2001:db8::1", "0:0:a00:fe::"), "0:0:a00:fe::");
    EXPECT_EQ(settled("10.0.0.1", nullptr), "0.0.0.0");
}

TEST(NfcapdReader, DamagedFilesAreRefusedNamingBlockAndRecord) {
    const TempDir dir;
    const std::vector<string> files = captures({"small", "small LZ4"});
    const string small = read_file(files[0]), small_lz4 = read_file(files[1]);
    // One block of 22 records: the exporter (at 52), 20 flows (the first at
    // 84, elements from 96: IPv4 addresses, IPv6 next hop, generic at 128,
    // AS, misc at 192, router), the exporter's statistics (32 bytes); then the
    // appendix.
    ASSERT_EQ(le32(small, 36), 1u);
    ASSERT_EQ(le32(small, 40), 22u);
    const uint32_t payload = le32(small, 44), appendix = le32(small, 24), appendix_size = le32(small, appendix + 4);
    const string json_text = "[\n]\n", block = "block 1 of 1: ", flow = "block 1 of 1, record 2: ";
    struct Patch {
        size_t at;
        uint64_t value;
        size_t width;
    };
    // The first bytes of file, little-endian values written over them.
    const auto patched = [](const string& file, size_t cut, const std::vector<Patch>& patches) {
        string bytes = file.substr(0, cut);
        for (const Patch& p : patches)
            for (size_t i = 0; i < p.width; ++i) bytes.at(p.at + i) = static_cast<char>(p.value >> 8 * i);
        return bytes;
    };
    const struct {
        const string& file;
        size_t cut;
        std::vector<Patch> patches;
        string message;
    } cases[] = {
        {small, 2, {}, "truncated header: 2 of 40 bytes"},  // the magic number alone
        {json_text, SIZE_MAX, {}, "not an nfcapd file"},
        {small, SIZE_MAX, {{0, 0x0CA5, 2}}, "an nfcapd file written on a big-endian host; only little-endian files are read"},
        {small, SIZE_MAX, {{2, 1, 2}}, "an nfcapd file of layout 1 (nfdump 1.6 and older); only layout 2 (nfdump 1.7) is read"},
        {small, SIZE_MAX, {{2, 3, 2}}, "an nfcapd file of unknown layout 3"},
        {small, SIZE_MAX, {{16, 4, 1}}, "unknown compression 4 (0 to 3: none, LZO, BZ2, LZ4)"},
        {small, SIZE_MAX, {{17, 1, 1}}, "an encrypted nfcapd file"},
        {small, 46, {}, block + "truncated: the file ends after 6 of 12 bytes of its header"},
        {small, 1000, {}, block + "truncated: the file ends after 948 of " + std::to_string(payload) + " bytes of its payload"},
        {small, SIZE_MAX, {{44, 5242880, 4}}, block + "truncated: the file ends after " + std::to_string(small.size() - 52) + " of 5242880 bytes of its payload"},
        {small, SIZE_MAX, {{44, 5242881, 4}}, block + "size 5242881 above the limit of 5242880 bytes"},
        {small, SIZE_MAX, {{44, 0, 4}}, block + "size 0"},
        {small, SIZE_MAX, {{40, 0, 4}}, block + "no records"},
        {small, SIZE_MAX, {{40, 23, 4}}, "block 1 of 1, record 23: the block ends before the record (23 in the block)"},
        {small, SIZE_MAX, {{40, 21, 4}}, block + "32 bytes after its 21 records"},
        {small, SIZE_MAX, {{54, 0, 2}}, "block 1 of 1, record 1: size 0"},
        {small, SIZE_MAX, {{54, 3, 2}}, "block 1 of 1, record 1: size 3, shorter than its header"},
        {small, SIZE_MAX, {{54, 65535, 2}}, "block 1 of 1, record 1: size 65535 runs past the end of the block (" + std::to_string(payload) + " bytes left)"},
        {small, SIZE_MAX, {{88, 7, 2}}, flow + "element 7 of 7 starts past the end of the record"},
        {small, SIZE_MAX, {{88, 5, 2}}, flow + "8 bytes after the last element"},
        {small, SIZE_MAX, {{98, 65535, 2}}, flow + "element 1 of 6 (id 2): length 65535 runs past the end of the record"},
        {small, SIZE_MAX, {{98, 3, 2}}, flow + "element 1 of 6 (id 2): length 3, shorter than its header"},
        {small, SIZE_MAX, {{96, 1, 2}}, flow + "element 1 of 6 (id 1): 8 bytes, fewer than its 48"},
        {small, SIZE_MAX, {{96, 99, 2}}, flow + "no addresses (element 2 or 3)"},  // an unknown element is skipped
        {small, SIZE_MAX, {{132, UINT64_MAX, 8}}, flow + "first seen at 18446744073709551615 ms, out of the record's range"},
        {small, SIZE_MAX, {{156, 1ull << 32 | 1, 8}}, flow + "packets 4294967297 above the record's limit of 4294967295"},
        {small, SIZE_MAX, {{196, 65536, 4}}, flow + "input interface 65536 above the record's limit of 65535"},
        {small, SIZE_MAX, {{24, 100, 8}}, "the appendix at offset 100 lies inside the data blocks, which end at " + std::to_string(appendix)},
        {small, small.size() - 10, {}, "truncated: the file ends after " + std::to_string(appendix_size - 10) + " of " +
                                           std::to_string(appendix_size) + " bytes of appendix block 1 of 1"},
        {small_lz4, SIZE_MAX, {{52, UINT64_MAX, 8}}, block + "does not decompress (LZ4)"},
        {small, SIZE_MAX, {{16, 1, 1}}, block + "does not decompress (LZO)"}, {small, SIZE_MAX, {{16, 2, 1}}, block + "does not decompress (BZ2)"},
        {small_lz4, SIZE_MAX, {{44, 2, 4}, {52, 0x4110, 2}}, "block 1 of 1, record 1: the block ends before the record (22 in the block)"},  // one byte, "A"
    };
    // Read, not refused: a block stored uncompressed in a compressed file, a
    // block of another type (skipped), an event among the flows (skipped).
    const std::tuple<std::vector<Patch>, unsigned long, unsigned long, unsigned long> read_cases[] = {  // flows, skipped, events
        {{{16, 3, 1}, {50, 1, 2}}, 20, 2, 0}, {{{48, 4, 2}}, 0, 22, 0}, {{{94, 1, 1}}, 19, 3, 1}};
    for (const auto& [patches, flows, skipped, events] : read_cases) {
        Vorn::NfcapdReader reader;
        EXPECT_TRUE(reader.read(dir.write("variant", patched(small, SIZE_MAX, patches)), [](const Vorn::TrafficStat&) { return string(); }));
        EXPECT_EQ(std::make_tuple(reader.flows(), reader.skipped(), reader.events()), std::make_tuple(flows, skipped, events)) << reader.problem();
    }
    for (const auto& c : cases) {
        Vorn::NfcapdReader reader;
        EXPECT_FALSE(reader.read(dir.write("damaged", patched(c.file, c.cut, c.patches)), [](const Vorn::TrafficStat&) { return string(); }));
        EXPECT_EQ(reader.problem(), dir.file("damaged") + ": " + c.message);
    }
}

TEST(CaptureFiles, AreTheTreesNfcapdFilesInPathOrderButTheCurrentOne) {
    const TempDir dir;
    std::filesystem::create_directories(dir.file("a/x")), std::filesystem::create_directories(dir.file("b"));
    for (const char* name : {"b/nfcapd.202401010005", "a/nfcapd.202401010010", "nfcapd.202401010000", "nfcapd.current.7",
                             "a/x/notes", "nfcapd.201912312355"})
        dir.write(name, "");
    std::vector<string> files;
    EXPECT_EQ(Vorn::capture_files(dir.path, files), "");
    EXPECT_EQ(files, (std::vector<string>{dir.file("a/nfcapd.202401010010"), dir.file("b/nfcapd.202401010005"),
                                          dir.file("nfcapd.201912312355"), dir.file("nfcapd.202401010000")}));
    EXPECT_EQ(Vorn::capture_files(dir.file("a/x"), files), dir.file("a/x") + ": no capture files (nfcapd.*) in it");
    EXPECT_EQ(Vorn::capture_files(dir.file("c"), files), "cannot read " + dir.file("c") + ": No such file or directory");
}
