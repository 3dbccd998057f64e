#include <gtest/gtest.h>

#include <list>

#include <nlohmann/json.hpp>

#include "vorn/log/log_stream.h"
#include "vorn/stat/detail_encoder.h"
#include "vorn/stat/detailed_info_file_parser.h"
#include "temp_dir.h"

using namespace Vorn;
using Lines = std::vector<std::string>;
using Results = std::vector<int>;

// A file's bytes in order; integers little-endian as on disk.
struct Bytes {
    std::string data;
    Bytes& u8(std::initializer_list<uint8_t> bytes) { return data.append(bytes.begin(), bytes.end()), *this; }
    Bytes& u8(const std::vector<uint8_t>& bytes) { return data.append(bytes.begin(), bytes.end()), *this; }
    Bytes& u32(uint32_t v) { return u8({uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}); }
    Bytes& fill(size_t n, uint8_t value) { return data.append(n, char(value)), *this; }
};

// Version 2, then the field descriptions (id, size) and data descriptions (id, field ids).
Bytes new_format(std::initializer_list<std::pair<uint8_t, uint8_t>> fields,
                 std::initializer_list<std::pair<uint8_t, std::vector<uint8_t>>> data) {
    Bytes b = Bytes().u8({0x02, uint8_t(fields.size())});
    for (const auto& [id, size] : fields) b.u8({id, size});
    b.u8({uint8_t(data.size())});
    for (const auto& [id, field_ids] : data) b.u8({id, uint8_t(field_ids.size())}).data.append(field_ids.begin(), field_ids.end());
    return b;
}

// 76 bytes: version 1, s_addr at 4, d_pkt at 20, tclass at 64, zeros elsewhere.
Bytes& old_record(Bytes& b, uint32_t s_addr, uint32_t d_pkt, uint32_t tclass) {
    return b.u32(1).u32(s_addr).fill(12, 0).u32(d_pkt).fill(40, 0).u32(tclass).fill(8, 0);
}

// A parser probed on a file of the given bytes. It is the parser's filter
// (a fixed answer, keeping or refusing every record, keeping what it was
// shown) and its log, which must hold debug lines of the parser only, with
// each path replaced by %; the lines of probe are kept apart.
struct Probed : Logger, Filter {
    StrellTest::TempDir dir;
    std::string path;
    int answer, probe_result;
    bool keep;
    size_t checked = 0;
    std::vector<TrafficStat> shown;
    Lines probe_lines, lines;
    Results results;
    TrafficStat record;
    std::list<TrafficStat> output;
    DetailedInfoFileParser parser;

    explicit Probed(const Bytes& bytes, bool keep = true, int answer = 0, const char* name = "detail.vorn")
        : path(dir.file(name)), answer(answer), keep(keep) {
        dir.write(name, bytes.data);
        LogStream::init(this);
        parser.init(&output, this);
        probe_result = parser.probe(path.c_str());
        probe_lines.swap(lines);
    }
    ~Probed() override { LogStream::init(nullptr); }
    void write(Level level, const std::string& facility, const std::string& text) override {
        EXPECT_EQ(facility + " " + std::to_string(level), "DetailedInfoFileParser 7");
        lines.push_back(text);
        if (const size_t at = text.find(path); at != std::string::npos) lines.back().replace(at, path.size(), "%");
    }
    int check_bounds(const TrafficStat& first, const TrafficStat& last) override { return shown = {first, last}, answer; }
    int check_first(const TrafficStat& first) override { return shown = {first}, answer; }
    bool check_record(const TrafficStat&) override { return ++checked, keep; }
    // parse_record until it gives 0.
    Probed& read_all() {
        for (int result; (result = parser.parse_record(record)) != 0;) results.push_back(result);
        return *this;
    }
};

