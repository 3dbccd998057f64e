#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "tools/vorn_detail/compared_flow.h"

namespace Vorn {

class Capture;

// What strell sent of a detail file against what a collector stored,
// restricted to what the version carries and less the ignored fields. Flows
// are matched by their fields, not by order. The report, on out: a note on
// the first record that the replay could not send as it stands, if any; a
// "missing" or "differs" line for each sent flow not stored as sent, in the
// file's order; an "extra" line for each stored flow not sent, in the
// capture's order; a summary line. Returns exit_ok when equal and
// exit_different otherwise.
//
// Memory: the file is read four times (it must be seekable), and its flows
// are held as fingerprints with a count, about 18 bytes a flow; extra flows,
// and the missing ones that may pair with them, wait in an unnamed temporary
// file. open_capture is called once the file is known to be readable.
int compare_capture(const std::string& detail_path, SentAs sent_as, const std::vector<std::string>& ignored,
                    const std::function<std::unique_ptr<Capture>()>& open_capture, std::ostream& out,
                    std::ostream& err);

}  // namespace Vorn
