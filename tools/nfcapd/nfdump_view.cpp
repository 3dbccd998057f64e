#include "tools/nfcapd/nfdump_view.h"

#include <iterator>

namespace Vorn {

namespace {

bool same_minute(const std::tm& a, const std::tm& b) {
    return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday && a.tm_hour == b.tm_hour &&
           a.tm_min == b.tm_min;
}

// The minute read in summer and in standard time; of the readings that show
// as the minute again, the earlier. mktime alone, for a minute that no
// reading shows (one that local time skips).
int64_t minute_start(const std::tm& local) {
    bool found = false;
    int64_t start = 0;
    for (int dst : {1, 0}) {
        std::tm tm{};
        tm.tm_year = local.tm_year, tm.tm_mon = local.tm_mon, tm.tm_mday = local.tm_mday;
        tm.tm_hour = local.tm_hour, tm.tm_min = local.tm_min, tm.tm_isdst = dst;
        const time_t when = std::mktime(&tm);
        std::tm shown;
        if (localtime_r(&when, &shown) == nullptr || !same_minute(shown, local) || shown.tm_sec != 0) continue;
        if (!found || when < start) start = when;
        found = true;
    }
    if (found) return start;
    std::tm tm{};
    tm.tm_year = local.tm_year, tm.tm_mon = local.tm_mon, tm.tm_mday = local.tm_mday;
    tm.tm_hour = local.tm_hour, tm.tm_min = local.tm_min, tm.tm_isdst = -1;
    return std::mktime(&tm);
}

}  // namespace

// mktime looks at the time zone file on every call, so the last few minutes
// read are kept: a flow's first, last and received times fall in one to three.
int64_t local_time_seconds(const std::tm& local) {
    struct Minute {
        std::tm minute{};
        int64_t start = 0;
        bool used = false;
    };
    static Minute minutes[4];
    static size_t next = 0;
    for (const Minute& m : minutes)
        if (m.used && same_minute(m.minute, local)) return m.start + local.tm_sec;
    Minute& m = minutes[next];
    next = (next + 1) % std::size(minutes);
    m = {local, minute_start(local), true};
    return m.start + local.tm_sec;
}

bool NfdumpClock::seconds(uint64_t msec, int64_t& out) {
    const auto t = static_cast<int64_t>(msec / 1000);
    Minute& m = minutes_[(t / 60) % std::size(minutes_)];
    if (m.valid && t >= m.start && t - m.start < 60) {
        out = m.seconds + (t - m.start);
        return true;
    }
    const time_t when = t;
    std::tm local;
    if (localtime_r(&when, &local) == nullptr || local.tm_year > 9999 - 1900) return false;
    out = local_time_seconds(local);
    // Kept when the minute's first and last seconds show as 0 and 59 of it.
    const time_t first = t - local.tm_sec, last = first + 59;
    std::tm shown_first, shown_last;
    m.start = first;
    m.seconds = out - local.tm_sec;
    m.valid = localtime_r(&first, &shown_first) != nullptr && localtime_r(&last, &shown_last) != nullptr &&
              same_minute(shown_first, local) && same_minute(shown_last, local) && shown_first.tm_sec == 0 &&
              shown_last.tm_sec == 59;
    return true;
}

void settle_next_hop(TrafficStat& record, bool next_hop_shown) {
    IP_address& hop = record.nexthop_addr;
    const bool v6_flow = record.s_addr.family() == IP_address::IPv6;
    if (!next_hop_shown) {
        if (v6_flow) hop.from_int(0L, 0L);
        return;
    }
    const auto high = static_cast<uint64_t>(hop.to_high());
    if (!v6_flow && hop.family() == IP_address::IPv6 && (high >> 32) == 0 && hop.to_low() == 0)
        hop.from_int(static_cast<int>(high));
}

}  // namespace Vorn
