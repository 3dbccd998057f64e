#include <gtest/gtest.h>

#include <list>

#include "detail_file_test_util.h"

namespace Vorn {
namespace {

using detail_test::Bytes;
using detail_test::new_format;
using detail_test::Probed;
using detail_test::TempFile;
using Lines = std::vector<std::string>;
using Results = std::vector<int>;

TEST(DetailedInfoFileParser, EveryKnownFieldLandsInItsPlace) {
    detail_test::use_utc();
    Bytes bytes = new_format({{4, 1}, {5, 1}, {6, 1}, {9, 1}, {13, 1}, {7, 2}, {10, 2}, {11, 2}, {14, 2}, {1, 4},
                              {2, 4}, {8, 4}, {12, 4}, {15, 4}, {16, 4}, {17, 4}, {21, 4}, {22, 4}, {100, 4},
                              {101, 4}, {102, 4}, {103, 4}, {104, 4}, {105, 4}},
                             {{1, {4, 5, 6, 9, 13, 7, 10, 11, 14, 1, 2, 8, 12, 15, 16, 17, 21, 22, 100, 101, 102, 103,
                                   104, 105}}});
    bytes.u8({0x01, 0x06, 0x10, 0x1B, 0x18, 0x20, 0xD2, 0x04, 0x03, 0x00, 0x50, 0x00, 0x04, 0x00});
    bytes.u32(5000).u32(50).u32(0x0A000001).u32(0x0A000002).u32(0x0A0000FE).u32(70000).u32(70001).u32(900);
    bytes.u32(800).u32(11).u32(12).u32(0xC0A80001).u32(13).u32(0xFFFFFFFF).u32(0xC0A800FE);
    TempFile file(bytes);
    Probed p(file);
    EXPECT_EQ(p.read_all().results, Results{1});
    EXPECT_EQ(p.record.to_str_json(),
              R"({"account_id":12,"d_addr":"10.0.0.2","d_oct":5000,"d_pkt":50,"dport":80,"dst_as":70001,)"
              R"("dst_mask":32,"human_timestamp":"Wed Dec 31 23:59:59 1969","iface":3,"ip":"192.168.0.1",)"
              R"("login":"","nexthop_addr":"10.0.0.254","oface":4,"proto":6,"router_ip_netflow_from":"192.168.0.254",)"
              R"("s_addr":"10.0.0.1","slink_id":11,"sport":1234,"src_as":70000,"src_mask":24,"tclass":13,)"
              R"("tcp_flags":27,"timestamp":-1,"tos":16,"ts_first":800,"ts_last":900})");
    EXPECT_TRUE(p.log.lines.empty());
}

TEST(DetailedInfoFileParser, AliasIdsSixteenByteAddressesAndTwoByteAsNumbers) {
    Bytes bytes = new_format({{55, 1}, {29, 1}, {30, 1}, {23, 4}, {24, 4}, {16, 2}, {17, 2}, {27, 16}, {28, 16},
                              {62, 16}, {150, 16}, {151, 16}},
                             {{1, {55, 29, 30, 23, 24, 16, 17, 27, 28, 62, 150, 151}}});
    bytes.u8({0x01, 0x2E, 0x11, 0x12}).u32(6000).u32(60).u8({0xFF, 0xFF, 0x34, 0x12});
    // Low 64 bits first, each half little-endian: 2001:db8::1.
    const std::vector<uint8_t> v6 = {0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xB8, 0x0D, 0x01, 0x20};
    bytes.append(v6).u8({0x10, 0x0F, 0x0E, 0x0D, 0x0C, 0x0B, 0x0A, 0x09, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01});
    bytes.append(v6).append(v6).append(v6);
    TempFile file(bytes);
    Probed p(file);
    EXPECT_EQ(p.read_all().results, Results{1});
    const TrafficStat& r = p.record;
    EXPECT_EQ(std::vector<unsigned>({r.tos, r.src_mask, r.dst_mask, r.d_oct, r.d_pkt, r.src_as, r.dst_as}),
              std::vector<unsigned>({0x2E, 0x11, 0x12, 6000, 60, 0xFFFF, 0x1234}));
    EXPECT_EQ(r.s_addr.to_string(), "2001:db8::1");
    EXPECT_EQ(r.d_addr.to_string(), "102:304:506:708:90a:b0c:d0e:f10");
    EXPECT_EQ(r.nexthop_addr.to_string() + r.ip.to_string() + r.router_ip_netflow_from.to_string(),
              "2001:db8::12001:db8::12001:db8::1");
}

TEST(DetailedInfoFileParser, UnknownDataIdEndsReading) {
    TempFile file(new_format({{8, 4}}, {{1, {8}}}).u8({0x01, 1, 1, 1, 1, 0x07, 2, 2, 2, 2, 0x01, 3, 3, 3, 3}));
    Probed p(file);
    EXPECT_EQ(p.read_all().results, Results{1});  // and the third record is never read
    EXPECT_EQ(p.log.lines, Lines{"There is no such data ID in metadata. Current file has been damaged"});
    EXPECT_EQ(p.record.s_addr.to_string(), "1.1.1.1");
}

TEST(DetailedInfoFileParser, UndescribedFieldIdEndsReading) {
    TempFile file(new_format({{8, 4}}, {{1, {8}}, {2, {8, 12}}}).u8({0x01, 1, 1, 1, 1, 0x02, 2, 2, 2, 2, 9, 9, 9, 9}));
    Probed p(file);
    EXPECT_EQ(p.read_all().results, Results{1});
    EXPECT_EQ(p.log.lines, Lines{"There is no such field ID in description metadata. Current file has been damaged"});
    EXPECT_EQ(p.record.s_addr.to_string(), "2.2.2.2");  // stored before the bad field
}

TEST(DetailedInfoFileParser, OddSizeIsSkippedAndNamedInRawCharacters) {
    // Field 0x41 ('A') of 8 bytes, then s_addr.
    TempFile file(new_format({{0x41, 8}, {8, 4}}, {{1, {0x41, 8}}})
                      .u8({0x01, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0x0A, 0x00, 0x00, 0x7F}));
    Probed p(file);
    EXPECT_EQ(p.read_all().results, Results{1});
    EXPECT_EQ(p.log.lines, Lines{"There is no such field; Field with ID <A> and length <\x08> would skipped"});
    EXPECT_EQ(p.record.s_addr.to_string(), "127.0.0.10");
}

TEST(DetailedInfoFileParser, UnknownOneByteIdIsNamedInDecimalAndSkipsOneMore) {
    TempFile file(new_format({{99, 1}, {4, 1}}, {{1, {99, 4}}}).u8({0x01, 0xEE, 0xEE, 0x11}));
    Probed p(file);
    EXPECT_EQ(p.read_all().results, Results{1});
    EXPECT_EQ(p.log.lines, Lines{"There is no such field; Field with ID <99> would skipped"});
    EXPECT_EQ(p.record.proto, 0x11);
}

TEST(DetailedInfoFileParser, UnknownTwoAndFourByteIdsSkipTheirSizeAgain) {
    // Id 8 declared with 2 bytes is unknown among the 2-byte ids: 2 + 2
    // bytes; id 0x43 ('C') of 4 bytes: 4 + 4 bytes. Then proto.
    TempFile file(new_format({{8, 2}, {0x43, 4}, {4, 1}}, {{1, {8, 0x43, 4}}})
                      .u8({0x01, 0xEE, 0xEE, 0xEE, 0xEE, 0xDD, 0xDD, 0xDD, 0xDD, 0xDD, 0xDD, 0xDD, 0xDD, 0x11}));
    Probed p(file);
    EXPECT_EQ(p.read_all().results, Results{1});
    EXPECT_EQ(p.log.lines, (Lines{"There is no such field; Field with ID <\x08> would skipped",
                                  "There is no such field; Field with ID <C> would skipped"}));
    EXPECT_EQ(p.record.proto, 0x11);
}

TEST(DetailedInfoFileParser, UnknownSixteenByteIdConsumesTwentyBytes) {
    TempFile file(new_format({{0x44, 16}, {4, 1}}, {{1, {0x44, 4}}}).u8({0x01}).fill(20, 0xEE).u8({0x11}));
    Probed p(file);
    EXPECT_EQ(p.read_all().results, Results{1});
    EXPECT_EQ(p.log.lines, Lines{"There is no such field; Field with ID <D> would skipped"});
    EXPECT_EQ(p.record.proto, 0x11);
}

TEST(DetailedInfoFileParser, RecordWithoutTclassKeepsThePreviousOne) {
    // Data id 3 has no fields at all and changes nothing.
    TempFile file(new_format({{103, 4}, {8, 4}}, {{1, {103, 8}}, {2, {8}}, {3, {}}})
                      .u8({0x01, 0x07, 0x00, 0x00, 0x00, 1, 1, 1, 1, 0x02, 2, 2, 2, 2, 0x03}));
    Probed p(file);
    EXPECT_EQ(p.read_all().results, (Results{1, 1, 1}));
    EXPECT_EQ(p.record.s_addr.to_string(), "2.2.2.2");
    EXPECT_EQ(p.record.tclass, 7u);
}

TEST(DetailedInfoFileParser, TruncatedRecordKeepsTheFieldsThatArrived) {
    // Twice the same cut record: known fields only, and behind an unknown id
    // (so read field by field).
    Bytes known = new_format({{8, 4}, {12, 4}}, {{1, {8, 12}}});
    Bytes shifted = new_format({{8, 4}, {12, 4}, {99, 1}}, {{1, {99, 8, 12}}});
    for (Bytes* bytes : {&known.u8({0x01, 1, 1, 1, 1, 2, 2, 2, 2, 0x01, 3, 3, 3, 3, 4, 4}),
                         &shifted.u8({0x01, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 0x01, 0, 0, 3, 3, 3, 3, 4, 4})}) {
        TempFile file(*bytes);
        Probed p(file);
        EXPECT_EQ(p.read_all().results, Results{1});
        EXPECT_EQ(p.record.s_addr.to_string() + " " + p.record.d_addr.to_string(), "3.3.3.3 2.2.2.2");
        EXPECT_EQ(p.log.lines.back(), "Unable to read field from file");
    }
}

TEST(DetailedInfoFileParser, LargeFileReadsEveryRecordWhole) {
    // Past the 256 KiB read buffer, so some records straddle its refills. Tos
    // comes twice (ids 5 and 55): the later one wins.
    Bytes bytes = new_format({{8, 4}, {103, 4}, {5, 1}, {55, 1}}, {{1, {5, 8, 103, 55}}});
    const uint32_t count = 40000;
    for (uint32_t i = 0; i < count; ++i) bytes.u8({0x01, 0xAA}).u32(0x0A000000 + i).u32(i).u8({uint8_t(i)});
    TempFile file(bytes);
    Probed p(file);
    uint32_t read = 0;
    bool all_equal = true;
    for (; p.parser.parse_record(p.record) == 1; ++read)
        all_equal = all_equal && p.record.tclass == read && p.record.s_addr.to_int() == 0x0A000000 + read &&
                    p.record.tos == uint8_t(read);
    EXPECT_EQ(read, count);
    EXPECT_TRUE(all_equal);
}

TEST(DetailedInfoFileParser, RefusingFilterStillReadsEveryRecord) {
    TempFile file(new_format({{8, 4}}, {{1, {8}}}).u8({0x01, 1, 1, 1, 1, 0x01, 2, 2, 2, 2}));
    EXPECT_EQ(Probed(file, nullptr, false).read_all().results, (Results{2, 2}));
    std::list<TrafficStat> output;
    Probed p(file, &output, false);
    p.parser.parse();
    EXPECT_EQ(p.filter.checked, 2u);
    EXPECT_TRUE(output.empty());
}

TEST(DetailedInfoFileParser, ParseAppendsCopiesOfKeptRecords) {
    TempFile file(new_format({{103, 4}, {8, 4}}, {{1, {103, 8}}, {2, {8}}})
                      .u8({0x01, 0x07, 0x00, 0x00, 0x00, 1, 1, 1, 1, 0x02, 2, 2, 2, 2}));
    std::list<TrafficStat> output;
    Probed p(file, &output);
    p.parser.parse();
    ASSERT_EQ(output.size(), 2u);
    EXPECT_EQ(output.front().s_addr.to_string(), "1.1.1.1");
    EXPECT_EQ(output.back().s_addr.to_string(), "2.2.2.2");
    EXPECT_EQ(output.back().tclass, 7u);
    EXPECT_TRUE(p.read_all().results.empty());  // parse closed the file
}

TEST(DetailedInfoFileParser, OldFileOf160BytesHoldsTwoRecords) {
    Bytes bytes;
    detail_test::old_record(bytes, 0x01010101, 10, 1);
    detail_test::old_record(bytes, 0x02020202, 20, 2).u8({0x01, 0x00, 0x00, 0x00, 0x03, 0x03, 0x03, 0x03});
    TempFile file(bytes);
    Probed one_by_one(file);
    EXPECT_EQ(one_by_one.read_all().results, (Results{1, 1}));
    EXPECT_EQ(one_by_one.record.d_pkt, 20u);
    EXPECT_EQ(one_by_one.log.lines, Lines{file.in_brackets("Rows fetched from file <", ">: 0")});

    std::list<TrafficStat> output;
    Probed whole(file, &output);
    whole.parser.parse();
    ASSERT_EQ(output.size(), 2u);
    EXPECT_EQ(output.front().tclass + output.back().tclass * 10, 21u);
    EXPECT_EQ(whole.log.lines, Lines{file.in_brackets("Rows fetched from file <", ">: 2")});
}

}  // namespace
}  // namespace Vorn
