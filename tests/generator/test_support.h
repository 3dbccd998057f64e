#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What the generator's tests share: reading datagrams as a collector reads
// them (big-endian, by offset), a receiver, temporary files and strell runs.
namespace StrellTest {

using Datagram = std::vector<uint8_t>;

inline uint32_t be(const Datagram& bytes, size_t offset, size_t width) {
    uint32_t value = 0;
    for (size_t i = 0; i < width; ++i) value = value << 8 | bytes.at(offset + i);
    return value;
}

// "0a 00 00 01" form, for readable expectations.
inline std::string hex(const Datagram& bytes) {
    std::string text;
    for (uint8_t b : bytes) {
        if (!text.empty()) text += ' ';
        text += "0123456789abcdef"[b >> 4];
        text += "0123456789abcdef"[b & 15];
    }
    return text;
}

struct V5Header {
    uint32_t version, count, sys_uptime, unix_secs, unix_nsecs, flow_sequence, engine;
};

inline V5Header v5_header(const Datagram& d) {
    return {be(d, 0, 2), be(d, 2, 2), be(d, 4, 4), be(d, 8, 4), be(d, 12, 4), be(d, 16, 4), be(d, 20, 4)};
}

inline Datagram v5_record(const Datagram& d, size_t index) {
    const auto start = d.begin() + static_cast<long>(24 + 48 * index);
    return Datagram(start, start + 48);
}

// A v5 record made of raw bytes goes out with each field's bytes reversed.
inline Datagram reverse_each_field(const Datagram& raw) {
    Datagram out;
    size_t offset = 0;
    for (size_t width : {4, 4, 4, 2, 2, 4, 4, 4, 4, 2, 2, 1, 1, 1, 1, 2, 2, 1, 1, 2}) {
        for (size_t i = width; i-- > 0;) out.push_back(raw.at(offset + i));
        offset += width;
    }
    return out;
}

// A v9 datagram split by the flowsets' own length fields; a body keeps its padding.
struct V9Flowset {
    uint32_t id, length;
    Datagram body;
};

struct V9Datagram {
    uint32_t version, count, sys_uptime, unix_secs, sequence, source_id;
    std::vector<V9Flowset> flowsets;
};

inline V9Datagram parse_v9(const Datagram& d) {
    V9Datagram out{be(d, 0, 2), be(d, 2, 2), be(d, 4, 4), be(d, 8, 4), be(d, 12, 4), be(d, 16, 4), {}};
    for (size_t at = 20; at + 4 <= d.size();) {
        const uint32_t length = be(d, at + 2, 2);
        if (length < 4 || at + length > d.size()) break;
        const auto begin = d.begin() + static_cast<long>(at);
        out.flowsets.push_back({be(d, at, 2), length, Datagram(begin + 4, begin + length)});
        at += length;
    }
    return out;
}

// A file holding the given bytes, removed with the object.
class TempFile {
public:
    explicit TempFile(const std::vector<uint8_t>& bytes);
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    ~TempFile();

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// A collector stand-in: a UDP socket bound to port 0 on 127.0.0.1 or ::1.
// Every wait is bounded, so a test that sends too little fails instead of hanging.
class UdpReceiver {
public:
    // receive_buffer > 0 asks for that SO_RCVBUF, forced past the system cap
    // when the process may.
    explicit UdpReceiver(const std::string& address = "127.0.0.1", int receive_buffer = 0);
    UdpReceiver(const UdpReceiver&) = delete;
    UdpReceiver& operator=(const UdpReceiver&) = delete;
    ~UdpReceiver();

    uint16_t port() const { return port_; }
    const std::string& address() const { return address_; }
    int actual_receive_buffer() const;

    std::optional<Datagram> receive(std::chrono::milliseconds timeout);
    // Until count datagrams, `idle` without one, or `limit` overall; idle 0
    // takes what is queued.
    std::vector<Datagram> collect(size_t count, std::chrono::milliseconds idle,
                                  std::chrono::milliseconds limit = std::chrono::seconds(30));

private:
    std::string address_;
    int fd_ = -1;
    uint16_t port_ = 0;
};

// One run of the built strell (strell_process.cpp).
struct StrellRun {
    bool exited = false;  // false: ended by a signal (or killed at the time limit)
    int exit_code = -1;
    int signal = 0;
    std::string out;
    std::string err;
    std::vector<Datagram> datagrams;  // what the receiver got while strell ran
};

// Runs strell with args (argv[0] excluded), draining receiver while it runs.
// The run is killed after 60 s.
StrellRun run_strell(const std::vector<std::string>& args, UdpReceiver* receiver = nullptr);

}  // namespace StrellTest
