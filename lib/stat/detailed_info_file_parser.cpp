#include "stat/detailed_info_file_parser.h"

#include <cstddef>
#include <cstring>

#include "stat/detailed_info_file_parser_log.h"

namespace Vorn {

const LogStream parser_log("DetailedInfoFileParser");

DetailedInfoFileParser::DetailedInfoFileParser() : layouts_(256) {
    for (int16_t& size : field_sizes_) size = -1;
}

DetailedInfoFileParser::~DetailedInfoFileParser() { close(nullptr); }

void DetailedInfoFileParser::init(std::list<TrafficStat>* output, Filter* filter) {
    output_ = output;
    filter_ = filter;
}

int DetailedInfoFileParser::probe(const char* path) {
    path_ = path;
    if (!input_.open(path)) {
        parser_log(Logger::Debug) << "Unable to open raw file: <" << path << ">";
        return 2;
    }

    format_version_ = read_format_version();
    if (format_version_ == 2) {
        if (!read_metadata()) return fail_probe("Unable to read metadata from file <");
        const long position = input_.tell();
        if (position == -1) return fail_probe("Unable to get current file position in the file <");
        first_record_offset_ = static_cast<int32_t>(position);
        TrafficStat first;
        if (!read_record(first)) return fail_probe("Unable to read first record from file <");
        if (!input_.seek(first_record_offset_, SEEK_SET))
            return fail_probe("Unable to seek to the first record in the file <");
        return filter_ != nullptr ? filter_->check_first(first) : 0;
    }
    if (format_version_ != 1) {
        parser_log(Logger::Debug) << "There is no such fromat (from file <" << path << ">)";
        close(nullptr);
        return 2;
    }

    if (!input_.seek(0, SEEK_SET)) return fail_probe("Unable to seek to begin nf5 entry in the file <");
    if (!fill_old_record()) return fail_probe("Unable to get first nf5 entry in the file <");
    TrafficStat first;
    old_record_to_stat(input_.next(), first, billing_);
    // A trailing piece shorter than a record is ignored by the sequential
    // read, but the last record here is simply the final 76 bytes.
    if (!input_.seek(-static_cast<long>(sizeof(RawFileRecord)), SEEK_END))
        return fail_probe("Unable to seek to the last nf5 entry in the file <");
    if (!fill_old_record()) return fail_probe("Unable to get last nf5 entry in the file <");
    TrafficStat last;
    old_record_to_stat(input_.next(), last, billing_);
    input_.seek(0, SEEK_SET);
    return filter_ != nullptr ? filter_->check_bounds(first, last) : 0;
}

int DetailedInfoFileParser::fail_probe(const char* problem) {
    parser_log(Logger::Debug) << problem << path_ << ">";
    close(nullptr);
    return 2;
}

int DetailedInfoFileParser::read_format_version() {
    uint8_t version = 0;
    if (!read_byte(version)) return unknown_format;
    if (version == 1 || version == 2) return version;
    parser_log(Logger::Debug) << "Unknown version format";
    return unknown_format;
}

bool DetailedInfoFileParser::read_metadata() {
    const bool complete = read_header();
    rebuild_layouts();
    return complete;
}

// The counters are signed 8-bit on purpose: a count above 127 never ends its
// loop (the counter wraps negative) and the header is read until a read
// fails; an N above 127 is negative and reads no field ids at all.
bool DetailedInfoFileParser::read_header() {
    uint8_t field_count = 0;
    if (!read_byte(field_count)) return false;
    for (int8_t i = 0; i < field_count; i = static_cast<int8_t>(i + 1)) {
        uint8_t id = 0;
        uint8_t size = 0;
        if (!read_byte(id) || !read_byte(size)) return false;
        fields_[id] = size;
    }

    uint8_t data_count = 0;
    if (!read_byte(data_count)) return false;
    if (data_count == 0) return true;
    for (int8_t i = 0; i < data_count; i = static_cast<int8_t>(i + 1)) {
        uint8_t data_id = 0;
        if (!read_byte(data_id)) return false;
        std::vector<uint8_t>& field_ids = data_[data_id];
        uint8_t count = 0;
        if (!read_byte(count)) return false;
        for (int8_t j = 0; j < static_cast<int8_t>(count); j = static_cast<int8_t>(j + 1)) {
            uint8_t id = 0;
            if (!read_byte(id)) return false;
            field_ids.push_back(id);
        }
    }
    return true;
}

void DetailedInfoFileParser::rebuild_layouts() {
    for (int16_t& size : field_sizes_) size = -1;
    for (const auto& [id, size] : fields_) field_sizes_[id] = size;

    layouts_.assign(256, RecordLayout());
    for (const auto& [data_id, field_ids] : data_) {
        RecordLayout& layout = layouts_[data_id];
        layout.field_ids = &field_ids;
        layout.plan.build(field_ids, field_sizes_);
    }
}

void DetailedInfoFileParser::get_metadata(FieldDescriptions& fields, DataDescriptions data) const {
    fields = fields_;
    data = data_;
}

void DetailedInfoFileParser::close(FILE*) { input_.close(); }

bool DetailedInfoFileParser::read_byte(uint8_t& byte) {
    if (!input_.read_byte(byte)) {
        parser_log(Logger::Debug) << "Unable to read field from file";
        return false;
    }
    return true;
}

// A RawFileRecord holds the record's bytes as they lie on disk.
void DetailedInfoFileParser::RawFileRecord_to_TrafficStat(const RawFileRecord& raw, TrafficStat& out) {
    old_record_to_stat(reinterpret_cast<const unsigned char*>(&raw), out, true);
}

}  // namespace Vorn
