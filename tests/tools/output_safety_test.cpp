// vorn-detail against what may stand at its paths and against signals and a
// closed standard input: nothing there is destroyed and nothing is left behind.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
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

namespace fs = std::filesystem;

const std::string kLine = Vorn::TrafficStat().to_str_json() + "\n";

struct Dir {
    std::string path = testing::TempDir() + "output_safety_XXXXXX";
    Dir() { EXPECT_NE(mkdtemp(path.data()), nullptr); }
    ~Dir() { fs::remove_all(path); }
    std::string operator/(const char* name) const { return path + "/" + name; }
    size_t entries() const { return size_t(std::distance(fs::directory_iterator(path), {})); }
};

std::string read_all(int fd) {
    std::string bytes;
    char chunk[4096];
    for (ssize_t n; (n = read(fd, chunk, sizeof chunk)) > 0;) bytes.append(chunk, size_t(n));
    return bytes;
}

int write_new(const std::string& out, std::string* err = nullptr) {
    std::istringstream in(kLine + kLine);
    std::ostringstream ignored, messages;
    const int status = run_vorn_detail({"write", "--format", "new", out}, in, ignored, messages);
    if (err != nullptr) *err = messages.str();
    return status;
}

// A link stays a link and its target gets the file; a FIFO or a device stays
// what it is and is written as a stream; anything else is refused.
TEST(OutputSafety, WriteKeepsLinksFifosAndDevicesAndRefusesADirectory) {
    Dir dir;
    ASSERT_EQ(write_new(dir / "plain"), 0);
    std::ifstream plain_file(dir / "plain", std::ios::binary);
    const std::string plain((std::istreambuf_iterator<char>(plain_file)), {});
    const auto kind = [](const std::string& path) { struct stat s {}; lstat(path.c_str(), &s); return s.st_mode & S_IFMT; };

    ASSERT_EQ(symlink("plain", (dir / "link").c_str()), 0);
    ASSERT_EQ(symlink("later", (dir / "dangling").c_str()), 0);
    std::ofstream(dir / "plain") << "old";
    for (const char* link : {"link", "dangling"}) {
        EXPECT_EQ(write_new(dir / link), 0) << link;
        EXPECT_EQ(kind(dir / link), S_IFLNK) << link;
    }
    for (const char* target : {"plain", "later"}) {
        std::ifstream in(dir / target, std::ios::binary);
        EXPECT_TRUE(std::string((std::istreambuf_iterator<char>(in)), {}) == plain) << target;
    }

    // The pipe holds the whole file, so no reader thread is needed.
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    const int reader = open((dir / "fifo").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_EQ(write_new(dir / "fifo"), 0);
    EXPECT_EQ(kind(dir / "fifo"), S_IFIFO);
    EXPECT_TRUE(read_all(reader) == plain);
    close(reader);

    std::string err;
    EXPECT_EQ(write_new(dir.path, &err), 1);
    EXPECT_EQ(err, "vorn-detail: cannot write " + dir.path +
                       ": a directory (only a regular file, a FIFO, a character device or '-' is written)\n");
    EXPECT_EQ(dir.entries(), 5u) << "no temporary file left";

    if (mknod((dir / "null").c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0) GTEST_SKIP() << "mknod not permitted";
    EXPECT_EQ(write_new(dir / "null", &err), 0) << err;
    EXPECT_EQ(kind(dir / "null"), S_IFCHR);
}

// A FIFO can never be probed (probe seeks): dump refuses it without waiting for a writer.
TEST(OutputSafety, DumpRefusesAFifoAtOnce) {
    Dir dir;
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    auto dumped = std::async(std::launch::async, [&] {
        std::istringstream in;
        std::ostringstream out, err;
        return run_vorn_detail({"dump", dir / "fifo"}, in, out, err);
    });
    if (dumped.wait_for(std::chrono::seconds(10)) == std::future_status::timeout) {
        ADD_FAILURE() << "dump waits for a writer";
        close(open((dir / "fifo").c_str(), O_WRONLY));  // lets it go
    }
    EXPECT_EQ(dumped.get(), 1);
}

struct Process {
    pid_t pid = -1;
    int input = -1;  // write end of its standard input, or -1 when closed
};

// vorn-detail write into out with its standard error into err, and standard
// input from a pipe or closed.
Process start_write(const std::string& out, const std::string& err, bool close_input) {
    int pipe_fds[2];
    EXPECT_EQ(pipe2(pipe_fds, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (close_input) posix_spawn_file_actions_addclose(&actions, 0);
    else posix_spawn_file_actions_adddup2(&actions, pipe_fds[0], 0);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    for (const int s : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, s);
    posix_spawnattr_setsigdefault(&attributes, &signals);  // a test runner may ignore some
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    const char* argv[] = {VORN_DETAIL_PATH, "write", "--format", "new", out.c_str(), nullptr};
    Process process;
    EXPECT_EQ(posix_spawn(&process.pid, argv[0], &actions, &attributes, const_cast<char**>(argv), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(pipe_fds[0]);
    if (close_input) close(pipe_fds[1]);
    else process.input = pipe_fds[1];
    return process;
}

int wait_for(pid_t pid) {
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return status;
}

TEST(OutputSafety, SignalDuringWriteRemovesTheTemporaryFileAndEndsAsTheSignal) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        Dir dir, logs;
        Process write = start_write(dir / "out", logs / "err", false);
        ASSERT_EQ(::write(write.input, kLine.data(), kLine.size()), ssize_t(kLine.size()));
        for (int i = 0; i < 1000 && dir.entries() == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_EQ(dir.entries(), 1u) << "the temporary file appears";
        kill(write.pid, signal_number);
        const int status = wait_for(write.pid);
        close(write.input);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal_number) << strsignal(signal_number);
        EXPECT_EQ(dir.entries(), 0u) << strsignal(signal_number);
    }
}

// The temporary file would take descriptor 0 and be read as empty input.
TEST(OutputSafety, ClosedStandardInputIsRefusedNotReadAsEmpty) {
    Dir dir, logs;
    const int status = wait_for(start_write(dir / "out", logs / "err", true).pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    std::ifstream err(logs / "err");
    EXPECT_EQ(std::string((std::istreambuf_iterator<char>(err)), {}),
              "vorn-detail: cannot read standard input: it is closed\n");
    EXPECT_EQ(dir.entries(), 0u);
}

}  // namespace
}  // namespace Strell
