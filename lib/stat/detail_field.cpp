#include "stat/detail_field.h"

namespace Vorn {

namespace {

DetailTarget octet(uint8_t TrafficStat::*field) {
    DetailTarget t;
    t.kind = DetailTarget::Octet;
    t.octet = field;
    return t;
}

DetailTarget short_field(uint16_t TrafficStat::*field) {
    DetailTarget t;
    t.kind = DetailTarget::Short;
    t.short_field = field;
    return t;
}

DetailTarget long_field(uint32_t TrafficStat::*field, DetailTarget::Kind kind = DetailTarget::Long) {
    DetailTarget t;
    t.kind = kind;
    t.long_field = field;
    return t;
}

DetailTarget timestamp() {
    DetailTarget t;
    t.kind = DetailTarget::SignedLong;
    t.signed_field = &TrafficStat::timestamp;
    return t;
}

DetailTarget address(IP_address TrafficStat::*field, DetailTarget::Kind kind) {
    DetailTarget t;
    t.kind = kind;
    t.address = field;
    return t;
}

}  // namespace

DetailTarget detail_target(uint8_t size, uint8_t id) {
    using T = TrafficStat;
    switch (size) {
    case 1:
        switch (id) {
        case 4: return octet(&T::proto);
        case 5: case 55: return octet(&T::tos);
        case 6: return octet(&T::tcp_flags);
        case 9: case 29: return octet(&T::src_mask);
        case 13: case 30: return octet(&T::dst_mask);
        default: return DetailTarget();
        }
    case 2:
        switch (id) {
        case 7: return short_field(&T::sport);
        case 10: return short_field(&T::iface);
        case 11: return short_field(&T::dport);
        case 14: return short_field(&T::oface);
        case 16: return long_field(&T::src_as, DetailTarget::WidenedShort);
        case 17: return long_field(&T::dst_as, DetailTarget::WidenedShort);
        default: return DetailTarget();
        }
    case 4:
        switch (id) {
        case 1: case 23: return long_field(&T::d_oct);
        case 2: case 24: return long_field(&T::d_pkt);
        case 8: return address(&T::s_addr, DetailTarget::IPv4);
        case 12: return address(&T::d_addr, DetailTarget::IPv4);
        case 15: return address(&T::nexthop_addr, DetailTarget::IPv4);
        case 16: return long_field(&T::src_as);
        case 17: return long_field(&T::dst_as);
        case 21: return long_field(&T::ts_last);
        case 22: return long_field(&T::ts_first);
        case 100: return long_field(&T::slink_id);
        case 101: return long_field(&T::account_id);
        case 102: return address(&T::ip, DetailTarget::IPv4);
        case 103: return long_field(&T::tclass);
        case 104: return timestamp();
        case 105: return address(&T::router_ip_netflow_from, DetailTarget::IPv4);
        default: return DetailTarget();
        }
    case 16:
        switch (id) {
        case 27: return address(&T::s_addr, DetailTarget::IPv6);
        case 28: return address(&T::d_addr, DetailTarget::IPv6);
        case 62: return address(&T::nexthop_addr, DetailTarget::IPv6);
        case 150: return address(&T::ip, DetailTarget::IPv6);
        case 151: return address(&T::router_ip_netflow_from, DetailTarget::IPv6);
        default: return DetailTarget();
        }
    default:
        return DetailTarget();
    }
}

}  // namespace Vorn
