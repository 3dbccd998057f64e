#include "stat/detailed_info_file_parser.h"

namespace Vorn {

void DetailedInfoFileParser::RawFileRecord_to_TrafficStat(const RawFileRecord& raw, TrafficStat& out) {
    out.slink_id = raw.slink_id;
    out.account_id = raw.account_id;
    out.tclass = raw.tclass;
    out.timestamp = raw.timestamp;
    out.s_addr.from_int(static_cast<int>(raw.s_addr));
    out.d_addr.from_int(static_cast<int>(raw.d_addr));
    out.nexthop_addr.from_int(static_cast<int>(raw.nexthop_addr));
    out.d_pkt = raw.d_pkt;
    out.d_oct = raw.d_oct;
    out.sport = raw.sport;
    out.dport = raw.dport;
    out.tcp_flags = raw.tcp_flags;
    out.proto = raw.proto;
    out.tos = raw.tos;
}

}  // namespace Vorn
