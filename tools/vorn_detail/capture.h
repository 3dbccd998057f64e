#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// What a collector stored, as import and compare read it: the text that
// 'nfdump -o json' prints, from a file or, for "-", from standard input.
// Every way in which a capture is not one ends in a Failure naming it.
class Capture {
public:
    // Opens path ("-": in, which stands for standard input). Refuses a closed
    // standard input, a directory and a file that cannot be opened. A FIFO is
    // read as a stream: its open waits for a writer, as a shell's does.
    Capture(const std::string& path, std::istream& in);
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    // "standard input" or the path.
    const std::string& name() const { return name_; }

    // Called for each flow with its ordinal among the capture's records
    // (from 1); returns an empty text to go on, or what is wrong with the
    // flow for the Failure that names it.
    using Visit = std::function<std::string(const TrafficStat& flow, unsigned long ordinal)>;
    // Hands every flow to visit, in order, and counts the records of other
    // types. Once per capture.
    void read(const Visit& visit);
    unsigned long others() const { return others_; }

private:
    std::string name_;
    std::unique_ptr<std::istream> file_;
    std::istream* stream_;
    unsigned long others_ = 0;
};

}  // namespace Vorn
