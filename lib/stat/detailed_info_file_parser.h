#pragma once

#include <cstdint>
#include <cstdio>
#include <list>
#include <map>
#include <vector>

#include "vorn/stat/detail_input.h"
#include "vorn/stat/detail_record_plan.h"
#include "vorn/stat/filter.h"
#include "vorn/stat/raw_file_record.h"
#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// One record of a new-format file as it lies in the file: the bytes after
// its data id, and the plan of its data id that reads them.
struct DetailFlow {
    const unsigned char* bytes = nullptr;
    const DetailRecordPlan* plan = nullptr;
};

// Reader of the billing core's detailed statistics files, old (bare 76-byte
// records) and new (self-describing header, then variable records).
// Never throws on bad input: each problem is one debug line on the
// "DetailedInfoFileParser" log stream plus a return code.
class DetailedInfoFileParser {
public:
    using RawFileRecord = Vorn::RawFileRecord;
    using FieldDescriptions = std::map<uint8_t, uint8_t>;             // field id -> size in bytes
    using DataDescriptions = std::map<uint8_t, std::vector<uint8_t>>;  // data id -> field ids

    // What probe returns when the file could not be examined; any other
    // value is the filter's answer about the file.
    static constexpr int probe_failed = 2;
    // What parse_record returns.
    static constexpr int no_record = 0;       // the file has ended (or was damaged), and is closed
    static constexpr int record_kept = 1;     // a record was read and the filter kept it
    static constexpr int record_refused = 2;  // a record was read and the filter refused it
    // What read_format_version and format_version return.
    static constexpr int old_format = 1;
    static constexpr int new_format = 2;
    static constexpr int unknown_format = 3;

    DetailedInfoFileParser();
    ~DetailedInfoFileParser();
    DetailedInfoFileParser(const DetailedInfoFileParser&) = delete;
    DetailedInfoFileParser& operator=(const DetailedInfoFileParser&) = delete;

    // output is needed only by parse(); neither pointer is owned.
    void init(std::list<TrafficStat>* output, Filter* filter);
    // probe_failed when the file could not be examined (it is then closed),
    // otherwise the filter's answer about the file's first (and last) record.
    int probe(const char* path);
    int read_format_version();
    bool read_metadata();
    // data is a copy, so only fields reaches the caller; kept so on purpose.
    void get_metadata(FieldDescriptions& fields, DataDescriptions data) const;
    // Closes the parser's own file; the argument is not looked at.
    void close(FILE* file);

    int parse_record(TrafficStat& out);
    // parse_record for a replay, which writes a flow straight from the
    // file's bytes where it can: a record whose plan is direct comes back
    // undecoded in flow (its bytes valid until the next call), and any
    // other one in out, as parse_record gives it, with flow.plan null. out must
    // be the same object at every call: it is brought up to date with the
    // last direct record before a later record is decoded into it, so that
    // a field a record lacks keeps, as ever, the previous record's value.
    // Only with an accept-all filter (or none) is any record direct.
    int parse_record(TrafficStat& out, DetailFlow& flow) {
        // The byte at next() can be read even when none is buffered.
        const unsigned char* const record = input_.next();
        const RecordLayout& layout = layouts_[record[0]];
        if (layout.direct_block <= input_.buffered()) {
            input_.consume(layout.direct_block);
            pending_ = record;
            flow = DetailFlow{record + 1, &layout.plan};
            return record_kept;
        }
        flow.plan = nullptr;
        return parse_undecoded_record(out);
    }
    bool read_record(TrafficStat& out);
    bool read_octet_field(const uint8_t& id, TrafficStat& out);
    bool read_short_field(const uint8_t& id, TrafficStat& out);
    bool read_long_field(const uint8_t& id, TrafficStat& out);
    bool read_ipv6_field(const uint8_t& id, TrafficStat& out);
    bool skip_field_by_size(unsigned long size);
    // Whole file into the output list given to init.
    void parse();
    void read_new_format();
    void read_old_format();

    int format_version() const { return format_version_; }

    // For a caller that reads only the NetFlow part of the records, a replay:
    // the billing fields (slink_id, account_id, ip, tclass, timestamp,
    // router_ip_netflow_from) of the records read from then on are left as
    // they were, which spares their decoding. What is read, what is
    // logged and what is returned stay the same.
    void read_flow_part_only() { billing_ = false; }

    // Old-format files carry no interfaces, switching times, AS numbers or
    // masks: those fields of out keep what they held.
    static void RawFileRecord_to_TrafficStat(const RawFileRecord& raw, TrafficStat& out);

private:
    // What the header says about one data id.
    struct RecordLayout {
        // What a direct record of it takes up, data id included, when the
        // parser may hand its records out undecoded; else more than any
        // buffer holds.
        size_t direct_block = SIZE_MAX;
        const std::vector<uint8_t>* field_ids = nullptr;  // null: not described
        DetailRecordPlan plan;
    };

    bool read_header();
    void rebuild_layouts();
    inline bool read_next(TrafficStat& out);
    bool read_rest(const RecordLayout& layout, TrafficStat& out);
    int parse_new_record(TrafficStat& out);
    int parse_old_record(TrafficStat& out) {
        if (!fill_old_record()) return end_old_format();
        old_record_to_stat(input_.next(), out, billing_);
        input_.consume(sizeof(RawFileRecord));
        return keeps(out) ? record_kept : record_refused;
    }
    // Decodes the last direct record into out.
    [[gnu::cold, gnu::noinline]] void settle(TrafficStat& out);
    // The end of an old-format file: the count, and the file closed.
    int end_old_format();
    bool read_fields(const RecordLayout& layout, TrafficStat& out);
    bool read_field(uint8_t id, unsigned char* value, uint8_t size, unsigned long skip_after_unknown,
                    bool id_in_decimal, TrafficStat& out);
    bool read_byte(uint8_t& byte);
    // A whole old-format record at input_.next(), not yet consumed; a
    // trailing piece shorter than a record ends the file like its end does.
    bool fill_old_record() { return input_.fill(sizeof(RawFileRecord)); }
    int fail_probe(const char* problem);
    bool keeps(const TrafficStat& record) { return accepts_all_ || filter_->check_record(record); }
    // parse_record(out), once out holds the last direct record.
    int parse_undecoded_record(TrafficStat& out);

    DetailInput input_;  // the open file, if any
    const char* path_ = nullptr;
    Filter* filter_ = nullptr;
    bool accepts_all_ = true;  // no filter, or one that takes everything: nothing to ask
    int format_version_ = unknown_format;
    std::list<TrafficStat>* output_ = nullptr;
    FieldDescriptions fields_;
    DataDescriptions data_;
    int32_t first_record_offset_ = 0;
    bool billing_ = true;  // whether records fill their billing fields
    const unsigned char* pending_ = nullptr;  // the last direct record, while out does not hold it

    // Rebuilt from the two maps whenever the header is read.
    RecordLayout layouts_[256];  // indexed by data id
    int16_t field_sizes_[256];   // -1: not described
};

}  // namespace Vorn
