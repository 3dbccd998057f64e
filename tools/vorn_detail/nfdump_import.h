#pragma once

#include <iosfwd>
#include <string>

#include "vorn/stat/detail_encoder.h"

namespace Vorn {

// nfdump's JSON output (one array of flow objects) from in to a detail file
// at path, one flow at a time. Objects of other record types are skipped and
// counted. Written through OutputFile, so bad input leaves what stood at path
// as it was. With progress, a running count goes to
// err while reading.
int import_nfdump(DetailFormat format, const std::string& path, std::istream& in, std::ostream& err, bool progress);

}  // namespace Vorn
