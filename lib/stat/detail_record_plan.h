#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vorn/stat/detail_field.h"
#include "vorn/stat/little_endian.h"
#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// How the records of one data id are decoded, worked out once from the
// header: for each member of the record, where its value lies and how wide
// it is. A record whose fields all have a known id and size is then decoded
// in one pass from its bytes; when a field fills a member that an earlier
// one filled too, the later one is the one kept, as reading in order gives.
class DetailRecordPlan {
public:
    // field_sizes: the declared size of every field id, -1 when undescribed.
    void build(const std::vector<uint8_t>& field_ids, const int16_t (&field_sizes)[256]);

    // False when some field is unknown or undescribed: such a record has to
    // be read field by field, which is where unknown fields shift the rest.
    bool whole() const { return block_ != not_whole; }
    // Bytes after the data id.
    uint32_t length() const { return static_cast<uint32_t>(block_ - 1); }
    // The data id and length() bytes, or more than any buffer holds when
    // the record is not whole: one comparison tells whether a record can be
    // decoded where it lies.
    size_t block() const { return block_; }

    // record holds length() bytes. Members the record lacks keep their value,
    // and so do the billing ones unless billing is set.
    [[gnu::always_inline]] void decode(const unsigned char* record, TrafficStat& out, bool billing) const {
        if (plain_flow_)
            flow_members<true, true>(record, out);
        else if (every_flow_member_)
            flow_members<true, false>(record, out);
        else
            flow_members<false, false>(record, out);
        if (!billing) return;
        if (every_billing_member_)
            billing_members<true>(record, out);
        else
            billing_members<false>(record, out);
    }

private:
    using M = DetailMember;
    static constexpr uint16_t absent = 0xFFFF;
    static constexpr size_t not_whole = SIZE_MAX;

    static constexpr unsigned index(M m) { return static_cast<unsigned>(m); }
    static constexpr uint32_t bit(M m) { return 1u << index(m); }

    // Straight-line code, member by member; with every member present, no
    // presence test either, and in a plain record (IPv4 addresses, 4-byte AS
    // numbers, the usual IPv4 flow) no test of a width.
    template <bool every, bool plain>
    void flow_members(const unsigned char* d, TrafficStat& out) const {
        address<every, plain>(M::s_addr, d, out.s_addr);
        address<every, plain>(M::d_addr, d, out.d_addr);
        address<every, plain>(M::nexthop_addr, d, out.nexthop_addr);
        value<every>(M::iface, d, out.iface);
        value<every>(M::oface, d, out.oface);
        value<every>(M::d_pkt, d, out.d_pkt);
        value<every>(M::d_oct, d, out.d_oct);
        value<every>(M::ts_first, d, out.ts_first);
        value<every>(M::ts_last, d, out.ts_last);
        value<every>(M::sport, d, out.sport);
        value<every>(M::dport, d, out.dport);
        value<every>(M::tcp_flags, d, out.tcp_flags);
        value<every>(M::proto, d, out.proto);
        value<every>(M::tos, d, out.tos);
        as_number<every, plain>(M::src_as, d, out.src_as);
        as_number<every, plain>(M::dst_as, d, out.dst_as);
        value<every>(M::src_mask, d, out.src_mask);
        value<every>(M::dst_mask, d, out.dst_mask);
    }

    template <bool every>
    void billing_members(const unsigned char* d, TrafficStat& out) const {
        value<every>(M::slink_id, d, out.slink_id);
        value<every>(M::account_id, d, out.account_id);
        address<every, false>(M::ip, d, out.ip);
        value<every>(M::tclass, d, out.tclass);
        value<every>(M::timestamp, d, out.timestamp);
        address<every, false>(M::router_ip_netflow_from, d, out.router_ip_netflow_from);
    }

    template <bool every, typename T>
    void value(M m, const unsigned char* d, T& out) const {
        const uint16_t at = at_[index(m)];
        if (!every && at == absent) return;
        if constexpr (sizeof(T) == 1)
            out = d[at];
        else if constexpr (sizeof(T) == 2)
            out = LittleEndian::load16(d + at);
        else
            out = static_cast<T>(LittleEndian::load32(d + at));
    }

    template <bool every, bool plain>
    void as_number(M m, const unsigned char* d, uint32_t& out) const {
        const uint16_t at = at_[index(m)];
        if (!every && at == absent) return;
        out = !plain && (two_byte_as_ & bit(m)) != 0 ? LittleEndian::load16(d + at) : LittleEndian::load32(d + at);
    }

    template <bool every, bool plain>
    void address(M m, const unsigned char* d, IP_address& out) const {
        const uint16_t at = at_[index(m)];
        if (!every && at == absent) return;
        if (!plain && (v6_ & bit(m)) != 0)
            DetailValue::set_v6(out, d + at);
        else
            DetailValue::set_v4(out, d + at);
    }

    uint16_t at_[detail_member_count] = {};  // from the byte after the data id
    uint32_t v6_ = 0;                        // members filled by a 16-byte address
    uint32_t two_byte_as_ = 0;               // members filled by a 2-byte AS number
    size_t block_ = not_whole;
    bool every_flow_member_ = false;
    bool plain_flow_ = false;
    bool every_billing_member_ = false;
};

}  // namespace Vorn