TEST(DetailedInfoFileParser, ProbeRefusesFilesItCannotExamineWithTheirMessages) {
    const std::pair<Bytes, Lines> cases[] = {
        {Bytes().u8({0x02}), {"Unable to read field from file", "Unable to read metadata from file <%>"}},
        {Bytes().u8({0x03, 0x01, 0x08, 0x04}), {"Unknown version format", "There is no such fromat (from file <%>)"}},
        {Bytes().u32(1).fill(20, 0), {"Unable to get first nf5 entry in the file <%>"}},
        {new_format({{8, 4}}, {{1, {8}}}), {"Unable to read first record from file <%>"}},
        // F = 200: the signed counter never reaches it, so pairs are read to the end.
        {Bytes().u8({0x02, 0xC8, 0x08, 0x04}).fill(600, 0x01),
         {"Unable to read field from file", "Unable to read metadata from file <%>"}},
    };
    for (const auto& [bytes, lines] : cases) {
        Probed p(bytes, true, 42);
        EXPECT_EQ(std::make_pair(p.probe_result, p.probe_lines), std::make_pair(2, lines));
        EXPECT_EQ(p.read_all().results, Results{});  // closed, whatever the version says
        EXPECT_EQ(p.lines, Lines{});
    }
    EXPECT_EQ(Probed(Bytes()).probe_lines, (Lines{"Unable to read field from file", "There is no such fromat (from file <%>)"}));
    EXPECT_EQ(Probed(Bytes(), true, 0, "dir/none").probe_lines, Lines{"Unable to open raw file: <%>"});
}

TEST(DetailedInfoFileParser, OldFilesShowFirstAndFinal76BytesAndReadWholeRecords) {
    struct Case { Bytes bytes; uint32_t first_tclass, last_tclass, last_d_pkt; Results results; };
    Case cases[] = {{{}, 3, 3, 7, {1}}, {{}, 1, 42, 1, {1}}, {{}, 1, 0, 20, {1, 1}}};
    old_record(cases[0].bytes, 0x0A000001, 7, 3);                                             // 76 bytes
    old_record(cases[1].bytes, 0x0A000001, 1, 1).fill(12, 0).u32(42).fill(8, 0);              // 100: last is 24..99
    old_record(old_record(cases[2].bytes, 0x0A000001, 10, 1), 0x02020202, 20, 2).fill(8, 3);  // 160
    for (const Case& c : cases) {
        Probed p(c.bytes, true, 42);
        EXPECT_EQ(p.probe_result, 42);  // the filter's answer, passed on
        EXPECT_EQ(DetailedInfoFileParser().probe(p.path.c_str()), 0);  // no filter to ask
        ASSERT_EQ(p.shown.size(), 2u); EXPECT_EQ(p.shown[0].s_addr.to_string(), "10.0.0.1");
        EXPECT_EQ(std::make_pair(p.shown[0].tclass, p.shown[1].tclass), std::make_pair(c.first_tclass, c.last_tclass));
        EXPECT_EQ(p.read_all().results, c.results);  // from offset 0; a trailing piece ends it
        EXPECT_EQ(std::make_pair(p.record.d_pkt, p.lines), std::make_pair(c.last_d_pkt, Lines{"Rows fetched from file <%>: 0"}));
        Probed whole(c.bytes);
        whole.parser.parse();
        EXPECT_EQ(std::make_pair(whole.output.size(), whole.lines),
                  std::make_pair(c.results.size(), Lines{"Rows fetched from file <%>: " + std::to_string(c.results.size())}));
    }
}

TEST(DetailedInfoFileParser, RecordsFillTheirFieldsAndKeepThePreviousValuesOfAbsentOnes) {
    // Alias ids (55 tos, 29/30 masks, 23/24 bytes and packets), 2-byte AS numbers;
    // data id 2 lacks tclass, data id 3 has no field at all.
    Probed p(new_format({{55, 1}, {29, 1}, {30, 1}, {23, 4}, {24, 4}, {16, 2}, {17, 2}, {103, 4}, {8, 4}},
                        {{1, {55, 29, 30, 23, 24, 16, 17, 103}}, {2, {8}}, {3, {}}})
                 .u8({0x01, 0x2E, 0x11, 0x12}).u32(6000).u32(60).u8({0xFF, 0xFF, 0x34, 0x12}).u32(7)
                 .u8({0x02, 2, 2, 2, 2, 0x03}), true, 43);
    EXPECT_EQ(std::make_pair(p.probe_result, p.shown.at(0).tclass), std::make_pair(43, 7u));  // the filter's answer to the first record
    EXPECT_EQ(DetailedInfoFileParser().probe(p.path.c_str()), 0);
    EXPECT_EQ(p.read_all().results, (Results{1, 1, 1}));
    const TrafficStat& r = p.record;
    EXPECT_EQ(std::vector<unsigned>({r.tos, r.src_mask, r.dst_mask, r.d_oct, r.d_pkt, r.src_as, r.dst_as, r.tclass}),
              std::vector<unsigned>({0x2E, 0x11, 0x12, 6000, 60, 0xFFFF, 0x1234, 7}));
    EXPECT_EQ(r.s_addr.to_string(), "2.2.2.2");
}

