#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "log/log_stream.h"
#include "stat/detailed_info_file_parser.h"

namespace detail_test {

// A file's bytes in order; integers little-endian as on disk.
struct Bytes {
    std::vector<uint8_t> data;
    Bytes& u8(std::initializer_list<uint8_t> bytes) { return append(bytes); }
    Bytes& append(const std::vector<uint8_t>& bytes) {
        data.insert(data.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Bytes& u32(uint32_t v) { return u8({uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}); }
    Bytes& fill(size_t n, uint8_t value) {
        data.insert(data.end(), n, value);
        return *this;
    }
};

// Version 2, field descriptions (id, size), data descriptions (id, field ids).
inline Bytes new_format(std::initializer_list<std::pair<uint8_t, uint8_t>> fields,
                        std::initializer_list<std::pair<uint8_t, std::vector<uint8_t>>> data) {
    Bytes b;
    b.u8({0x02, uint8_t(fields.size())});
    for (const auto& [id, size] : fields) b.u8({id, size});
    b.u8({uint8_t(data.size())});
    for (const auto& [id, field_ids] : data) b.u8({id, uint8_t(field_ids.size())}).append(field_ids);
    return b;
}

// 76 bytes: version 1, s_addr at 4, d_pkt at 20, tclass at 64, zeros elsewhere.
inline Bytes& old_record(Bytes& b, uint32_t s_addr, uint32_t d_pkt, uint32_t tclass) {
    return b.u32(1).u32(s_addr).fill(12, 0).u32(d_pkt).fill(40, 0).u32(tclass).fill(8, 0);
}

class TempFile {
public:
    explicit TempFile(const Bytes& bytes) {
        const char* dir = std::getenv("TMPDIR");
        path_ = std::string(dir != nullptr ? dir : "/tmp") + "/detail_test_XXXXXX";
        FILE* file = fdopen(mkstemp(path_.data()), "wb");
        if (!bytes.data.empty()) std::fwrite(bytes.data.data(), 1, bytes.data.size(), file);
        std::fclose(file);
    }
    ~TempFile() { std::remove(path_.c_str()); }
    const char* path() const { return path_.c_str(); }
    std::string in_brackets(const char* before, const char* after = ">") const { return before + path_ + after; }

private:
    std::string path_;
};

// Keeps the parser's lines while it lives; each must be a debug line of its facility.
struct ParserLog : Vorn::Logger {
    std::vector<std::string> lines;
    ParserLog() { Vorn::LogStream::init(this); }
    ~ParserLog() override { Vorn::LogStream::init(nullptr); }
    void write(Level level, const std::string& facility, const std::string& text) override {
        EXPECT_EQ(level, Debug);
        EXPECT_EQ(facility, "DetailedInfoFileParser");
        lines.push_back(text);
    }
};

// Answers with fixed values and keeps what it was shown.
struct RecordingFilter : Vorn::Filter {
    int answer = 0;
    bool keep = true;
    std::vector<Vorn::TrafficStat> shown;  // by check_bounds or check_first
    size_t checked = 0;
    int check_bounds(const Vorn::TrafficStat& first, const Vorn::TrafficStat& last) override {
        shown = {first, last};
        return answer;
    }
    int check_first(const Vorn::TrafficStat& first) override {
        shown = {first};
        return answer;
    }
    bool check_record(const Vorn::TrafficStat&) override {
        ++checked;
        return keep;
    }
};

// A parser probed on a file; the lines of probe and of reading kept apart.
struct Probed {
    ParserLog log;
    RecordingFilter filter;
    Vorn::DetailedInfoFileParser parser;
    int probe_result;
    std::vector<std::string> probe_lines;
    std::vector<int> results;
    Vorn::TrafficStat record;

    explicit Probed(const TempFile& file, std::list<Vorn::TrafficStat>* output = nullptr, bool keep = true,
                    int answer = 0) {
        filter.keep = keep;
        filter.answer = answer;
        parser.init(output, &filter);
        probe_result = parser.probe(file.path());
        probe_lines.swap(log.lines);
    }
    // parse_record until it gives 0.
    Probed& read_all() {
        for (int result; (result = parser.parse_record(record)) != 0;) results.push_back(result);
        return *this;
    }
};

inline void use_utc() {
    setenv("TZ", "UTC", 1);
    tzset();
}

}  // namespace detail_test
