#include <cstdio>

#include "stat/detailed_info_file_parser.h"
#include "stat/detailed_info_file_parser_log.h"

namespace Vorn {

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
// version says, has nothing to read and nothing to log.
int DetailedInfoFileParser::parse_record(TrafficStat& out) {
    if (format_version_ == 2) {
        if (read_next(out)) return 2 - keeps(out);
    } else if (format_version_ == 1 && input_.is_open()) {
        return parse_old_record(out);
    }
    close(nullptr);
    return 0;
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

int DetailedInfoFileParser::parse_old_record(TrafficStat& out) {
    if (fill_old_record()) {
        old_record_to_stat(input_.next(), out, billing_);
        input_.consume(sizeof(RawFileRecord));
        return 2 - keeps(out);
    }
    parser_log(Logger::Debug) << "Rows fetched from file <" << path_ << ">: " << (output_ != nullptr ? output_->size() : 0);
    close(nullptr);
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
    if (billing_ || !is_billing(field->member)) store_detail_value(*field, value, out);
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
    if (format_version_ == 2)
        read_new_format();
    else if (format_version_ == 1)
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

// A trailing piece shorter than a record ends the file like its end does.
bool DetailedInfoFileParser::fill_old_record() { return input_.fill(sizeof(RawFileRecord)); }

bool DetailedInfoFileParser::keeps(const TrafficStat& record) {
    return filter_ == nullptr || filter_->check_record(record);
}

}  // namespace Vorn
