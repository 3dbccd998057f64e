#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "vorn/stat/detail_encoder.h"

namespace Vorn {


// Exit statuses of vorn-detail.
constexpr int exit_ok = 0;
constexpr int exit_failure = 1;  // bad input, unreadable file, I/O error
constexpr int exit_usage = 2;

// Every record of an old- or new-format file as one JSON line on out; the
// format and the number of records on err.
int dump_detail_file(const std::string& path, std::ostream& out, std::ostream& err);

// JSON lines from in to a detail file at path, through an OutputFile: bad
// input leaves a file at path as it was. A stream that is not good to begin
// with stands for a closed standard input and is refused.
int write_detail_file(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err);

// The format a --format argument names, "new" or "old"; false, with the
// message on err, for any other.
bool detail_format(const std::string& name, DetailFormat& format, std::ostream& err);

// The whole command line without the program name.
int run_vorn_detail(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err);

extern const char* const vorn_detail_usage;

}  // namespace Vorn
