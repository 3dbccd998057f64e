#include "tools/vorn_detail/nfdump_import.h"

#include <ostream>

#include "tools/vorn_detail/capture.h"
#include "tools/vorn_detail/detail_file_writer.h"

namespace Vorn {

void import_capture(DetailFormat format, const std::string& path, Capture& capture, std::ostream& err) {
    DetailFileWriter writer(format, path, "flow");
    capture.read([&](const TrafficStat& record, unsigned long ordinal) { return writer.add(record, ordinal); });
    const unsigned long others = capture.others();
    writer.commit(err, others > 0 ? ", " + std::to_string(others) + " records of other types skipped" : "");
}

}  // namespace Vorn
