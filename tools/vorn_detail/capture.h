#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "tools/nfcapd/nfcapd_reader.h"
#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// What a collector stored, as import and compare read it: nfcapd files, or
// the text that 'nfdump -o json' prints, told apart by their first bytes;
// from files, the capture files of directories (as 'nfdump -R' reads them)
// and, for "-", standard input. Every way in which a capture is not one ends
// in a Failure naming the input.
class Capture {
public:
    // The inputs in reading order (none: standard input, from in). Refuses at
    // once a closed standard input, a path that is not there and a directory
    // that cannot be read or holds no capture files; the files are opened as
    // they are read. A FIFO is read as a stream: its open waits for a
    // writer, as a shell's does. With progress, a line on err counts the
    // files and flows while reading.
    Capture(const std::vector<std::string>& paths, std::istream& in, std::ostream& err, bool progress);

    // Called for each flow with its ordinal among the capture's records
    // (from 1; in nfdump's JSON the objects of other types count); returns an
    // empty text to go on, or what is wrong with the flow for the Failure
    // that names it.
    using Visit = std::function<std::string(const TrafficStat& flow, unsigned long ordinal)>;
    // Hands every flow to visit, in order, and counts the records of other
    // types that nfdump shows (events). Once per capture.
    void read(const Visit& visit);
    unsigned long others() const { return others_; }

private:
    void read_input(const std::string& path, std::istream& stream, const Visit& visit);

    std::vector<std::string> files_;  // "-" for standard input
    std::istream& in_;
    std::ostream& err_;
    bool progress_;
    NfcapdReader nfcapd_;
    unsigned long ordinal_ = 0, others_ = 0;
};

}  // namespace Vorn
