#pragma once

#include <cstdint>
#include <ctime>

#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// How nfdump shows a flow, and how a record is taken back from what it shows.
// The import of 'nfdump -o json' output and the reader of nfcapd files both
// go through here, so that a capture gives the same records either way.

// nfdump prints flow times in local time to the millisecond; a record keeps
// whole seconds. Read back as mktime reads the minute, plus its seconds. In
// the hour that repeats when summer time ends, a minute is taken as its first
// occurrence, whatever mktime guesses from the calls before. Minutes read are
// kept: the time zone must not change meanwhile.
int64_t local_time_seconds(const std::tm& local);

// The seconds that a record keeps of a time nfdump prints from msec (ms since
// the epoch), as local_time_seconds reads them back. Remembers a few minutes,
// since the flows of a capture fall in few. False when nfdump would print a
// year of more than four digits, which the JSON import refuses.
class NfdumpClock {
public:
    bool seconds(uint64_t msec, int64_t& out);

private:
    // Local minutes that start at start and last 60 seconds (no change of
    // offset inside), each mapped to the seconds of its first second.
    struct Minute {
        int64_t start = 1;
        int64_t seconds = 0;
        bool valid = false;
    };
    Minute minutes_[8];
};

// nfdump shows the ICMP type and code of these protocols (ICMP, ICMPv6) in
// place of the ports and the TCP flags: a record keeps them in dport (type
// << 8 | code, as NetFlow carries them) and has no source port or flags.
inline bool shows_icmp(uint8_t proto) { return proto == 1 || proto == 58; }

// After the addresses are set: an IPv4 next hop that strell's v9 export
// announced as a 4-byte IPV6_NEXT_HOP field, which nfcapd stores in the first
// half of an IPv6 address (10.0.0.254 shows as 0:0:a00:fe::), is taken back as
// IPv4, so that an imported capture replays as it was sent (v9 refuses flows
// of mixed families). Without a next hop shown, the zero address of the
// flow's family: :: for IPv6, the unset 0.0.0.0 left for IPv4.
void settle_next_hop(TrafficStat& record, bool next_hop_shown);

}  // namespace Vorn
