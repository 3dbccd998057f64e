#include "tools/vorn_detail/compared_flow.h"

#include <algorithm>
#include <cstring>

#include "tools/vorn_detail/replay_limits.h"
#include "vorn/stat/netflow_fields.h"

namespace Vorn {

using nlohmann::json;

struct ComparedField {
    const char* name;
    TrafficMember member;
    json (*value)(const ComparedFlow&);
    void (*clear)(ComparedFlow&);
};

namespace {

using Field = ComparedField;

enum Address { source, destination, next_hop };

IP_address address_of(const ComparedFlow& flow, Address which) {
    IP_address a;
    if (flow.family[which] == IP_address::IPv6)
        a.from_int(static_cast<long>(flow.address[which][0]), static_cast<long>(flow.address[which][1]));
    else
        a.from_int(static_cast<int>(flow.address[which][0]));
    return a;
}

void set_address(ComparedFlow& flow, Address which, const IP_address& a) {
    const bool v6 = a.family() == IP_address::IPv6;
    flow.family[which] = v6 ? IP_address::IPv6 : IP_address::IPv4;
    // An IPv4 address keeps whatever a reused record left in the rest.
    flow.address[which][0] = v6 ? static_cast<uint64_t>(a.to_high()) : a.to_int();
    flow.address[which][1] = v6 ? static_cast<uint64_t>(a.to_low()) : 0;
}

#define ADDRESS(member, which)                                                                     \
    member_name(TrafficMember::member), TrafficMember::member,                                     \
        [](const ComparedFlow& f) { return json(address_of(f, which).to_string()); },             \
        [](ComparedFlow& f) { set_address(f, which, IP_address()); }
#define NUMBER(f)                                                                                 \
    member_name(TrafficMember::f), TrafficMember::f, [](const ComparedFlow& r) { return json(r.f); }, \
        [](ComparedFlow& r) { r.f = 0; }

// The fields that a version may carry; times are left out, since strell's
// packet headers make what a collector derives from them unrelated to the
// file's values.
const Field fields[] = {
    {ADDRESS(s_addr, source)},
    {ADDRESS(d_addr, destination)},
    {NUMBER(sport)},
    {NUMBER(dport)},
    {NUMBER(proto)},
    {ADDRESS(nexthop_addr, next_hop)},
    {NUMBER(tcp_flags)},
    {NUMBER(tos)},
    {NUMBER(d_pkt)},
    {NUMBER(d_oct)},
    {NUMBER(iface)},
    {NUMBER(oface)},
    {NUMBER(src_as)},
    {NUMBER(dst_as)},
    {NUMBER(src_mask)},
    {NUMBER(dst_mask)},
};
#undef ADDRESS
#undef NUMBER

// The first fields are the identity: the same addresses, ports and protocol.
constexpr size_t identity_fields = 5;

bool carried(const Field& f, SentAs sent_as) {
    return sent_as == SentAs::V5 ? carried_in_v5(f.member) : carried_in_v9(f.member);
}

// splitmix64's finaliser: every bit of the input moves half the output's.
uint64_t mix(uint64_t x) {
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

uint64_t hash_words(const uint64_t* words, size_t n) {
    uint64_t h = 0x9E3779B97F4A7C15ull;
    for (size_t i = 0; i < n; ++i) h = mix(h ^ words[i]);
    return h;
}

}  // namespace

std::vector<std::string> compared_fields(SentAs sent_as) {
    std::vector<std::string> names;
    for (const Field& f : fields)
        if (carried(f, sent_as)) names.push_back(f.name);
    return names;
}

FlowView::FlowView(SentAs sent_as, const std::vector<std::string>& ignored) : sent_as_(sent_as) {
    for (const Field& f : fields) {
        const bool shown = carried(f, sent_as) && std::find(ignored.begin(), ignored.end(), f.name) == ignored.end();
        (shown ? shown_ : hidden_).push_back(&f);
    }
}

bool FlowView::carries(const TrafficFlowRecord& flow) const { return sent_as_ == SentAs::V9 || !has_ipv6_address(flow); }

ComparedFlow FlowView::project(const TrafficFlowRecord& in) const {
    ComparedFlow out{};
    set_address(out, source, in.s_addr);
    set_address(out, destination, in.d_addr);
    set_address(out, next_hop, in.nexthop_addr);
    out.d_pkt = in.d_pkt;
    out.d_oct = in.d_oct;
    // v5 has 16 bits for AS numbers.
    out.src_as = sent_as_ == SentAs::V5 ? in.src_as & 0xFFFF : in.src_as;
    out.dst_as = sent_as_ == SentAs::V5 ? in.dst_as & 0xFFFF : in.dst_as;
    out.sport = in.sport;
    out.dport = in.dport;
    out.iface = in.iface;
    out.oface = in.oface;
    out.tcp_flags = in.tcp_flags;
    out.proto = in.proto;
    out.tos = in.tos;
    out.src_mask = in.src_mask;
    out.dst_mask = in.dst_mask;
    for (const Field* f : hidden_) f->clear(out);
    return out;
}

json FlowView::object(const ComparedFlow& flow) const {
    json o = json::object();
    for (const Field* f : shown_) o[f->name] = f->value(flow);
    return o;
}

json FlowView::identity(const ComparedFlow& flow) const {
    json o = json::object();
    for (size_t i = 0; i < identity_fields; ++i) o[fields[i].name] = fields[i].value(flow);
    return o;
}

std::string FlowView::differences(const ComparedFlow& sent, const ComparedFlow& stored) const {
    std::string text;
    for (const Field* f : shown_) {
        const json a = f->value(sent), b = f->value(stored);
        if (a == b) continue;
        if (!text.empty()) text += ", ";
        text += std::string(f->name) + " sent " + a.dump() + " stored " + b.dump();
    }
    return text;
}

size_t FlowView::difference_count(const ComparedFlow& sent, const ComparedFlow& stored) const {
    size_t n = 0;
    for (const Field* f : shown_) n += f->value(sent) != f->value(stored);
    return n;
}

uint64_t fingerprint(const ComparedFlow& flow) {
    uint64_t words[sizeof flow / 8];
    std::memcpy(words, &flow, sizeof flow);
    return hash_words(words, sizeof flow / 8);
}

uint64_t identity_fingerprint(const ComparedFlow& flow) {
    const uint64_t words[] = {flow.address[source][0],
                              flow.address[source][1],
                              flow.address[destination][0],
                              flow.address[destination][1],
                              uint64_t(flow.family[source]) | uint64_t(flow.family[destination]) << 8 |
                                  uint64_t(flow.proto) << 16 | uint64_t(flow.sport) << 32 |
                                  uint64_t(flow.dport) << 48};
    return hash_words(words, sizeof words / 8);
}

}  // namespace Vorn
