#pragma once

#include <functional>
#include <istream>
#include <string>
#include <vector>

#include "tools/nfcapd/file_header.h"
#include "tools/nfcapd/flow_record.h"
#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// Reads the flows of nfcapd files (layout 2, as nfcapd 1.7 writes them, with
// any of its compressions) block by block, in file order, so that memory does
// not grow with the file. Records that are not flows (exporters, samplers,
// statistics, events) are skipped and counted.
class NfcapdReader {
public:
    // Called for each flow; returns an empty text to go on, or what is wrong
    // with the flow to stop.
    using Visit = std::function<std::string(const TrafficStat& flow)>;

    // False on a bad file or a stop; problem() says why in one line that
    // names the file and, where it applies, the block and the record. The
    // flows visited before are the caller's to undo. Read sequentially: a
    // pipe does.
    bool read(const std::string& path, const Visit& visit);
    bool read(std::istream& in, const std::string& name, const Visit& visit);

    const std::string& problem() const { return problem_; }
    // Over every file read so far.
    unsigned long flows() const { return flows_; }
    unsigned long skipped() const { return skipped_; }
    // Of those skipped, the flow records that hold an event (NSEL/NEL), the
    // only ones that nfdump shows.
    unsigned long events() const { return events_; }

private:
    bool read_blocks(std::istream& in, const Visit& visit);
    bool read_records(const unsigned char* payload, size_t size, unsigned long count, const Visit& visit);
    bool skip_appendix(std::istream& in);
    // Reads size bytes into stored_, or fails naming what the file ends in.
    bool take(std::istream& in, size_t size, const std::string& what);
    bool fail(const std::string& problem);

    std::string name_;
    NfcapdFileHeader header_;
    std::string problem_;
    unsigned long block_ = 0, record_ = 0;  // where reading is, from 1; 0 before the first
    uint64_t offset_ = 0;                   // bytes read of the file
    std::vector<unsigned char> stored_, decompressed_;
    FlowRecordDecoder decoder_;
    TrafficStat flow_;
    unsigned long flows_ = 0, skipped_ = 0, events_ = 0;
};

}  // namespace Vorn
