#include "tools/vorn_detail/detail_encoder.h"

#include <cstddef>
#include <iterator>
#include <utility>

#include "stat/little_endian.h"
#include "stat/raw_file_record.h"

namespace Strell {

namespace {

using Vorn::IP_address;
using Vorn::TrafficStat;
namespace LE = Vorn::LittleEndian;

// New-format layout. Every record holds the same fields in this order; the
// five addresses are written as 4 or 16 bytes each by their own family, and
// the data id tells which: 1 + one bit per IPv6 address (bit 0 s_addr,
// 1 d_addr, 2 nexthop_addr, 3 ip, 4 router_ip_netflow_from). So all-IPv4
// records use data id 1 and all-IPv6 ones data id 32.
struct Column {
    uint8_t id;
    uint8_t size;
    uint8_t v6_id;  // 0: not an address
};

constexpr Column columns[] = {
    {8, 4, 27},     // s_addr
    {12, 4, 28},    // d_addr
    {15, 4, 62},    // nexthop_addr
    {7, 2, 0},      // sport
    {11, 2, 0},     // dport
    {10, 2, 0},     // iface
    {14, 2, 0},     // oface
    {2, 4, 0},      // d_pkt
    {1, 4, 0},      // d_oct
    {22, 4, 0},     // ts_first
    {21, 4, 0},     // ts_last
    {6, 1, 0},      // tcp_flags
    {4, 1, 0},      // proto
    {5, 1, 0},      // tos
    {16, 4, 0},     // src_as
    {17, 4, 0},     // dst_as
    {9, 1, 0},      // src_mask
    {13, 1, 0},     // dst_mask
    {100, 4, 0},    // slink_id
    {101, 4, 0},    // account_id
    {102, 4, 150},  // ip
    {103, 4, 0},    // tclass
    {104, 4, 0},    // timestamp
    {105, 4, 151},  // router_ip_netflow_from
};
constexpr int address_combinations = 32;

bool is_v6(const IP_address& address) { return address.family() == IP_address::IPv6; }

uint8_t data_id(const TrafficStat& record) {
    const IP_address* addresses[] = {&record.s_addr, &record.d_addr, &record.nexthop_addr, &record.ip,
                                     &record.router_ip_netflow_from};
    unsigned mask = 0;
    for (unsigned bit = 0; bit < 5; ++bit)
        if (is_v6(*addresses[bit])) mask |= 1u << bit;
    return static_cast<uint8_t>(1 + mask);
}

class Bytes {
public:
    explicit Bytes(std::vector<unsigned char>& out) : out_(out) {}
    void u8(uint8_t v) { out_.push_back(v); }
    void u16(uint16_t v) { LE::store16(grow(2), v); }
    void u32(uint32_t v) { LE::store32(grow(4), v); }
    void address(const IP_address& a) {
        if (is_v6(a)) {
            unsigned char* p = grow(16);
            LE::store64(p, static_cast<uint64_t>(a.to_low()));
            LE::store64(p + 8, static_cast<uint64_t>(a.to_high()));
        } else {
            u32(a.to_int());
        }
    }

private:
    unsigned char* grow(size_t n) {
        out_.resize(out_.size() + n);
        return out_.data() + out_.size() - n;
    }
    std::vector<unsigned char>& out_;
};

void append_new_record(const TrafficStat& r, std::vector<unsigned char>& out) {
    Bytes b(out);
    b.u8(data_id(r));
    b.address(r.s_addr);
    b.address(r.d_addr);
    b.address(r.nexthop_addr);
    b.u16(r.sport);
    b.u16(r.dport);
    b.u16(r.iface);
    b.u16(r.oface);
    b.u32(r.d_pkt);
    b.u32(r.d_oct);
    b.u32(r.ts_first);
    b.u32(r.ts_last);
    b.u8(r.tcp_flags);
    b.u8(r.proto);
    b.u8(r.tos);
    b.u32(r.src_as);
    b.u32(r.dst_as);
    b.u8(r.src_mask);
    b.u8(r.dst_mask);
    b.u32(r.slink_id);
    b.u32(r.account_id);
    b.address(r.ip);
    b.u32(r.tclass);
    b.u32(static_cast<uint32_t>(r.timestamp));
    b.address(r.router_ip_netflow_from);
}

void append_old_record(const TrafficStat& r, std::vector<unsigned char>& out) {
    using Raw = Vorn::RawFileRecord;
    const size_t start = out.size();
    out.resize(start + sizeof(Raw), 0);  // pads and reserved words stay zero
    unsigned char* p = out.data() + start;
    LE::store32(p + offsetof(Raw, version), 1);
    LE::store32(p + offsetof(Raw, s_addr), r.s_addr.to_int());
    LE::store32(p + offsetof(Raw, d_addr), r.d_addr.to_int());
    LE::store32(p + offsetof(Raw, nexthop_addr), r.nexthop_addr.to_int());
    LE::store16(p + offsetof(Raw, iface), r.iface);
    LE::store16(p + offsetof(Raw, oface), r.oface);
    LE::store32(p + offsetof(Raw, d_pkt), r.d_pkt);
    LE::store32(p + offsetof(Raw, d_oct), r.d_oct);
    LE::store32(p + offsetof(Raw, ts_first), r.ts_first);
    LE::store32(p + offsetof(Raw, ts_last), r.ts_last);
    LE::store16(p + offsetof(Raw, sport), r.sport);
    LE::store16(p + offsetof(Raw, dport), r.dport);
    p[offsetof(Raw, tcp_flags)] = r.tcp_flags;
    p[offsetof(Raw, proto)] = r.proto;
    p[offsetof(Raw, tos)] = r.tos;
    // The record has 16 bits for AS numbers, like NetFlow v5.
    LE::store16(p + offsetof(Raw, src_as), static_cast<uint16_t>(r.src_as));
    LE::store16(p + offsetof(Raw, dst_as), static_cast<uint16_t>(r.dst_as));
    p[offsetof(Raw, src_mask)] = r.src_mask;
    p[offsetof(Raw, dst_mask)] = r.dst_mask;
    LE::store32(p + offsetof(Raw, slink_id), r.slink_id);
    LE::store32(p + offsetof(Raw, account_id), r.account_id);
    LE::store32(p + offsetof(Raw, tclass), r.tclass);
    LE::store32(p + offsetof(Raw, timestamp), static_cast<uint32_t>(r.timestamp));
}

}  // namespace

std::vector<unsigned char> DetailEncoder::header() const {
    std::vector<unsigned char> out;
    if (format_ == DetailFormat::Old) return out;
    out.push_back(2);

    std::vector<unsigned char> fields;
    for (const Column& c : columns) {
        fields.push_back(c.id);
        fields.push_back(c.size);
        if (c.v6_id != 0) {
            fields.push_back(c.v6_id);
            fields.push_back(16);
        }
    }
    out.push_back(static_cast<unsigned char>(fields.size() / 2));
    out.insert(out.end(), fields.begin(), fields.end());

    out.push_back(address_combinations);
    for (unsigned mask = 0; mask < address_combinations; ++mask) {
        out.push_back(static_cast<unsigned char>(1 + mask));
        out.push_back(static_cast<unsigned char>(std::size(columns)));
        unsigned bit = 0;
        for (const Column& c : columns) {
            if (c.v6_id == 0) {
                out.push_back(c.id);
                continue;
            }
            const bool v6 = ((mask >> bit++) & 1u) != 0;
            out.push_back(v6 ? c.v6_id : c.id);
        }
    }
    return out;
}

std::string DetailEncoder::refusal(const TrafficStat& record) const {
    if (format_ == DetailFormat::New) return std::string();
    const std::pair<const char*, const IP_address*> flow[] = {
        {"s_addr", &record.s_addr}, {"d_addr", &record.d_addr}, {"nexthop_addr", &record.nexthop_addr}};
    for (const auto& [key, address] : flow) {
        if (is_v6(*address))
            return std::string("key \"") + key + "\" holds an IPv6 address; the old format carries IPv4 flows only";
    }
    return std::string();
}

void DetailEncoder::append_record(const TrafficStat& record, std::vector<unsigned char>& out) const {
    if (format_ == DetailFormat::New)
        append_new_record(record, out);
    else
        append_old_record(record, out);
}

}  // namespace Strell
