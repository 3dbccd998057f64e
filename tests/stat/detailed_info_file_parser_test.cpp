#include <gtest/gtest.h>

#include "detail_file_test_util.h"

namespace Vorn {
namespace {

using detail_test::Bytes;
using detail_test::new_format;
using detail_test::Probed;
using detail_test::TempFile;
using Lines = std::vector<std::string>;

TEST(DetailedInfoFileParser, MissingFileCannotBeOpened) {
    TempFile file(Bytes{});
    std::remove(file.path());
    Probed p(file);
    EXPECT_EQ(p.probe_result, 2);
    EXPECT_EQ(p.probe_lines, Lines{file.in_brackets("Unable to open raw file: <")});
    EXPECT_EQ(p.parser.format_version(), 3);
}

TEST(DetailedInfoFileParser, EmptyFileHasNoFormat) {
    TempFile file(Bytes{});
    Probed p(file);
    EXPECT_EQ(p.probe_result, 2);
    EXPECT_EQ(p.probe_lines, (Lines{"Unable to read field from file",
                                    file.in_brackets("There is no such fromat (from file <", ">)")}));
    EXPECT_TRUE(p.read_all().results.empty());
}

TEST(DetailedInfoFileParser, UnknownFirstByteHasNoFormat) {
    TempFile file(Bytes().u8({0x03, 0x01, 0x08, 0x04}));
    Probed p(file);
    EXPECT_EQ(p.probe_result, 2);
    EXPECT_EQ(p.probe_lines,
              (Lines{"Unknown version format", file.in_brackets("There is no such fromat (from file <", ">)")}));
}

TEST(DetailedInfoFileParser, OldFileOfOneRecordShowsItAsFirstAndLast) {
    Bytes bytes;
    TempFile file(detail_test::old_record(bytes, 0x0A000001, 7, 3));
    Probed p(file, nullptr, true, 42);
    EXPECT_EQ(p.probe_result, 42);  // the filter's answer, passed on
    ASSERT_EQ(p.filter.shown.size(), 2u);
    EXPECT_EQ(p.filter.shown[0].to_str_json(), p.filter.shown[1].to_str_json());
    EXPECT_EQ(p.filter.shown[1].s_addr.to_string(), "10.0.0.1");
    EXPECT_EQ(p.filter.shown[1].tclass, 3u);
    EXPECT_TRUE(p.probe_lines.empty());
}

TEST(DetailedInfoFileParser, OldFileLastRecordIsTheFinalSeventySixBytes) {
    Bytes bytes;
    detail_test::old_record(bytes, 0x0A000001, 1, 1).fill(12, 0x00).u32(42).fill(8, 0x00);  // 100 bytes
    TempFile file(bytes);
    Probed p(file);
    ASSERT_EQ(p.filter.shown.size(), 2u);
    EXPECT_EQ(p.filter.shown[1].s_addr.to_string(), "0.0.0.0");  // bytes 28..31
    EXPECT_EQ(p.filter.shown[1].tclass, 42u);                    // bytes 88..91
    // Reading starts at offset 0; the trailing 24 bytes end it.
    EXPECT_EQ(p.read_all().results, std::vector<int>{1});
    EXPECT_EQ(p.record.s_addr.to_string(), "10.0.0.1");
    EXPECT_EQ(p.log.lines, Lines{file.in_brackets("Rows fetched from file <", ">: 0")});
}

TEST(DetailedInfoFileParser, FailedProbeLeavesNothingToRead) {
    TempFile file(Bytes().u32(1).fill(20, 0));
    Probed p(file);
    EXPECT_EQ(p.probe_result, 2);
    EXPECT_EQ(p.probe_lines, Lines{file.in_brackets("Unable to get first nf5 entry in the file <")});
    EXPECT_EQ(p.parser.format_version(), 1);  // yet the file is closed
    EXPECT_TRUE(p.read_all().results.empty());
    EXPECT_TRUE(p.log.lines.empty());
}

TEST(DetailedInfoFileParser, NewFileShowsItsFirstRecordToCheckFirst) {
    TempFile file(new_format({{8, 4}}, {{1, {8}}}).u8({0x01}).u32(0xC0A80001).u8({0x01}).u32(0xC0A80002));
    Probed p(file, nullptr, true, 5);
    EXPECT_EQ(p.probe_result, 5);
    ASSERT_EQ(p.filter.shown.size(), 1u);
    EXPECT_EQ(p.filter.shown[0].s_addr.to_string(), "192.168.0.1");
    EXPECT_EQ(p.filter.checked, 0u);
    EXPECT_EQ(p.read_all().results, (std::vector<int>{1, 1}));  // from the first record again
    EXPECT_EQ(p.record.s_addr.to_string(), "192.168.0.2");
}

TEST(DetailedInfoFileParser, NewFileWithoutRecordsIsRefused) {
    TempFile file(new_format({{8, 4}}, {{1, {8}}}));
    Probed p(file);
    EXPECT_EQ(p.probe_result, 2);
    EXPECT_EQ(p.probe_lines, Lines{file.in_brackets("Unable to read first record from file <")});
}

TEST(DetailedInfoFileParser, FieldCountAbove127ReadsOnToTheEnd) {
    // F = 200: the signed counter never reaches it, so all 303 pairs are read.
    TempFile file(Bytes().u8({0x02, 0xC8, 0x08, 0x04, 0x00, 0x01, 0x01, 0x08}).fill(600, 0x01));
    Probed p(file);
    EXPECT_EQ(p.probe_result, 2);
    EXPECT_EQ(p.probe_lines,
              (Lines{"Unable to read field from file", file.in_brackets("Unable to read metadata from file <")}));
    DetailedInfoFileParser::FieldDescriptions fields;
    p.parser.get_metadata(fields, {});
    EXPECT_EQ(fields, (DetailedInfoFileParser::FieldDescriptions{{0x00, 0x01}, {0x01, 0x01}, {0x08, 0x04}}));
}

TEST(DetailedInfoFileParser, FieldListAbove127HoldsNoIds) {
    // N = 0x81 reads no ids: 08 00 is then a data id 8 with no fields, and
    // the record is data id 8.
    TempFile file(Bytes().u8({0x02, 0x01, 0x08, 0x04, 0x02, 0x01, 0x81, 0x08, 0x00, 0x08}));
    Probed p(file);
    EXPECT_EQ(p.probe_result, 0);
    EXPECT_EQ(p.read_all().results, std::vector<int>{1});
}

TEST(DetailedInfoFileParser, RepeatedIdsInTheHeader) {
    // Field 8 of 2 then of 4 bytes; data id 1 described twice, both with 8.
    TempFile file(Bytes()
                      .u8({0x02, 0x02, 0x08, 0x02, 0x08, 0x04, 0x02, 0x01, 0x01, 0x08, 0x01, 0x01, 0x08})
                      .u8({0x01, 0x01, 0x01, 0x01, 0x01, 0x02, 0x02, 0x02, 0x02}));
    Probed p(file);
    EXPECT_EQ(p.filter.shown.at(0).s_addr.to_string(), "2.2.2.2");
    // Only the field descriptions reach the caller: data is taken by value.
    DetailedInfoFileParser::FieldDescriptions fields;
    DetailedInfoFileParser::DataDescriptions data;
    p.parser.get_metadata(fields, data);
    EXPECT_EQ(fields, (DetailedInfoFileParser::FieldDescriptions{{0x08, 0x04}}));
    EXPECT_TRUE(data.empty());
    EXPECT_EQ(p.read_all().results, std::vector<int>{1});
}

}  // namespace
}  // namespace Vorn
