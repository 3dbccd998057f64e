// The ceiling of the throughput runs: one 1464-byte datagram (a full v5
// packet's size) handed to sendto N times from an unconnected UDP socket,
// which is what strell's send loops do, with nothing else in the loop.
//
// Given a file and a stride, it is the floor of a replay instead: before
// every send it reads the next stride bytes of the file (in 64 KiB reads,
// starting again at its end) and folds them into the datagram, the least a
// replay must do with the records it sends, and nothing more.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// The file's bytes, stride at a time.
class FileStrides {
public:
    FileStrides(int fd, size_t stride) : fd_(fd), stride_(stride), buffer_(chunk + stride) {}

    // The next stride bytes, or null when the file cannot give them.
    const unsigned char* next() {
        if (end_ - begin_ < stride_) {
            std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
            end_ -= begin_;
            begin_ = 0;
            while (end_ < stride_) {
                ssize_t got = ::read(fd_, buffer_.data() + end_, chunk);
                if (got == 0 && lseek(fd_, 0, SEEK_SET) == 0 && !rewound_) {
                    rewound_ = true;
                    continue;
                }
                if (got <= 0) return nullptr;
                rewound_ = false;
                end_ += static_cast<size_t>(got);
            }
        }
        const unsigned char* bytes = buffer_.data() + begin_;
        begin_ += stride_;
        return bytes;
    }

private:
    static constexpr size_t chunk = 64 * 1024;
    int fd_;
    size_t stride_;
    std::vector<unsigned char> buffer_;
    size_t begin_ = 0;
    size_t end_ = 0;
    bool rewound_ = false;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4 && argc != 6) {
        std::fprintf(stderr, "usage: sendto_loop HOST PORT COUNT [FILE STRIDE]\n");
        return 2;
    }
    sockaddr_storage target{};
    socklen_t length = 0;
    auto* v4 = reinterpret_cast<sockaddr_in*>(&target);
    auto* v6 = reinterpret_cast<sockaddr_in6*>(&target);
    const auto port = static_cast<uint16_t>(std::atoi(argv[2]));
    if (inet_pton(AF_INET, argv[1], &v4->sin_addr) == 1) {
        v4->sin_family = AF_INET;
        v4->sin_port = htons(port);
        length = sizeof *v4;
    } else if (inet_pton(AF_INET6, argv[1], &v6->sin6_addr) == 1) {
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(port);
        length = sizeof *v6;
    } else {
        std::fprintf(stderr, "sendto_loop: bad address %s\n", argv[1]);
        return 2;
    }
    const unsigned long count = std::strtoul(argv[3], nullptr, 10);
    const int fd = ::socket(target.ss_family, SOCK_DGRAM, 0);
    if (fd < 0) {
        std::perror("socket");
        return 1;
    }
    static unsigned char datagram[1464];
    std::memset(datagram, 0x5a, sizeof datagram);
    int file = -1;
    size_t stride = 0;
    if (argc == 6) {
        file = ::open(argv[4], O_RDONLY);
        stride = std::strtoul(argv[5], nullptr, 10);
        if (file < 0 || stride == 0) {
            std::fprintf(stderr, "sendto_loop: cannot read %s in strides of %s bytes\n", argv[4], argv[5]);
            return 2;
        }
    }
    FileStrides strides(file, stride);

    timeval start{};
    timeval end{};
    gettimeofday(&start, nullptr);
    for (unsigned long i = 0; i < count; ++i) {
        if (file >= 0) {
            const unsigned char* bytes = strides.next();
            if (bytes == nullptr) {
                std::fprintf(stderr, "sendto_loop: %s: %s\n", argv[4], std::strerror(errno));
                return 1;
            }
            uint64_t folded = 0;
            for (size_t k = 0; k + sizeof folded <= stride; k += sizeof folded) {
                uint64_t word;
                std::memcpy(&word, bytes + k, sizeof word);
                folded ^= word;
            }
            std::memcpy(datagram, &folded, sizeof folded);
        }
        if (::sendto(fd, datagram, sizeof datagram, 0, reinterpret_cast<sockaddr*>(&target), length) < 0) {
            std::fprintf(stderr, "sendto_loop: sendto: %s\n", std::strerror(errno));
            return 1;
        }
    }
    gettimeofday(&end, nullptr);
    const double seconds = static_cast<double>(end.tv_sec - start.tv_sec) + (end.tv_usec - start.tv_usec) / 1e6;
    std::printf("%lu datagrams in %.6f sec, %.0f datagrams/s\n", count, seconds, seconds > 0 ? count / seconds : 0.0);
    ::close(fd);
    return 0;
}
