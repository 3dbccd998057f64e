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

// Reader of the billing core's detailed statistics files, old (bare 76-byte
// records) and new (self-describing header, then variable records).
// Never throws on bad input: each problem is one debug line on the
// "DetailedInfoFileParser" log stream plus a return code.
class DetailedInfoFileParser {
public:
    using RawFileRecord = Vorn::RawFileRecord;
    using FieldDescriptions = std::map<uint8_t, uint8_t>;             // field id -> size in bytes
    using DataDescriptions = std::map<uint8_t, std::vector<uint8_t>>;  // data id -> field ids

    DetailedInfoFileParser();
    ~DetailedInfoFileParser();
    DetailedInfoFileParser(const DetailedInfoFileParser&) = delete;
    DetailedInfoFileParser& operator=(const DetailedInfoFileParser&) = delete;

    // output is needed only by parse(); neither pointer is owned.
    void init(std::list<TrafficStat>* output, Filter* filter);
    // 2 when the file could not be examined (it is then closed), otherwise
    // the filter's answer about the file's first (and last) record.
    int probe(const char* path);
    // 1 or 2 for a known format, 3 otherwise.
    int read_format_version();
    bool read_metadata();
    // data is a copy, so only fields reaches the caller; kept so on purpose.
    void get_metadata(FieldDescriptions& fields, DataDescriptions data) const;
    // Closes the parser's own file; the argument is not looked at.
    void close(FILE* file);

    // 1 read and kept, 2 read and refused by the filter, 0 no further record
    // (the file is closed then).
    int parse_record(TrafficStat& out);
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
    static constexpr int unknown_format = 3;

    // What the header says about one data id.
    struct RecordLayout {
        const std::vector<uint8_t>* field_ids = nullptr;  // null: not described
        DetailRecordPlan plan;
    };

    bool read_header();
    void rebuild_layouts();
    inline bool read_next(TrafficStat& out);
    bool read_rest(const RecordLayout& layout, TrafficStat& out);
    int parse_old_record(TrafficStat& out);
    bool read_fields(const RecordLayout& layout, TrafficStat& out);
    bool read_field(uint8_t id, unsigned char* value, uint8_t size, unsigned long skip_after_unknown,
                    bool id_in_decimal, TrafficStat& out);
    bool read_byte(uint8_t& byte);
    // A whole old-format record at input_.next(), not yet consumed.
    bool fill_old_record();
    int fail_probe(const char* problem);
    bool keeps(const TrafficStat& record);

    DetailInput input_;  // the open file, if any
    const char* path_ = nullptr;
    Filter* filter_ = nullptr;
    int format_version_ = unknown_format;
    std::list<TrafficStat>* output_ = nullptr;
    FieldDescriptions fields_;
    DataDescriptions data_;
    int32_t first_record_offset_ = 0;
    bool billing_ = true;  // whether records fill their billing fields

    // Rebuilt from the two maps whenever the header is read.
    std::vector<RecordLayout> layouts_;  // indexed by data id
    int16_t field_sizes_[256];           // -1: not described
};

}  // namespace Vorn
