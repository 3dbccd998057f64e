#include "config/vorn_config.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "recording_logger.h"
#include "temp_dir.h"

namespace Vorn {
namespace {

using Lines = std::vector<RecordingLogger::Line>;

const std::string kPid = std::to_string(getpid());

TEST(VornConfig, ImportSplitsAtTheFirstEqualsSkipsCommentsAndSectionsAndAccumulates) {
    TempDir dir;
    write_file(dir.file("a.conf"),
               "key = value\r\n  key2=a=b\n# key = hash\n; key = semicolon\n[key]\n\n"
               "empty =\nkey = second  \n\ttabbed = t\n");
    VornConfig config("Config", dir.file("pid"));
    ASSERT_EQ(config.import(dir.file("a.conf")), 0);
    std::string value;
    config.get("key2", value);
    EXPECT_EQ(value, "a=b");
    config.get("key", value);
    EXPECT_EQ(value, "value");
    std::vector<std::string> values;
    config.get("key", values);
    EXPECT_EQ(values, (std::vector<std::string>{"value", "second  "}));
    config.get("empty", values);
    EXPECT_EQ(values, std::vector<std::string>{""});
    config.get("[key]", values);
    EXPECT_TRUE(values.empty());
    // trim leaves tabs, so the key keeps its leading one.
    config.get("tabbed", value);
    EXPECT_EQ(value, "");
    config.get("\ttabbed", value);
    EXPECT_EQ(value, "t");
}

TEST(VornConfig, ImportLogsLinesWithoutEqualsByNumberCountingLongLinesInPieces) {
    TempDir dir;
    // 6000 characters arrive as a 4095-character line and a 1906-character one.
    write_file(dir.file("a.conf"), "long=" + std::string(5995, 'v') + "\nno equals\nb=1\n");
    RecordingLogger logged;
    VornConfig config("Config", dir.file("pid"));
    ASSERT_EQ(config.import(dir.file("a.conf")), 0);
    EXPECT_EQ(logged.lines(), (Lines{{6, "Config", "Processing config file: " + dir.file("a.conf")},
                                     {3, "Config", "Import: parse error at line 2"},
                                     {3, "Config", "Import: parse error at line 3"}}));
    std::string value;
    config.get("long", value);
    EXPECT_EQ(value, std::string(4090, 'v'));
    config.get("b", value);
    EXPECT_EQ(value, "1");
}

TEST(VornConfig, UnreadableFileLogsTheReasonSetsErrorBitZeroAndReturnsMinusOne) {
    RecordingLogger logged;
    VornConfig config("Config", "/nonexistent-strell-dir/pid");
    EXPECT_EQ(config.import("/nonexistent-strell-dir/a.conf"), -1);
    EXPECT_EQ(config.errors(), 1);
    EXPECT_EQ(logged.lines(), (Lines{{3, "Config", "/nonexistent-strell-dir/a.conf: No such file or directory"}}));
}

TEST(VornConfig, TrimDropsLeadingBlanksAndLineEndsButNoTabsNorTrailingBlanks) {
    char line[] = " \r\n \tkey = v \r\n";
    VornConfig::trim(line);
    EXPECT_STREQ(line, "\tkey = v ");
    char blank[] = "  \r\n";
    VornConfig::trim(blank);
    EXPECT_STREQ(blank, "");
}

TEST(VornConfig, GetTrimsAllWhiteSpaceOfTheFirstValue) {
    VornConfig config("Config", "/nonexistent-strell-dir/pid");
    config.set(std::string("key"), std::string(" \t\v value \f\r\n"));
    config.set(std::string("key"), std::string("second"));
    std::string value;
    config.get("key", value);
    EXPECT_EQ(value, "value");
}

TEST(VornConfig, BufferGetCopiesAtMostSizeCharactersAndNoTerminatingZero) {
    VornConfig config("Config", "/nonexistent-strell-dir/pid");
    char key[] = "key", abcdef[] = "abcdef", empty_key[] = "empty", empty[] = "";
    config.set(key, abcdef);
    config.set(empty_key, empty);
    char out[] = "ZZZZZZZ";
    config.get(key, out, 4);
    EXPECT_STREQ(out, "abcdZZZ");
    config.get(empty_key, out, 4);
    EXPECT_EQ(std::memcmp(out, "\0bcdZZZ", 8), 0);
}

TEST(VornConfig, SetWithANullPointerThrowsLogicError) {
    VornConfig config("Config", "/nonexistent-strell-dir/pid");
    char key[] = "key";
    EXPECT_THROW(config.set(key, nullptr), std::logic_error);
    EXPECT_THROW(config.set(nullptr, key), std::logic_error);
}

TEST(VornConfig, PidCreateOverALongerOldFileKeepsItsTail) {
    TempDir dir;
    const std::string old_content = "99999999999999\n";
    write_file(dir.file("pid"), old_content);
    RecordingLogger logged;
    VornConfig config("Config", dir.file("pid"));
    EXPECT_EQ(config.pid_create(), 0);
    EXPECT_EQ(read_file(dir.file("pid")), kPid + old_content.substr(kPid.size()));
    EXPECT_EQ(logged.lines(), (Lines{{6, "Config", "Pid file found: " + dir.file("pid") + "; Overwriting"}}));
}

TEST(VornConfig, PidFileIsCreatedWithMode0644AndDeletedByTheDestructor) {
    TempDir dir;
    RecordingLogger logged;
    {
        VornConfig config("Config", dir.file("pid"));
        ASSERT_EQ(config.pid_create(), 0);
        EXPECT_EQ(read_file(dir.file("pid")), kPid);
        struct stat info;
        ASSERT_EQ(stat(dir.file("pid").c_str(), &info), 0);
        const mode_t mask = umask(0);
        umask(mask);
        EXPECT_EQ(info.st_mode & 0777, 0644u & ~mask);
    }
    EXPECT_FALSE(file_exists(dir.file("pid")));
    EXPECT_EQ(logged.lines(), (Lines{{6, "Config", "Pid file found: " + dir.file("pid") + "; Overwriting"}}));
}

TEST(VornConfig, PidFailuresAreLoggedAndReturn22) {
    RecordingLogger logged;
    VornConfig config("Config", "/nonexistent-strell-dir/pid");
    EXPECT_EQ(config.pid_create(), 22);
    EXPECT_EQ(config.pid_delete(), 22);
    EXPECT_EQ(logged.lines(),
              (Lines{{3, "Config", "Can't open pid file /nonexistent-strell-dir/pid: No such file or directory"},
                     {3, "Config", "Can't unlink pid file /nonexistent-strell-dir/pid: No such file or directory"}}));
}

TEST(VornConfig, ShortPidWriteLogsDeletesTheFileAndReturns22) {
    TempDir dir;
    const std::string path = dir.file("pid");
    // A file size limit of 0 makes the write fail; only a child may live with that.
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
        RecordingLogger logged;
        VornConfig config("Config", path);
        const std::string pid = std::to_string(getpid());
        const bool ok = config.pid_create() == 22 && !file_exists(path) && logged.lines().size() == 1 &&
                        logged.lines()[0] ==
                            RecordingLogger::Line{3, "Config", "Can't write to pid file " + path + ": File too large"};
        _exit(ok ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

}  // namespace
}  // namespace Vorn
