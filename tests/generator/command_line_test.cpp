#include "generator/command_line.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "generator/number_parsing.h"
#include "generator/raw_data.h"
#include "test_support.h"

namespace Strell {
namespace {

bool parse(std::vector<std::string> args, RunSettings& settings) {
    args.insert(args.begin(), "strell");
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    optind = 0;  // glibc: start getopt afresh
    return parse_command_line(static_cast<int>(args.size()), argv.data(), settings);
}

TEST(CommandLine, FlowOptionsAppendTypedFieldsInCommandLineOrder) {
    RunSettings settings;
    ASSERT_TRUE(parse({"-z", "70000", "-n", "0b101", "-m", "0x10", "-s", "10.0.0.1", "-N", "::1", "-i", "1", "-o",
                       "2", "-b", "3", "-P", "4", "-j", "5", "-k", "6", "-l", "7", "-x", "8", "-d", "10.0.0.2", "-N",
                       "10.0.0.3", "-z", "9"},
                      settings));
    std::vector<std::pair<int, int>> entries;
    for (const TemplateField& field : settings.flow_fields.fields()) entries.emplace_back(field.type, field.length);
    const std::vector<std::pair<int, int>> expected = {{7, 2}, {16, 4}, {17, 4}, {8, 4}, {62, 16}, {10, 2},
                                                       {14, 2}, {1, 4}, {2, 4}, {5, 1}, {6, 1}, {4, 1},
                                                       {11, 2}, {12, 4}, {15, 4}, {7, 2}};
    EXPECT_EQ(entries, expected);
    // Each value as it goes out.
    std::vector<std::string> values;
    for (const DataField& field : settings.flow_fields.data()) {
        RawData out;
        field.serialize(out);
        values.push_back(StrellTest::hex({out.data(), out.data() + out.size()}));
    }
    const std::vector<std::string> expected_values = {
        "11 70", "00 00 00 05", "00 00 00 10", "0a 00 00 01", "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01",
        "00 01", "00 02", "00 00 00 03", "00 00 00 04", "05", "06", "07", "00 08", "0a 00 00 02", "0a 00 00 03",
        "00 09"};
    EXPECT_EQ(values, expected_values);
}

TEST(CommandLine, SettingsTakeTheLastValueCutToTheirWidth) {
    RunSettings defaults;
    ASSERT_TRUE(parse({"-a", "1", "-I", "eth0"}, defaults));
    EXPECT_EQ(defaults.collector.address.to_string(), "127.0.0.1");
    EXPECT_EQ(defaults.collector.port, 9996);
    EXPECT_EQ(defaults.count, 65535u);
    EXPECT_EQ(defaults.version, 5);
    EXPECT_EQ(defaults.send_delay, 0);
    EXPECT_TRUE(defaults.flow_fields.fields().empty());

    RunSettings settings;
    ASSERT_TRUE(parse({"-h", "::1", "-p", "70000", "-c", "10", "-c", "4294967297", "-v", "65545", "-t", "-5", "-t",
                       "1000x", "-f", "flows.vorn", "-u", "-c", "junk7"},
                      settings));
    EXPECT_EQ(settings.collector.address.to_string(), "::1");
    EXPECT_EQ(settings.collector.port, 4464);
    EXPECT_EQ(settings.count, 0u);
    EXPECT_EQ(settings.version, 9);
    EXPECT_EQ(settings.send_delay, 1000);
    EXPECT_EQ(settings.file_name, "flows.vorn");
    EXPECT_TRUE(settings.detail_file_mode);
}

TEST(ReadNumber, BaseZeroReadsBinaryHexOctalAndDecimal) {
    const std::pair<const char*, long> cases[] = {
        {"0b101", 5}, {"0B11", 3}, {" \t-0b11", -3}, {"+0b1", 1}, {"0b1012", 5}, {"0x1f", 31}, {"017", 15},
        {"65001", 65001},
        // A prefix without a binary digit leaves the zero.
        {"0b", 0}, {"0b2", 0}, {"-0b", 0}, {"b101", 0}};
    for (const auto& [text, value] : cases) EXPECT_EQ(read_number(text, 0), value) << text;
    // Out of range saturates as strtol does.
    EXPECT_EQ(read_number(("0b" + std::string(64, '1')).c_str(), 0), LONG_MAX);
    EXPECT_EQ(read_number(("-0b1" + std::string(64, '0')).c_str(), 0), LONG_MIN);
    EXPECT_EQ(read_number("0b101", 10), 0);
    EXPECT_EQ(read_number("12abc", 10), 12);
}

}  // namespace
}  // namespace Strell
