#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "vorn/stat/detail_encoder.h"

namespace Vorn {

// Each command throws a Failure (tools/vorn_detail/failure.h) when it
// cannot do its work.

// Every record of an old- or new-format file as one JSON line on out; the
// format and the number of records on err.
void dump_detail_file(const std::string& path, std::ostream& out, std::ostream& err);

// JSON lines from in to a detail file at path, through an OutputFile: bad
// input leaves a file at path as it was. A stream that is not good to begin
// with stands for a closed standard input and is refused.
void write_detail_file(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err);

// The format a --format argument names, "new" or "old"; a Failure with the
// usage status for any other.
DetailFormat detail_format(const std::string& name);

// The whole command line without the program name; in is standard input.
// Returns the exit status: every Failure, and every other exception, ends
// here as one line on err.
int run_vorn_detail(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err);

extern const char* const vorn_detail_usage;

}  // namespace Vorn
