#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "vorn/stat/detail_encoder.h"
#include "vorn/stat/traffic_stat.h"
#include "tools/vorn_detail/output_file.h"

namespace Vorn {

// A detail file written one record at a time through an OutputFile, for the
// commands that make one from some input: what stood at the path stays as it
// was unless commit succeeds.
class DetailFileWriter {
public:
    DetailFileWriter(DetailFormat format, std::string path);

    // False, with the message on err, for a closed input (no input at all,
    // not an empty one) or an output that cannot be opened. Checked before
    // the output is opened, so that it cannot take the closed descriptor.
    bool start(const std::istream& in, std::ostream& err);
    // False with the format's refusal of the record, or the output's error
    // once writing has failed (writing() tells which).
    bool add(const TrafficStat& record, std::string& problem);
    bool writing() const { return writing_; }
    // False, with the message on err, when the file could not be completed.
    bool commit(std::ostream& err);
    // "PATH: new format, N records", the start of the closing line.
    std::string summary() const;

private:
    DetailFormat format_;
    std::string path_;
    DetailEncoder encoder_;
    std::optional<OutputFile> file_;
    std::vector<unsigned char> bytes_;
    bool writing_ = false;
    unsigned long count_ = 0;
};

}  // namespace Vorn
