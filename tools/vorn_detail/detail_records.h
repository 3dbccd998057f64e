#pragma once

#include <string>

#include "vorn/stat/detailed_info_file_parser.h"
#include "vorn/stat/filter.h"
#include "vorn/stat/traffic_stat.h"
#include "tools/vorn_detail/failure.h"

namespace Vorn {

// Throws the Failure for a path that the detail-file reader cannot take:
// one that cannot be looked at, a directory, a FIFO (the reader seeks, so it
// would wait for a writer and then fail) or a socket.
void require_detail_file(const std::string& path);

// Hands every record of the detail file at path to visit, in order, through
// one TrafficStat reused as the replay reuses it: a field that a record lacks
// keeps the previous record's value, as strell would send it. Returns the
// file's format, "new" or "old"; a Failure when path is not a readable
// detail file.
template <typename Visit>
const char* read_detail_records(const std::string& path, Visit visit) {
    require_detail_file(path);
    AcceptAllFilter filter;
    DetailedInfoFileParser parser;
    parser.init(nullptr, &filter);
    if (parser.probe(path.c_str()) == DetailedInfoFileParser::probe_failed)
        throw Failure(path + ": not a readable detail file");
    const char* format = parser.format_version() == DetailedInfoFileParser::new_format ? "new" : "old";
    TrafficStat record;
    while (parser.parse_record(record) != DetailedInfoFileParser::no_record) visit(record);
    return format;
}

}  // namespace Vorn
