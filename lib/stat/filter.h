#pragma once

#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// How the owner of a DetailedInfoFileParser chooses files and records.
class Filter {
public:
    // Old-format files: their first and last record.
    virtual int check_bounds(const TrafficStat& first, const TrafficStat& last) = 0;
    // New-format files: their first record.
    virtual int check_first(const TrafficStat& first) = 0;
    // Every record read; true keeps it.
    virtual bool check_record(const TrafficStat& record) = 0;
    virtual ~Filter() = default;
};

// Takes every file and every record: for readers of whole files, and a base
// for filters that choose records only. A parser given one of this very
// class (not of a class derived from it) need not ask it.
class AcceptAllFilter : public Filter {
public:
    int check_bounds(const TrafficStat&, const TrafficStat&) override { return 0; }
    int check_first(const TrafficStat&) override { return 0; }
    bool check_record(const TrafficStat&) override { return true; }
};

}  // namespace Vorn
