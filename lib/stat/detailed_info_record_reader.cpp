#include <cstdio>
#include <cstring>

#include "stat/detailed_info_file_parser.h"
#include "stat/detailed_info_file_parser_log.h"
#include "stat/stdio_window.h"

namespace Vorn {

// Old-format records are used as they lie on disk.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "old-format records are read in place");

// Kind by kind, each a tight loop: the bulk of a replay's reading.
[[gnu::always_inline]] inline void DetailedInfoFileParser::store_block(const RecordLayout& layout, const unsigned char* data, TrafficStat& out) {
    using LittleEndian::load16;
    using LittleEndian::load32;
    for (const auto& [at, field] : layout.octets) out.*field = data[at];
    for (const auto& [at, field] : layout.shorts) out.*field = load16(data + at);
    for (const auto& [at, field] : layout.widened_shorts) out.*field = load16(data + at);
    for (const auto& [at, field] : layout.longs) out.*field = load32(data + at);
    for (const auto& [at, field] : layout.signed_longs) out.*field = static_cast<int32_t>(load32(data + at));
    for (const auto& [at, field] : layout.v4_addresses) DetailValue::set_v4(out.*field, data + at);
    for (const auto& [at, field] : layout.v6_addresses) DetailValue::set_v6(out.*field, data + at);
}

// One new-format record, inlined into parse_record and read_record alike.
[[gnu::always_inline]] inline bool DetailedInfoFileParser::read_next(TrafficStat& out) {
    if (file_ == nullptr) return false;
    const int data_id = getc_unlocked(file_);
    if (data_id == EOF) return false;  // the normal end of a new-format file

    const RecordLayout& layout = layouts_[static_cast<uint8_t>(data_id)];
    if (!layout.as_block) return read_fields(layout, out);
    if (const unsigned char* buffered = StdioWindow::peek(file_, layout.length)) {
        store_block(layout, buffered, out);
        StdioWindow::consume(file_, layout.length);
        return true;
    }
    return read_block(layout, out);
}

// The hot path of a replay. Messages are logged only by the functions it
// calls for the rare cases, which keeps the stream set-up out of this one.
int DetailedInfoFileParser::parse_record(TrafficStat& out) {
    // Also the state after a failed probe, whatever the format version says.
    if (file_ == nullptr) return 0;
    if (format_version_ == 2) {
        if (read_next(out)) return 2 - keeps(out);
        close(file_);
        return 0;
    }
    if (format_version_ == 1) return parse_old_record(out);
    close(file_);
    return 0;
}

bool DetailedInfoFileParser::read_record(TrafficStat& out) { return read_next(out); }

int DetailedInfoFileParser::parse_old_record(TrafficStat& out) {
    RawFileRecord raw;
    if (read_old_record(raw)) {
        RawFileRecord_to_TrafficStat(raw, out);
        return 2 - keeps(out);
    }
    parser_log(Logger::Debug) << "Rows fetched from file <" << path_ << ">: " << (output_ != nullptr ? output_->size() : 0);
    close(file_);
    return 0;
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

// A block that stdio could not hand over whole: the fields that arrived
// whole are stored in record order and, on a short read, the first
// incomplete one fails, as reading field by field would.
bool DetailedInfoFileParser::read_block(const RecordLayout& layout, TrafficStat& out) {
    unsigned char* const data = block_.data();
    const size_t got = fread_unlocked(data, 1, layout.length, file_);
    for (const BlockField& field : layout.fields) {
        if (field.offset + field.size > got) {
            parser_log(Logger::Debug) << "Unable to read field from file";
            return false;
        }
        store_detail_value(field.target, data + field.offset, out);
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
    if (file_ == nullptr || fread_unlocked(value, 1, size, file_) != size) {
        parser_log(Logger::Debug) << "Unable to read field from file";
        return false;
    }
    const DetailTarget target = detail_target(size, id);
    if (target.kind == DetailTarget::None) {
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
    store_detail_value(target, value, out);
    return true;
}

bool DetailedInfoFileParser::skip_field_by_size(unsigned long size) {
    if (file_ == nullptr || std::fseek(file_, static_cast<long>(size), SEEK_CUR) != 0) {
        parser_log(Logger::Debug) << "Unable to seek field in the file";
        return false;
    }
    return true;
}

void DetailedInfoFileParser::parse() {
    if (format_version_ == 2)
        read_new_format();
    else if (format_version_ == 1)
        read_old_format();
}

// One TrafficStat serves the whole file, so a field that a record lacks
// keeps the previous record's value.
void DetailedInfoFileParser::read_new_format() {
    if (file_ == nullptr) return;
    TrafficStat record;
    if (std::fseek(file_, first_record_offset_, SEEK_SET) != 0) {
        parser_log(Logger::Debug) << "Unable to seek to the first record in the file <" << path_ << ">";
        close(file_);
        return;
    }
    while (read_record(record)) {
        if (keeps(record) && output_ != nullptr) output_->push_back(record);
    }
    close(file_);
}

void DetailedInfoFileParser::read_old_format() {
    if (file_ == nullptr) return;
    TrafficStat record;
    RawFileRecord raw;
    std::fseek(file_, 0, SEEK_SET);
    while (read_old_record(raw)) {
        RawFileRecord_to_TrafficStat(raw, record);
        if (keeps(record) && output_ != nullptr) output_->push_back(record);
    }
    parser_log(Logger::Debug) << "Rows fetched from file <" << path_ << ">: " << (output_ != nullptr ? output_->size() : 0);
    close(file_);
}

// A trailing piece shorter than a record ends the file like its end does.
bool DetailedInfoFileParser::read_old_record(RawFileRecord& raw) {
    if (const unsigned char* buffered = StdioWindow::peek(file_, sizeof raw)) {
        std::memcpy(&raw, buffered, sizeof raw);
        StdioWindow::consume(file_, sizeof raw);
        return true;
    }
    return fread_unlocked(&raw, sizeof raw, 1, file_) == 1;
}

bool DetailedInfoFileParser::keeps(const TrafficStat& record) {
    return filter_ == nullptr || filter_->check_record(record);
}

}  // namespace Vorn
