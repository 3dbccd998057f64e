#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vorn/stat/detail_field.h"
#include "vorn/stat/traffic_member.h"
#include "vorn/stat/traffic_stat.h"

namespace Vorn {

// How the records of one data id are decoded, worked out once from the
// header: for each member of the record, where its value lies and how wide
// it is. A record whose fields all have a known id and size is then decoded
// in one pass from its bytes; when a field fills a member that an earlier
// one filled too, the later one is the one kept, as reading in order gives.
class DetailRecordPlan {
    using M = TrafficMember;

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
            decode_members<true, true, M::s_addr, M::slink_id>(record, out);
        else if (every_flow_member_)
            decode_members<true, false, M::s_addr, M::slink_id>(record, out);
        else
            decode_members<false, false, M::s_addr, M::slink_id>(record, out);
        if (!billing) return;
        if (every_billing_member_)
            decode_members<true, false, M::slink_id, members_end>(record, out);
        else
            decode_members<false, false, M::slink_id, members_end>(record, out);
    }

    // Whether a record's flow part stands on its own: it fills every flow
    // member, its three addresses are of one family and its AS numbers 4
    // bytes wide. Its flow then owes nothing to earlier records, and a
    // replay can take each value where it lies (flow_value).
    bool direct() const { return direct_; }
    // The family of a direct record's addresses.
    bool v6() const { return v6_flow_; }

    // The value of flow member m in a direct record of the family v6, as a
    // TrafficFlowRecord holds it.
    template <TrafficMember m, bool v6>
    [[gnu::always_inline]] member_type<m> flow_value(const unsigned char* record) const {
        member_type<m> value{};
        decode_detail_value(value, record + at_[index(m)], width<m>(v6 ? 16 : 4));
        return value;
    }

private:
    static constexpr uint16_t absent = 0xFFFF;
    static constexpr size_t not_whole = SIZE_MAX;

    static constexpr unsigned index(M m) { return static_cast<unsigned>(m); }

    // The width a member has in a record: fixed by its type, but for the
    // addresses (4 or 16) and the AS numbers (2 or 4), whose width in a
    // plain record is given.
    template <TrafficMember m>
    static constexpr bool varies() {
        return is_address(m) || m == M::src_as || m == M::dst_as;
    }
    template <TrafficMember m>
    uint8_t width(uint8_t plain_address) const {
        if constexpr (!varies<m>())
            return sizeof(member_type<m>);
        else if constexpr (is_address(m))
            return plain_address;
        else
            return 4;
    }

    // Straight-line code, member by member; with every member present, no
    // presence test either, and in a plain record (IPv4 addresses, 4-byte AS
    // numbers, the usual IPv4 flow) no test of a width.
    template <bool every, bool plain, TrafficMember first, TrafficMember last>
    [[gnu::always_inline]] void decode_members(const unsigned char* d, TrafficStat& out) const {
        for_each_member<first, last>([&](auto member) {
            constexpr TrafficMember m = member();
            const uint16_t at = at_[index(m)];
            if (!every && at == absent) return;
            const uint8_t size = varies<m>() && !plain ? size_[index(m)] : width<m>(4);
            decode_detail_value(member_of<m>(out), d + at, size);
        });
    }

    uint16_t at_[traffic_member_count] = {};   // from the byte after the data id
    uint8_t size_[traffic_member_count] = {};  // as declared
    size_t block_ = not_whole;
    bool every_flow_member_ = false;
    bool plain_flow_ = false;
    bool every_billing_member_ = false;
    bool direct_ = false;
    bool v6_flow_ = false;
};

}  // namespace Vorn
