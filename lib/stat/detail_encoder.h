#pragma once

#include <string>
#include <vector>

#include "vorn/stat/traffic_stat.h"

namespace Vorn {

enum class DetailFormat { New, Old };

// Turns records into the bytes of a detail file that DetailedInfoFileParser
// reads back. The new format carries every field of a record but login; the
// old one IPv4 flows only, and the reader takes back only part of what is
// written (no interfaces, switching times, AS numbers or masks).
class DetailEncoder {
public:
    explicit DetailEncoder(DetailFormat format) : format_(format) {}

    // What goes before the first record (nothing in the old format).
    std::vector<unsigned char> header() const;
    // Empty when the format can hold the record, else why it cannot.
    std::string refusal(const TrafficStat& record) const;
    // Appends one record; call only for records without a refusal.
    void append_record(const TrafficStat& record, std::vector<unsigned char>& out) const;

private:
    DetailFormat format_;
};

}  // namespace Vorn