TEST(DetailedInfoFileParser, DamagedRecordsEndReadingAndUnknownFieldsAreSkippedAndNamed) {
    const std::tuple<Bytes, const char*, const char*> cases[] = {
        {new_format({{8, 4}}, {{1, {8}}}).u8({0x01, 1, 1, 1, 1, 0x07, 2, 2, 2, 2, 0x01, 3, 3, 3, 3}),
         "There is no such data ID in metadata. Current file has been damaged", "\"s_addr\":\"1.1.1.1\""},
        {new_format({{8, 4}}, {{1, {8}}, {2, {8, 12}}}).u8({0x01, 1, 1, 1, 1, 0x02, 2, 2, 2, 2, 9, 9, 9, 9}),
         "There is no such field ID in description metadata. Current file has been damaged", "\"s_addr\":\"2.2.2.2\""},
        {new_format({{8, 4}, {12, 4}}, {{1, {8, 12}}}).u8({0x01, 1, 1, 1, 1, 2, 2, 2, 2, 0x01, 3, 3, 3, 3, 4, 4}),
         "Unable to read field from file", "\"s_addr\":\"3.3.3.3\""},  // cut short in d_addr: s_addr stored
        // An unknown field consumes its value and, for a known size, 1, 2, 4 or 4 more bytes.
        {new_format({{0x41, 8}, {4, 1}}, {{1, {0x41, 4}}}).u8({0x01}).fill(8, 0xEE).u8({0x11}),
         "There is no such field; Field with ID <A> and length <\x08> would skipped", "\"proto\":17"},
        {new_format({{99, 1}, {4, 1}}, {{1, {99, 4}}}).u8({0x01}).fill(2, 0xEE).u8({0x11}),
         "There is no such field; Field with ID <99> would skipped", "\"proto\":17"},
        {new_format({{8, 2}, {4, 1}}, {{1, {8, 4}}}).u8({0x01}).fill(4, 0xEE).u8({0x11}),
         "There is no such field; Field with ID <\x08> would skipped", "\"proto\":17"},
        {new_format({{0x43, 4}, {4, 1}}, {{1, {0x43, 4}}}).u8({0x01}).fill(8, 0xEE).u8({0x11}),
         "There is no such field; Field with ID <C> would skipped", "\"proto\":17"},
        {new_format({{0x44, 16}, {4, 1}}, {{1, {0x44, 4}}}).u8({0x01}).fill(20, 0xEE).u8({0x11}),
         "There is no such field; Field with ID <D> would skipped", "\"proto\":17"},
    };
    for (const auto& [bytes, message, member] : cases) {
        Probed p(bytes);
        EXPECT_EQ(std::make_pair(p.read_all().results, p.lines), std::make_pair(Results{1}, Lines{message}));
        EXPECT_NE(p.record.to_str_json().find(member), std::string::npos) << message;
    }
}

TEST(RawFileRecord, ADefaultOneIsVersion1WithItsBillingWordsZero) {
    DetailedInfoFileParser::RawFileRecord raw;  // default-initialised: the rest is left unset
    EXPECT_EQ((std::vector<int64_t>{raw.version, raw.slink_id, raw.account_id, raw.reserved1, raw.tclass, raw.timestamp}),
              (std::vector<int64_t>{1, 0, 0, 0, 0, 0}));
}

