#include "tools/vorn_detail/output_file.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Vorn {

namespace {

constexpr int cleanup_signals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr int signal_count = sizeof cleanup_signals / sizeof cleanup_signals[0];
constexpr int max_links = 40;  // the kernel's own limit for a path

// What a signal handler needs, in storage it may read: the temporary file to
// remove, set while the handler is installed, and the actions to put back.
char pending_temp[PATH_MAX];
struct sigaction previous_actions[signal_count];
bool caught[signal_count];

void remove_pending_temp(int signal_number) {
    unlink(pending_temp);
    // SA_RESETHAND has restored the default action, and the signal is blocked
    // until the handler returns: then it ends the process with its usual status.
    raise(signal_number);
}

// Keeps the cleanup signals out while the temporary file and its record change.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t set;
        sigemptyset(&set);
        for (const int signal_number : cleanup_signals) sigaddset(&set, signal_number);
        sigprocmask(SIG_BLOCK, &set, &previous_);
    }
    ~SignalsBlocked() { sigprocmask(SIG_SETMASK, &previous_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t previous_;
};

// Call with the signals blocked. A signal the caller ignores (nohup) stays ignored.
void watch_signals(const std::string& temp) {
    std::memcpy(pending_temp, temp.c_str(), temp.size() + 1);
    struct sigaction action {};
    action.sa_handler = remove_pending_temp;
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (const int signal_number : cleanup_signals) sigaddset(&action.sa_mask, signal_number);
    for (int i = 0; i < signal_count; ++i) {
        sigaction(cleanup_signals[i], nullptr, &previous_actions[i]);
        caught[i] = (previous_actions[i].sa_flags & SA_SIGINFO) != 0 || previous_actions[i].sa_handler != SIG_IGN;
        if (caught[i]) sigaction(cleanup_signals[i], &action, nullptr);
    }
}

// Call with the signals blocked.
void unwatch_signals() {
    for (int i = 0; i < signal_count; ++i) {
        if (caught[i]) sigaction(cleanup_signals[i], &previous_actions[i], nullptr);
    }
}

// Follows symbolic links at the end of path until something else (or nothing)
// stands there. A relative link is relative to the link's directory.
bool resolve_links(std::string& path, int& error_number) {
    for (int hops = 0;; ++hops) {
        struct stat info;
        if (lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return true;
        if (hops == max_links) {
            error_number = ELOOP;
            return false;
        }
        char target[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), target, sizeof target);
        if (length < 0 || static_cast<size_t>(length) == sizeof target) {
            error_number = length < 0 ? errno : ENAMETOOLONG;
            return false;
        }
        std::string next(target, static_cast<size_t>(length));
        const size_t slash = path.rfind('/');
        if (next[0] != '/' && slash != std::string::npos) next.insert(0, path, 0, slash + 1);
        path = next;
    }
}

const char* kind_of(mode_t mode) {
    if (S_ISDIR(mode)) return "a directory";
    if (S_ISBLK(mode)) return "a block device";
    if (S_ISSOCK(mode)) return "a socket";
    return "not a file";
}

}  // namespace

OutputFile::OutputFile(const std::string& path)
    : path_(path), name_(path == "-" ? "standard output" : path), target_(path) {
    if (path == "-") {
        open_stream();
        return;
    }
    int error_number = 0;
    if (!resolve_links(target_, error_number)) {
        fail("cannot write " + name_, error_number);
        return;
    }
    struct stat info;
    if (lstat(target_.c_str(), &info) != 0) {
        if (errno != ENOENT) {
            fail("cannot write " + name_, errno);
            return;
        }
        const mode_t mask = umask(0);
        umask(mask);
        open_temporary(0666 & ~mask);
    } else if (S_ISREG(info.st_mode)) {
        open_temporary(info.st_mode & 07777);
    } else if (S_ISFIFO(info.st_mode) || S_ISCHR(info.st_mode)) {
        open_stream();
    } else {
        error_ = "cannot write " + name_ + ": " + kind_of(info.st_mode) +
                 " (only a regular file, a FIFO, a character device or '-' is written)";
    }
}

OutputFile::~OutputFile() {
    if (file_ != nullptr) std::fclose(file_);
    if (temp_.empty()) return;
    const SignalsBlocked blocked;
    unlink(temp_.c_str());
    unwatch_signals();
}

void OutputFile::open_temporary(mode_t mode) {
    std::string temp = target_ + ".tmp.XXXXXX";
    if (temp.size() >= sizeof pending_temp) {
        fail("cannot create " + temp, ENAMETOOLONG);
        return;
    }
    const SignalsBlocked blocked;
    const int fd = mkstemp(temp.data());
    if (fd < 0) {
        fail("cannot create " + temp, errno);
        return;
    }
    temp_ = temp;
    watch_signals(temp_);
    // mkstemp makes the file private; give it the mode of what it replaces.
    fchmod(fd, mode);
    file_ = fdopen(fd, "wb");
    if (file_ == nullptr) {
        fail("cannot create " + temp_, errno);
        ::close(fd);
    }
}

void OutputFile::open_stream() {
    // A FIFO's open waits for a reader, as a shell redirection does.
    const int fd = path_ == "-" ? dup(STDOUT_FILENO) : ::open(target_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        fail("cannot write " + name_, errno);
        return;
    }
    struct stat info;
    // A file swapped in after the look is not written over in place.
    if (path_ != "-" && (fstat(fd, &info) != 0 || !(S_ISFIFO(info.st_mode) || S_ISCHR(info.st_mode)))) {
        ::close(fd);
        error_ = "cannot write " + name_ + ": replaced while being opened";
        return;
    }
    file_ = fdopen(fd, "wb");
    if (file_ == nullptr) {
        // EINVAL: a descriptor not open for writing, which write() calls EBADF.
        fail("cannot write " + name_, errno == EINVAL ? EBADF : errno);
        ::close(fd);
    }
}

bool OutputFile::write(const std::vector<unsigned char>& bytes) {
    if (file_ == nullptr) return false;
    if (bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size()) return true;
    fail("cannot write " + name_, errno);
    return false;
}

bool OutputFile::commit() {
    if (file_ == nullptr) return false;
    FILE* file = file_;
    file_ = nullptr;
    // fclose may replace the errno of a failed flush.
    const bool flushed = std::fflush(file) == 0;
    const int flush_error = errno;
    if (std::fclose(file) != 0 || !flushed) {
        fail("cannot write " + name_, flushed ? errno : flush_error);
        return false;
    }
    if (temp_.empty()) return true;
    const SignalsBlocked blocked;
    if (std::rename(temp_.c_str(), target_.c_str()) != 0) {
        fail("cannot write " + name_, errno);
        return false;
    }
    unwatch_signals();
    temp_.clear();
    return true;
}

void OutputFile::fail(const std::string& what, int error_number) {
    error_ = what + ": " + std::strerror(error_number);
}

}  // namespace Vorn
