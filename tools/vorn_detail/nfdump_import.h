#pragma once

#include <iosfwd>
#include <string>

#include "vorn/stat/detail_encoder.h"

namespace Vorn {

class Capture;

// The flows of a capture to a detail file at path, one flow at a time.
// Records of other types are skipped and counted. Written through
// OutputFile, so bad input leaves what stood at path as it was.
void import_capture(DetailFormat format, const std::string& path, Capture& capture, std::ostream& err);

}  // namespace Vorn
