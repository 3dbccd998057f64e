// vorn-detail against what may stand at its paths and against signals and a
// closed standard input: nothing there is destroyed and nothing is left behind.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

#include "tools/vorn_detail/detail_commands.h"

namespace Strell {
namespace {

const std::string kLine = Vorn::TrafficStat().to_str_json() + "\n";

struct Dir {
    std::string path = testing::TempDir() + "output_safety_XXXXXX";
    Dir() { EXPECT_NE(mkdtemp(path.data()), nullptr); }
    ~Dir() { std::filesystem::remove_all(path); }
    std::string operator/(const char* name) const { return path + "/" + name; }
    long entries() const { return std::distance(std::filesystem::directory_iterator(path), {}); }
};

std::string read_all(int fd) {
    std::string bytes;
    char chunk[4096];
    for (ssize_t n; (n = read(fd, chunk, sizeof chunk)) > 0;) bytes.append(chunk, size_t(n));
    close(fd);
    return bytes;
}

std::string contents(const std::string& path) { return read_all(open(path.c_str(), O_RDONLY)); }

mode_t kind(const std::string& path) {
    struct stat info {};
    lstat(path.c_str(), &info);
    return info.st_mode & S_IFMT;
}

int run(const std::vector<std::string>& args, std::string* err = nullptr) {
    std::istringstream in(kLine + kLine);
    std::ostringstream out, messages;
    const int status = run_vorn_detail(args, in, out, messages);
    if (err != nullptr) *err = messages.str();
    return status;
}

int write_new(const std::string& path, std::string* err = nullptr) {
    return run({"write", "--format", "new", path}, err);
}

// A link stays a link and its target gets the file; a FIFO or a device stays
// what it is and is written as a stream; anything else is refused.
TEST(OutputSafety, WriteKeepsLinksFifosAndDevicesAndRefusesADirectory) {
    Dir dir;
    ASSERT_EQ(write_new(dir / "plain"), 0);
    const std::string plain = contents(dir / "plain");
    ASSERT_EQ(symlink("plain", (dir / "link").c_str()) | symlink("later", (dir / "dangling").c_str()), 0);
    std::ofstream(dir / "plain") << "old";
    for (const auto& [link, target] : {std::pair{"link", "plain"}, std::pair{"dangling", "later"}}) {
        EXPECT_EQ(write_new(dir / link), 0) << link;
        EXPECT_EQ(kind(dir / link), S_IFLNK) << link;
        EXPECT_TRUE(contents(dir / target) == plain) << target;
    }
    // The pipe holds the whole file, so no reader thread is needed.
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    const int reader = open((dir / "fifo").c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(write_new(dir / "fifo"), 0);
    EXPECT_EQ(kind(dir / "fifo"), S_IFIFO);
    EXPECT_TRUE(read_all(reader) == plain);

    std::string err;
    EXPECT_EQ(write_new(dir.path, &err), 1);
    EXPECT_EQ(err, "vorn-detail: cannot write " + dir.path +
                       ": a directory (only a regular file, a FIFO, a character device or '-' is written)\n");
    EXPECT_EQ(dir.entries(), 5) << "no temporary file left";

    // The devices of /dev/null and /dev/full; the second fails the final flush.
    if (mknod((dir / "null").c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0) GTEST_SKIP() << "mknod not permitted";
    ASSERT_EQ(mknod((dir / "full").c_str(), S_IFCHR | 0600, makedev(1, 7)), 0);
    EXPECT_EQ(write_new(dir / "null", &err), 0) << err;
    EXPECT_EQ(write_new(dir / "full", &err), 1);
    EXPECT_EQ(err, "vorn-detail: cannot write " + dir / "full" + ": No space left on device\n");
    EXPECT_EQ(kind(dir / "null") | kind(dir / "full"), S_IFCHR);
}

// probe seeks, so a FIFO can never be read: dump refuses it without waiting for a writer.
TEST(OutputSafety, DumpRefusesAFifoAtOnce) {
    Dir dir;
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    auto dumped = std::async(std::launch::async, [&] { return run({"dump", dir / "fifo"}); });
    if (dumped.wait_for(std::chrono::seconds(10)) == std::future_status::timeout) {
        ADD_FAILURE() << "dump waits for a writer";
        close(open((dir / "fifo").c_str(), O_WRONLY));  // lets it go
    }
    EXPECT_EQ(dumped.get(), 1);
}

// A shell command with SIGINT, SIGTERM and SIGHUP at their default actions,
// whatever the test runner ignores; "exec" makes the pid vorn-detail's own.
pid_t spawn(const std::string& command) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    for (const int s : {SIGINT, SIGTERM, SIGHUP}) signal(s, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
}

int wait_for(pid_t pid) {
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return status;
}

const std::string kWrite = std::string("exec ") + VORN_DETAIL_PATH + " write --format new ";

TEST(OutputSafety, SignalDuringWriteRemovesTheTemporaryFileAndEndsAsTheSignal) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        Dir dir, own;
        ASSERT_EQ(mkfifo((own / "in").c_str(), 0600), 0);
        const pid_t pid = spawn(kWrite + dir / "out" + " <" + own / "in" + " 2>" + own / "err");
        ASSERT_GT(pid, 0);
        const int input = open((own / "in").c_str(), O_WRONLY);  // the input stays open: the write goes on
        ASSERT_EQ(write(input, kLine.data(), kLine.size()), ssize_t(kLine.size()));
        for (int i = 0; i < 1000 && dir.entries() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_EQ(dir.entries(), 1) << "the temporary file appears";
        kill(pid, signal_number);
        const int status = wait_for(pid);
        close(input);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal_number) << strsignal(signal_number);
        EXPECT_EQ(dir.entries(), 0) << strsignal(signal_number);
    }
}

// The temporary file would take descriptor 0 and be read as empty input.
TEST(OutputSafety, ClosedStandardInputIsRefusedNotReadAsEmpty) {
    Dir dir, own;
    const int status = wait_for(spawn(kWrite + dir / "out" + " <&- 2>" + own / "err"));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    EXPECT_EQ(contents(own / "err"), "vorn-detail: cannot read standard input: it is closed\n");
    EXPECT_EQ(dir.entries(), 0);
}

}  // namespace
}  // namespace Strell