TEST(DetailEncoder, AppendsARecordAfterTheBytesAlreadyThere) {
    TrafficStat a, b; a.sport = 1, b.sport = 2, b.tclass = 7;
    for (DetailFormat format : {DetailFormat::New, DetailFormat::Old}) {
        const DetailEncoder encoder(format);
        std::vector<unsigned char> both = {0xEE}, each = {0xEE};
        encoder.append_record(a, both), encoder.append_record(b, both);
        std::vector<unsigned char> alone_a, alone_b;
        encoder.append_record(a, alone_a), encoder.append_record(b, alone_b);
        each.insert(each.end(), alone_a.begin(), alone_a.end()), each.insert(each.end(), alone_b.begin(), alone_b.end());
        EXPECT_EQ(both, each);
    }
}

TEST(TrafficStat, JsonCarriesTheLoginAndRefusesOneThatIsNotUtf8) {
    TrafficStat r;
    r.login = "jos\xC3\xA9";
    EXPECT_NE(r.to_str_json().find(",\"login\":\"jos\xC3\xA9\","), std::string::npos) << r.to_str_json();
    r.login = "\xFF";
    EXPECT_THROW(r.to_str_json(), nlohmann::json::type_error);
}

TEST(DetailedInfoFileParser, ReadsEveryRecordOfALargeFileWhole) {
    // Past any read buffer of a sane size, so that records straddle its refills.
    Bytes bytes = new_format({{8, 4}, {103, 4}, {5, 1}}, {{1, {5, 8, 103}}});
    const uint32_t count = 40000;
    for (uint32_t i = 0; i < count; ++i) bytes.u8({0x01, uint8_t(i)}).u32(0x0A000000 + i).u32(i);
    Probed p(bytes);
    uint32_t read = 0, wrong = 0;
    for (; p.parser.parse_record(p.record) == 1; ++read)
        wrong += p.record.tclass != read || p.record.s_addr.to_int() != 0x0A000000 + read || p.record.tos != uint8_t(read);
    EXPECT_EQ(std::make_pair(read, wrong), std::make_pair(count, 0u));
}

TEST(DetailedInfoFileParser, ARecordDescribedAgainAndAgainIsReadWholeAndItsLaterFieldsWin) {
    // 33 descriptions of data id 1, each 126 IPv6 addresses and a tclass:
    // one record of 66,660 bytes, larger than a read buffer would naively be.
    Bytes bytes = Bytes().u8({0x02, 0x02, 27, 16, 103, 4, 33});
    std::vector<uint8_t> ids(126, 27);
    ids.push_back(103);
    for (int i = 0; i < 33; ++i) bytes.u8({0x01, 127}).u8(ids);
    Probed p(bytes.u8({0x01}).fill(33 * 2020 - 20, 0).fill(16, 0x11).u32(7));
    EXPECT_EQ(p.read_all().results, Results{1});
    EXPECT_EQ(p.record.s_addr.to_string() + " " + std::to_string(p.record.tclass), "1111:1111:1111:1111:1111:1111:1111:1111 7");
}

TEST(DetailedInfoFileParser, TheFilterDecidesWhichRecordsParseKeeps) {
    const Bytes bytes = new_format({{103, 4}, {8, 4}}, {{1, {103, 8}}, {2, {8}}})
                            .u8({0x01, 0x07, 0x00, 0x00, 0x00, 1, 1, 1, 1, 0x02, 2, 2, 2, 2});
    EXPECT_EQ(Probed(bytes, false).read_all().results, (Results{2, 2}));
    Probed refusing(bytes, false), p(bytes);
    EXPECT_TRUE((refusing.parser.parse(), refusing.checked == 2 && refusing.output.empty()));
    ASSERT_EQ((p.parser.parse(), p.output.size()), 2u);
    EXPECT_EQ(p.output.front().s_addr.to_string() + " " + p.output.back().s_addr.to_string(), "1.1.1.1 2.2.2.2");
    EXPECT_EQ(p.output.back().tclass, 7u);
    EXPECT_TRUE(p.read_all().results.empty());  // parse closed the file
}
