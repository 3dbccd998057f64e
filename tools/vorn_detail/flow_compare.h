#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Vorn {

// Exit status of compare when the flows differ (0 when they are equal).
constexpr int exit_different = 3;

enum class SentAs { V5, V9 };

// What strell sent of a detail file against what a collector stored (nfdump's
// JSON output of its capture), restricted to what the version carries and
// less the ignored fields. Flows are matched by their fields, not by order;
// the detail file's side is held in memory (one entry per distinct flow).
// Prints the flows missing, extra and differing, then a summary line.
int compare_capture(const std::string& detail_path, SentAs sent_as, const std::vector<std::string>& ignored,
                    std::istream& capture, std::ostream& out, std::ostream& err);

// The names of the fields that a version carries and compare looks at.
std::vector<std::string> compared_fields(SentAs sent_as);

}  // namespace Vorn
