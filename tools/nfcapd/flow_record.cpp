#include "tools/nfcapd/flow_record.h"

#include <limits>

#include "vorn/util/byte_order.h"

namespace Vorn {

namespace {


constexpr size_t header_size = 12;
constexpr unsigned char event_flag = 0x01;

// Element ids, and the bytes of each that are read (after its 4-byte header).
enum Element : uint16_t {
    generic = 1,  // times, counters, ports, protocol, flags, TOS
    ipv4_flow = 2,
    ipv6_flow = 3,
    misc = 4,  // interfaces, masks
    as_routing = 7,
    ipv4_next_hop = 10,
    ipv6_next_hop = 11,
    ipv4_router = 12,
    ipv6_router = 13,
};

size_t data_size(uint16_t id) {
    switch (id) {
        case generic: return 48;
        case ipv4_flow: return 8;
        case ipv6_flow: return 32;
        case misc: return 10;
        case as_routing: return 8;
        case ipv4_next_hop:
        case ipv4_router: return 4;
        case ipv6_next_hop:
        case ipv6_router: return 16;
        default: return 0;
    }
}

IP_address v4(const unsigned char* p) {
    IP_address a;
    a.from_int(static_cast<int>(load_le<uint32_t>(p)));
    return a;
}

IP_address v6(const unsigned char* p) {
    IP_address a;
    a.from_int(static_cast<long>(load_le<uint64_t>(p)), static_cast<long>(load_le<uint64_t>(p + 8)));
    return a;
}

template <typename T>
bool set(uint64_t value, T& field) {
    if (value > std::numeric_limits<T>::max()) return false;
    field = static_cast<T>(value);
    return true;
}

std::string too_large(const char* what, uint64_t value, uint64_t max) {
    return std::string(what) + " " + std::to_string(value) + " above the record's limit of " + std::to_string(max);
}

// Where the elements of one record are; an element of an id seen twice
// counts as its last.
struct Elements {
    const unsigned char* at[ipv6_router + 1] = {};
};

}  // namespace

std::string FlowRecordDecoder::decode(const unsigned char* record, size_t size, TrafficStat& out, bool& is_flow) {
    if (size < header_size) return "flow record of " + std::to_string(size) + " bytes, shorter than its header";
    is_flow = (record[10] & event_flag) == 0;
    if (!is_flow) return std::string();

    Elements found;
    const unsigned count = load_le<uint16_t>(record + 4);
    size_t at = header_size;
    const auto element = [count](unsigned i) {
        return "element " + std::to_string(i) + " of " + std::to_string(count);
    };
    for (unsigned i = 1; i <= count; ++i) {
        if (size - at < 4) return element(i) + " starts past the end of the record";
        const uint16_t id = load_le<uint16_t>(record + at);
        const size_t length = load_le<uint16_t>(record + at + 2);
        if (length < 4 || length > size - at)
            return element(i) + " (id " + std::to_string(id) + "): length " + std::to_string(length) +
                   (length < 4 ? ", shorter than its header" : " runs past the end of the record");
        if (data_size(id) > length - 4)
            return element(i) + " (id " + std::to_string(id) + "): " + std::to_string(length - 4) +
                   " bytes, fewer than its " + std::to_string(data_size(id));
        if (data_size(id) > 0) found.at[id] = record + at + 4;
        at += length;
    }
    if (at != size) return std::to_string(size - at) + " bytes after the last element";

    // What nfdump shows of each element, and the record field the JSON
    // import sets from it; the IPv6 form shown wins over the IPv4 one.
    TrafficStat& flow = out;
    flow = TrafficStat();
    const unsigned char* const* e = found.at;
    if (!e[ipv4_flow] && !e[ipv6_flow]) return "no addresses (element 2 or 3)";
    const unsigned char* addresses = e[ipv6_flow] ? e[ipv6_flow] : e[ipv4_flow];
    flow.s_addr = e[ipv6_flow] ? v6(addresses) : v4(addresses);       // src4_addr, src6_addr
    flow.d_addr = e[ipv6_flow] ? v6(addresses + 16) : v4(addresses + 4);  // dst4_addr, dst6_addr
    if (e[ipv6_next_hop])
        flow.nexthop_addr = v6(e[ipv6_next_hop]);  // ip6_next_hop
    else if (e[ipv4_next_hop])
        flow.nexthop_addr = v4(e[ipv4_next_hop]);  // ip4_next_hop
    settle_next_hop(flow, e[ipv4_next_hop] || e[ipv6_next_hop]);
    if (e[ipv6_router])
        flow.router_ip_netflow_from = v6(e[ipv6_router]);  // ip6_router
    else if (e[ipv4_router])
        flow.router_ip_netflow_from = v4(e[ipv4_router]);  // ip4_router

    if (const unsigned char* g = e[generic]) {
        const uint64_t msec_first = load_le<uint64_t>(g), msec_last = load_le<uint64_t>(g + 8),
                       msec_received = load_le<uint64_t>(g + 16);
        int64_t first = 0, last = 0, received = 0;  // first, last, received
        const auto out_of_range = [](const char* what, uint64_t msec) {
            return std::string(what) + " at " + std::to_string(msec) + " ms, out of the record's range";
        };
        if (!clock_.seconds(msec_first, first) || !set(first, flow.ts_first)) return out_of_range("first seen", msec_first);
        if (!clock_.seconds(msec_last, last) || !set(last, flow.ts_last)) return out_of_range("last seen", msec_last);
        if (!clock_.seconds(msec_received, received) || received < std::numeric_limits<int32_t>::min() ||
            received > std::numeric_limits<int32_t>::max())
            return out_of_range("received", msec_received);
        flow.timestamp = static_cast<int32_t>(received);
        const uint64_t packets = load_le<uint64_t>(g + 24), bytes = load_le<uint64_t>(g + 32);
        if (!set(packets, flow.d_pkt)) return too_large("packets", packets, UINT32_MAX);  // in_packets
        if (!set(bytes, flow.d_oct)) return too_large("bytes", bytes, UINT32_MAX);        // in_bytes
        flow.proto = g[44];                                                                             // proto
        flow.tos = g[47];                                                                               // src_tos
        if (shows_icmp(flow.proto)) {
            flow.dport = load_le<uint16_t>(g + 42);  // icmp_type, icmp_code
        } else {
            flow.sport = load_le<uint16_t>(g + 40);  // src_port
            flow.dport = load_le<uint16_t>(g + 42);  // dst_port
            flow.tcp_flags = g[45];       // tcp_flags
        }
    }
    if (const unsigned char* m = e[misc]) {
        const uint32_t input = load_le<uint32_t>(m), output = load_le<uint32_t>(m + 4);
        if (!set(input, flow.iface)) return too_large("input interface", input, UINT16_MAX);      // input_snmp
        if (!set(output, flow.oface)) return too_large("output interface", output, UINT16_MAX);  // output_snmp
        flow.src_mask = m[8];                                                                    // src_mask
        flow.dst_mask = m[9];                                                                    // dst_mask
    }
    if (const unsigned char* a = e[as_routing]) {
        flow.src_as = load_le<uint32_t>(a);      // src_as
        flow.dst_as = load_le<uint32_t>(a + 4);  // dst_as
    }
    return std::string();
}

}  // namespace Vorn
