#pragma once

#include <ostream>
#include <string>

#include "vorn/stat/detailed_info_file_parser.h"
#include "vorn/stat/filter.h"
#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// Hands every record of the detail file at path to visit, in order, through
// one TrafficStat reused as the replay reuses it: a field that a record lacks
// keeps the previous record's value, as strell would send it. False, with the
// message on err, when path is not a readable detail file; otherwise true,
// with the file's format ("new" or "old") in format.
template <typename Visit>
bool read_detail_records(const std::string& path, std::ostream& err, const char*& format, Visit visit) {
    AcceptAllFilter filter;
    DetailedInfoFileParser parser;
    parser.init(nullptr, &filter);
    if (parser.probe(path.c_str()) == DetailedInfoFileParser::probe_failed) {
        err << "vorn-detail: " << path << ": not a readable detail file\n";
        return false;
    }
    format = parser.format_version() == DetailedInfoFileParser::new_format ? "new" : "old";
    TrafficStat record;
    while (parser.parse_record(record) != DetailedInfoFileParser::no_record) visit(record);
    return true;
}

}  // namespace Vorn
