#include "vorn/stat/detailed_info_file_parser.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <typeinfo>

#include "vorn/log/log_stream.h"

namespace Vorn {

namespace {

// Every line of the parser is at the debug level.
const LogStream parser_log("DetailedInfoFileParser");

}  // namespace

DetailedInfoFileParser::DetailedInfoFileParser() {
    for (int16_t& size : field_sizes_) size = -1;
}

DetailedInfoFileParser::~DetailedInfoFileParser() { close(nullptr); }

// An accept-all filter cannot be told from none: it is not asked.
void DetailedInfoFileParser::init(std::list<TrafficStat>* output, Filter* filter) {
    output_ = output;
    filter_ = filter;
    accepts_all_ = filter == nullptr || typeid(*filter) == typeid(AcceptAllFilter);
}

int DetailedInfoFileParser::probe(const char* path) {
    path_ = path;
    // Only a new-format header, read below, describes records.
    std::fill(std::begin(layouts_), std::end(layouts_), RecordLayout());
    if (!input_.open(path)) {
        parser_log(Logger::Debug) << "Unable to open raw file: <" << path << ">";
        return probe_failed;
    }

    format_version_ = read_format_version();
    if (format_version_ == new_format) {
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
    if (format_version_ != old_format) {
        parser_log(Logger::Debug) << "There is no such fromat (from file <" << path << ">)";
        close(nullptr);
        return probe_failed;
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
    return probe_failed;
}

int DetailedInfoFileParser::read_format_version() {
    uint8_t version = 0;
    if (!read_byte(version)) return unknown_format;
    if (version == old_format || version == new_format) return version;
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

    std::fill(std::begin(layouts_), std::end(layouts_), RecordLayout());
    for (const auto& [data_id, field_ids] : data_) {
        RecordLayout& layout = layouts_[data_id];
        layout.field_ids = &field_ids;
        layout.plan.build(field_ids, field_sizes_);
        if (accepts_all_ && layout.plan.direct()) layout.direct_block = layout.plan.block();
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

// One new-format record, inlined into parse_record and read_record alike: a
// record that lies whole in the buffer is decoded where it lies.
[[gnu::always_inline]] inline bool DetailedInfoFileParser::read_next(TrafficStat& out) {
    if (!input_.fill(1)) return false;  // the normal end of a new-format file
    const unsigned char* const record = input_.next();
    const RecordLayout& layout = layouts_[record[0]];
    if (layout.plan.block() <= input_.buffered()) {
        layout.plan.decode(record + 1, out, billing_);
        input_.consume(layout.plan.block());
        return true;
    }
    input_.consume(1);
    return read_rest(layout, out);
}

// The hot path of a replay. Messages are logged only by the functions it
// calls for the rare cases, which keeps the stream set-up out of this one.
// A closed file, also the state after a failed probe whatever the format
// version says, has nothing to read and nothing to log. Each format has a
// function of its own, so that the old format's, small, is cheap to call.
int DetailedInfoFileParser::parse_record(TrafficStat& out) {
    if (format_version_ == new_format) return parse_new_record(out);
    if (format_version_ == old_format && input_.is_open()) return parse_old_record(out);
    close(nullptr);
    return no_record;
}

int DetailedInfoFileParser::parse_new_record(TrafficStat& out) {
    if (read_next(out)) return keeps(out) ? record_kept : record_refused;
    close(nullptr);
    return no_record;
}

// Before anything can refill the buffer over the pending record's bytes.
int DetailedInfoFileParser::parse_undecoded_record(TrafficStat& out) {
    // An old-format file has no direct records to bring out up to date with.
    if (format_version_ == old_format && input_.is_open()) return parse_old_record(out);
    if (pending_ != nullptr) settle(out);
    return parse_record(out);
}

void DetailedInfoFileParser::settle(TrafficStat& out) {
    layouts_[pending_[0]].plan.decode(pending_ + 1, out, billing_);
    pending_ = nullptr;
}

bool DetailedInfoFileParser::read_record(TrafficStat& out) { return read_next(out); }

// A record that straddles the end of the buffer, or one to be read field by
// field; near the end of the file the fields that arrived whole are stored
// and the first incomplete one fails.
bool DetailedInfoFileParser::read_rest(const RecordLayout& layout, TrafficStat& out) {
    if (layout.plan.whole() && input_.fill(layout.plan.length())) {
        layout.plan.decode(input_.next(), out, billing_);
        input_.consume(layout.plan.length());
        return true;
    }
    return read_fields(layout, out);
}

int DetailedInfoFileParser::end_old_format() {
    parser_log(Logger::Debug) << "Rows fetched from file <" << path_ << ">: " << (output_ != nullptr ? output_->size() : 0);
    close(nullptr);
    return no_record;
}

bool DetailedInfoFileParser::read_fields(const RecordLayout& layout, TrafficStat& out) {
    if (layout.field_ids == nullptr) {
        parser_log(Logger::Debug) << "There is no such data ID in metadata. Current file has been damaged";
        return false;
    }
    for (const uint8_t id : *layout.field_ids) {
        const int16_t size = field_sizes_[id];
        if (size < 0) {
            parser_log(Logger::Debug) << "There is no such field ID in description metadata. Current file has been damaged";
            return false;
        }
        bool read = false;
        switch (size) {
        case 1: read = read_octet_field(id, out); break;
        case 2: read = read_short_field(id, out); break;
        case 4: read = read_long_field(id, out); break;
        case 16: read = read_ipv6_field(id, out); break;
        default:
            // Id and size go out as raw characters, not numbers.
            parser_log(Logger::Debug) << "There is no such field; Field with ID <" << static_cast<char>(id) << "> and length <"
                                      << static_cast<char>(size) << "> would skipped";
            read = skip_field_by_size(static_cast<unsigned long>(size));
            break;
        }
        if (!read) return false;
    }
    return true;
}

// The four readers differ on purpose in how the unknown id is written and in
// how far they skip after its value: 1, 2, 4 and 4 bytes.
bool DetailedInfoFileParser::read_octet_field(const uint8_t& id, TrafficStat& out) {
    unsigned char value[1];
    return read_field(id, value, sizeof value, 1, true, out);
}

bool DetailedInfoFileParser::read_short_field(const uint8_t& id, TrafficStat& out) {
    unsigned char value[2];
    return read_field(id, value, sizeof value, 2, false, out);
}

bool DetailedInfoFileParser::read_long_field(const uint8_t& id, TrafficStat& out) {
    unsigned char value[4];
    return read_field(id, value, sizeof value, 4, false, out);
}

bool DetailedInfoFileParser::read_ipv6_field(const uint8_t& id, TrafficStat& out) {
    unsigned char value[16];
    return read_field(id, value, sizeof value, 4, false, out);
}

bool DetailedInfoFileParser::read_field(uint8_t id, unsigned char* value, uint8_t size, unsigned long skip_after_unknown,
                                        bool id_in_decimal, TrafficStat& out) {
    if (input_.read(value, size) != size) {
        parser_log(Logger::Debug) << "Unable to read field from file";
        return false;
    }
    const DetailField* field = find_detail_field(size, id);
    if (field == nullptr) {
        {
            auto line = parser_log(Logger::Debug);
            line << "There is no such field; Field with ID <";
            if (id_in_decimal)
                line << static_cast<unsigned>(id);
            else
                line << static_cast<char>(id);
            line << "> would skipped";
        }
        skip_field_by_size(skip_after_unknown);
        return true;
    }
    if (billing_ || !is_billing(field->member)) decode_detail_field(*field, value, out);
    return true;
}

bool DetailedInfoFileParser::skip_field_by_size(unsigned long size) {
    if (!input_.seek(static_cast<long>(size), SEEK_CUR)) {
        parser_log(Logger::Debug) << "Unable to seek field in the file";
        return false;
    }
    return true;
}

void DetailedInfoFileParser::parse() {
    if (format_version_ == new_format)
        read_new_format();
    else if (format_version_ == old_format)
        read_old_format();
}

// One TrafficStat serves the whole file, so a field that a record lacks
// keeps the previous record's value.
void DetailedInfoFileParser::read_new_format() {
    if (!input_.is_open()) return;
    TrafficStat record;
    if (!input_.seek(first_record_offset_, SEEK_SET)) {
        parser_log(Logger::Debug) << "Unable to seek to the first record in the file <" << path_ << ">";
        close(nullptr);
        return;
    }
    while (read_record(record)) {
        if (keeps(record) && output_ != nullptr) output_->push_back(record);
    }
    close(nullptr);
}

void DetailedInfoFileParser::read_old_format() {
    if (!input_.is_open()) return;
    TrafficStat record;
    input_.seek(0, SEEK_SET);
    while (fill_old_record()) {
        old_record_to_stat(input_.next(), record, billing_);
        input_.consume(sizeof(RawFileRecord));
        if (keeps(record) && output_ != nullptr) output_->push_back(record);
    }
    parser_log(Logger::Debug) << "Rows fetched from file <" << path_ << ">: " << (output_ != nullptr ? output_->size() : 0);
    close(nullptr);
}


}  // namespace Vorn
