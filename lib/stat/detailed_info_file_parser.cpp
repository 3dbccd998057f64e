#include "stat/detailed_info_file_parser.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include "stat/detailed_info_file_parser_log.h"

namespace Vorn {

const LogStream parser_log("DetailedInfoFileParser");

namespace {

// Files are read front to back in small pieces; a large buffer keeps that
// down to a few system calls per megabyte.
constexpr size_t stdio_buffer_size = 256 * 1024;

// probe seeks, so a FIFO can never be read; it is refused at once instead of
// being waited on in open() until some writer comes.
FILE* open_unless_fifo(const char* path) {
    const int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return nullptr;
    struct stat info;
    const int flags = fcntl(fd, F_GETFL);
    if (fstat(fd, &info) != 0 || S_ISFIFO(info.st_mode) || flags == -1 ||
        fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
        ::close(fd);
        return nullptr;
    }
    FILE* file = fdopen(fd, "rb");
    if (file == nullptr) ::close(fd);
    return file;
}

}  // namespace

DetailedInfoFileParser::DetailedInfoFileParser() : layouts_(256) {
    for (int16_t& size : field_sizes_) size = -1;
}

DetailedInfoFileParser::~DetailedInfoFileParser() { close(file_); }

void DetailedInfoFileParser::init(std::list<TrafficStat>* output, Filter* filter) {
    output_ = output;
    filter_ = filter;
}

int DetailedInfoFileParser::probe(const char* path) {
    close(file_);
    path_ = path;
    file_ = open_unless_fifo(path);
    if (file_ == nullptr) {
        parser_log(Logger::Debug) << "Unable to open raw file: <" << path << ">";
        return 2;
    }
    // glibc ignores the size unless it is given the buffer too.
    if (!stdio_buffer_) stdio_buffer_.reset(new char[stdio_buffer_size]);
    std::setvbuf(file_, stdio_buffer_.get(), _IOFBF, stdio_buffer_size);
    // One thread owns a parser: no stdio lock per read.
    __fsetlocking(file_, FSETLOCKING_BYCALLER);

    format_version_ = read_format_version();
    if (format_version_ == 2) {
        if (!read_metadata()) return fail_probe("Unable to read metadata from file <");
        const long position = std::ftell(file_);
        if (position == -1) return fail_probe("Unable to get current file position in the file <");
        first_record_offset_ = static_cast<int32_t>(position);
        TrafficStat first;
        if (!read_record(first)) return fail_probe("Unable to read first record from file <");
        if (std::fseek(file_, first_record_offset_, SEEK_SET) != 0)
            return fail_probe("Unable to seek to the first record in the file <");
        return filter_ != nullptr ? filter_->check_first(first) : 0;
    }
    if (format_version_ != 1) {
        parser_log(Logger::Debug) << "There is no such fromat (from file <" << path << ">)";
        close(file_);
        return 2;
    }

    RawFileRecord raw;
    if (std::fseek(file_, 0, SEEK_SET) != 0) return fail_probe("Unable to seek to begin nf5 entry in the file <");
    if (!read_old_record(raw)) return fail_probe("Unable to get first nf5 entry in the file <");
    TrafficStat first;
    RawFileRecord_to_TrafficStat(raw, first);
    // A trailing piece shorter than a record is ignored by the sequential
    // read, but the last record here is simply the final 76 bytes.
    if (std::fseek(file_, -static_cast<long>(sizeof raw), SEEK_END) != 0)
        return fail_probe("Unable to seek to the last nf5 entry in the file <");
    if (!read_old_record(raw)) return fail_probe("Unable to get last nf5 entry in the file <");
    TrafficStat last;
    RawFileRecord_to_TrafficStat(raw, last);
    std::fseek(file_, 0, SEEK_SET);
    return filter_ != nullptr ? filter_->check_bounds(first, last) : 0;
}

int DetailedInfoFileParser::fail_probe(const char* problem) {
    parser_log(Logger::Debug) << problem << path_ << ">";
    close(file_);
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

// A data id whose fields all have a known id and a size of 1, 2, 4 or 16 is
// read as one block; any other goes field by field through the typed
// readers, which is where unknown ids and sizes shift the rest of a record.
void DetailedInfoFileParser::rebuild_layouts() {
    for (int16_t& size : field_sizes_) size = -1;
    for (const auto& [id, size] : fields_) field_sizes_[id] = size;

    layouts_.assign(256, RecordLayout());
    size_t longest = 0;
    for (const auto& [data_id, field_ids] : data_) {
        RecordLayout& layout = layouts_[data_id];
        layout.field_ids = &field_ids;
        layout.as_block = !field_ids.empty();
        uint32_t offset = 0;
        for (const uint8_t id : field_ids) {
            const int16_t size = field_sizes_[id];
            const DetailTarget target = size < 0 ? DetailTarget() : detail_target(static_cast<uint8_t>(size), id);
            if (target.kind == DetailTarget::None) {
                layout.as_block = false;
                layout.fields.clear();
                break;
            }
            layout.fields.push_back({target, static_cast<uint8_t>(size), offset});
            offset += static_cast<uint32_t>(size);
        }
        if (!layout.as_block) continue;
        layout.length = offset;
        if (offset > longest) longest = offset;
        add_slots(layout);
    }
    block_.assign(longest, 0);
}

// Walks the fields backwards so that, of several filling one field of the
// record, only the last in the record is kept; storing kind by kind then
// gives what storing in record order would.
void DetailedInfoFileParser::add_slots(RecordLayout& layout) {
    std::vector<DetailTarget> filled;
    for (auto field = layout.fields.rbegin(); field != layout.fields.rend(); ++field) {
        const DetailTarget& t = field->target;
        bool overwritten = false;
        for (const DetailTarget& later : filled) overwritten = overwritten || later.same_field(t);
        if (overwritten) continue;
        filled.push_back(t);
        const uint32_t at = field->offset;
        switch (t.kind) {
        case DetailTarget::None: break;
        case DetailTarget::Octet: layout.octets.emplace_back(at, t.octet); break;
        case DetailTarget::Short: layout.shorts.emplace_back(at, t.short_field); break;
        case DetailTarget::WidenedShort: layout.widened_shorts.emplace_back(at, t.long_field); break;
        case DetailTarget::Long: layout.longs.emplace_back(at, t.long_field); break;
        case DetailTarget::SignedLong: layout.signed_longs.emplace_back(at, t.signed_field); break;
        case DetailTarget::IPv4: layout.v4_addresses.emplace_back(at, t.address); break;
        case DetailTarget::IPv6: layout.v6_addresses.emplace_back(at, t.address); break;
        }
    }
}

void DetailedInfoFileParser::get_metadata(FieldDescriptions& fields, DataDescriptions data) const {
    fields = fields_;
    data = data_;
}

void DetailedInfoFileParser::close(FILE*) {
    if (file_ == nullptr) return;
    std::fclose(file_);
    file_ = nullptr;
}

bool DetailedInfoFileParser::read_byte(uint8_t& byte) {
    const int c = file_ != nullptr ? getc_unlocked(file_) : EOF;
    if (c == EOF) {
        parser_log(Logger::Debug) << "Unable to read field from file";
        return false;
    }
    byte = static_cast<uint8_t>(c);
    return true;
}

void DetailedInfoFileParser::RawFileRecord_to_TrafficStat(const RawFileRecord& raw, TrafficStat& out) {
    out.slink_id = raw.slink_id;
    out.account_id = raw.account_id;
    out.tclass = raw.tclass;
    out.timestamp = raw.timestamp;
    out.s_addr.from_int(static_cast<int>(raw.s_addr));
    out.d_addr.from_int(static_cast<int>(raw.d_addr));
    out.nexthop_addr.from_int(static_cast<int>(raw.nexthop_addr));
    out.d_pkt = raw.d_pkt;
    out.d_oct = raw.d_oct;
    out.sport = raw.sport;
    out.dport = raw.dport;
    out.tcp_flags = raw.tcp_flags;
    out.proto = raw.proto;
    out.tos = raw.tos;
}

}  // namespace Vorn
