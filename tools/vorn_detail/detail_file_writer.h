#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "vorn/stat/detail_encoder.h"
#include "vorn/stat/traffic_stat.h"
#include "tools/vorn_detail/output_file.h"
#include "tools/vorn_detail/replay_limits.h"

namespace Vorn {

// A detail file written one record at a time through an OutputFile, for the
// commands that make one from some input: what stood at the path stays as it
// was unless commit succeeds, and a writer destroyed before that removes its
// temporary file.
class DetailFileWriter {
public:
    // Opens the output; a Failure when it cannot be. unit names a record's
    // position in the input for the notes on what a replay will not send.
    DetailFileWriter(DetailFormat format, const std::string& path, std::string unit);

    // Empty when the record was written, or the format's refusal of it for
    // the caller to name its position; a failed write is a Failure.
    std::string add(const TrafficStat& record, unsigned long position);
    // Completes the file (a Failure when it cannot be), then prints
    // "PATH: new format, N records" and tail, and what a replay will not
    // send, on err.
    void commit(std::ostream& err, const std::string& tail = std::string());

private:
    DetailFormat format_;
    std::string path_;
    DetailEncoder encoder_;
    OutputFile file_;
    std::vector<unsigned char> bytes_;
    unsigned long count_ = 0;
    ReplayLimits limits_;
};

}  // namespace Vorn
