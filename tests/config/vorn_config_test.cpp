#include "vorn/config/vorn_config.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <unistd.h>

#include "recording_logger.h"
#include "temp_dir.h"

using namespace Vorn;

using StrellTest::read_file;
using Lines = std::vector<StrellTest::RecordingLogger::Line>;

TEST(VornConfig, ImportSplitsAtTheFirstEqualsSkipsCommentsAndSectionsAndLogsLinesWithoutEquals) {
    StrellTest::TempDir dir;
    // Line 11 has 6000 characters and arrives in two pieces, the second without "=".
    const std::string path = dir.write("a.conf", "key = value \t\r\n  key2=a=b\n# key = hash\n; key = semicolon\n[key]\n   \r\n"
                                                 "empty =\nno equals\nkey = second  \n\ttabbed = t\n"
                                                 "long=" + std::string(5995, 'v') + "\nb=1\n");
    StrellTest::RecordingLogger logged;
    VornConfig config("Config", dir.file("pid"));
    ASSERT_EQ(config.import(path), 0);
    EXPECT_EQ(logged.lines, (Lines{{6, "Config", "Processing config file: " + path},
                                   {3, "Config", "Import: parse error at line 8"},
                                   {3, "Config", "Import: parse error at line 12"}}));
    // trim keeps tabs, so the key of the tab-indented line starts with one.
    const std::pair<const char*, std::vector<std::string>> expected[] = {
        {"key", {"value \t", "second  "}}, {"key2", {"a=b"}}, {"empty", {""}}, {"b", {"1"}}, {"\ttabbed", {"t"}},
        {"long", {std::string(4090, 'v')}}, {"tabbed", {}}, {"# key", {}}, {"; key", {}}};
    std::vector<std::string> got;
    for (const auto& [key, values] : expected) EXPECT_EQ((got.clear(), config.get(key, got), got), values) << key;
    std::string value;
    EXPECT_EQ((config.get("key", value), value), "value");
    // Into a character buffer: at most `size` characters and no terminating zero; an empty value writes one zero.
    char key[] = "key", empty[] = "empty", buffer[] = "zzzzzzz";
    config.get(key, buffer, 4), config.get(empty, buffer + 1, 4);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("v\0luzzz\0", 8));
}

TEST(VornConfig, PidFileIsCreatedWithMode0644OverwrittenInPlaceAndDeletedByTheDestructor) {
    StrellTest::TempDir dir;
    const std::string path = dir.file("pid"), pid = std::to_string(getpid()), old_content = "99999999999999\n";
    StrellTest::RecordingLogger logged;
    {
        VornConfig config("Config", path);
        const mode_t mask = umask(0);  // so the mode is the one asked for
        ASSERT_EQ(config.pid_create(), 0);
        umask(mask);
        EXPECT_EQ(read_file(path), pid); EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0644));
        dir.write("pid", old_content);
        EXPECT_EQ(config.pid_create(), 0); EXPECT_EQ(read_file(path), pid + old_content.substr(pid.size()));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    const Lines::value_type found{6, "Config", "Pid file found: " + path + "; Overwriting"};
    EXPECT_EQ(logged.lines, (Lines{found, found}));
}

TEST(VornConfig, FailuresAreLoggedAndReportedByReturnCodes) {
    StrellTest::RecordingLogger logged;
    VornConfig config("Config", "/nonexistent-strell-dir/pid");
    EXPECT_TRUE(config.import("/nonexistent-strell-dir/a.conf") == -1 && config.errors() == 1);
    EXPECT_TRUE(config.pid_create() == 22 && config.pid_delete() == 22);
    EXPECT_EQ(logged.lines, (Lines{{3, "Config", "/nonexistent-strell-dir/a.conf: No such file or directory"},
                                   {3, "Config", "Can't open pid file /nonexistent-strell-dir/pid: No such file or directory"},
                                   {3, "Config", "Can't unlink pid file /nonexistent-strell-dir/pid: No such file or directory"}}));
}
