#include "tools/vorn_detail/flow_compare.h"

#include <algorithm>
#include <functional>
#include <istream>
#include <ostream>
#include <unordered_map>

#include <nlohmann/json.hpp>

#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/detail_records.h"
#include "tools/vorn_detail/nfdump_flow.h"
#include "tools/vorn_detail/nfdump_reader.h"
#include "vorn/stat/netflow_fields.h"

namespace Vorn {

namespace {

using nlohmann::json;

// A flow as the comparison sees it: what the version does not carry and the
// ignored fields are zero.
using Flow = TrafficFlowRecord;

struct Field {
    const char* name;
    TrafficMember member;
    json (*value)(const Flow&);
    void (*clear)(Flow&);
};

#define ADDRESS(f) \
    member_name(TrafficMember::f), TrafficMember::f, [](const Flow& r) { return json(r.f.to_string()); }, \
        [](Flow& r) { r.f = IP_address(); }
#define NUMBER(f) \
    member_name(TrafficMember::f), TrafficMember::f, [](const Flow& r) { return json(r.f); }, [](Flow& r) { r.f = 0; }

// The fields that a version may carry; times are left out, since strell's
// packet headers make what a collector derives from them unrelated to the
// file's values.
const Field fields[] = {
    {ADDRESS(s_addr)},  {ADDRESS(d_addr)}, {NUMBER(sport)},  {NUMBER(dport)},    {NUMBER(proto)},
    {ADDRESS(nexthop_addr)}, {NUMBER(tcp_flags)}, {NUMBER(tos)}, {NUMBER(d_pkt)}, {NUMBER(d_oct)},
    {NUMBER(iface)},    {NUMBER(oface)},   {NUMBER(src_as)}, {NUMBER(dst_as)},   {NUMBER(src_mask)},
    {NUMBER(dst_mask)},
};
#undef ADDRESS
#undef NUMBER

// The first fields pair a missing flow with a stored one that differs from
// it: the same addresses, ports and protocol.
constexpr size_t identity_fields = 5;

// As the NetFlow field catalogue says: v9 carries no masks.
bool carried(const Field& f, SentAs sent_as) {
    return sent_as == SentAs::V5 ? carried_in_v5(f.member) : carried_in_v9(f.member);
}

bool is_v6(const IP_address& a) { return a.family() == IP_address::IPv6; }

// The reader reuses one record, so an IPv4 address may keep the lower half
// of an earlier IPv6 one, which no IPv4 operation reads.
void canonical(IP_address& a) {
    if (is_v6(a)) return;
    IP_address fresh;
    fresh.from_int(static_cast<int>(a.to_int()));
    a = fresh;
}

bool equal(const Flow& a, const Flow& b) {
    return a.s_addr == b.s_addr && a.d_addr == b.d_addr && a.nexthop_addr == b.nexthop_addr &&
           a.s_addr.family() == b.s_addr.family() && a.d_addr.family() == b.d_addr.family() &&
           a.nexthop_addr.family() == b.nexthop_addr.family() && a.iface == b.iface && a.oface == b.oface &&
           a.d_pkt == b.d_pkt && a.d_oct == b.d_oct && a.sport == b.sport && a.dport == b.dport &&
           a.tcp_flags == b.tcp_flags && a.proto == b.proto && a.tos == b.tos && a.src_as == b.src_as &&
           a.dst_as == b.dst_as && a.src_mask == b.src_mask && a.dst_mask == b.dst_mask;
}

struct FlowHash {
    size_t operator()(const Flow& r) const {
        size_t h = 0;
        const auto mix = [&h](uint64_t v) { h = (h ^ std::hash<uint64_t>()(v)) * 0x100000001B3ull; };
        for (const IP_address* a : {&r.s_addr, &r.d_addr, &r.nexthop_addr}) {
            mix(static_cast<uint64_t>(a->to_high()));
            mix(static_cast<uint64_t>(a->to_low()) ^ static_cast<uint64_t>(a->family()));
        }
        mix((uint64_t(r.sport) << 48) | (uint64_t(r.dport) << 32) | (uint64_t(r.iface) << 16) | r.oface);
        mix((uint64_t(r.d_pkt) << 32) | r.d_oct);
        mix((uint64_t(r.src_as) << 32) | r.dst_as);
        mix((uint64_t(r.tcp_flags) << 32) | (uint64_t(r.proto) << 24) | (uint64_t(r.tos) << 16) |
            (uint64_t(r.src_mask) << 8) | r.dst_mask);
        return h;
    }
};

struct FlowEqual {
    bool operator()(const Flow& a, const Flow& b) const { return equal(a, b); }
};

class View {
public:
    View(SentAs sent_as, const std::vector<std::string>& ignored) : sent_as_(sent_as) {
        for (const Field& f : fields)
            (carried(f, sent_as) && std::find(ignored.begin(), ignored.end(), f.name) == ignored.end() ? shown_
                                                                                                       : hidden_)
                .push_back(&f);
    }

    // False for a flow that the version cannot carry (v5 skips IPv6 flows).
    bool project(const Flow& in, Flow& out) const {
        if (sent_as_ == SentAs::V5 && (is_v6(in.s_addr) || is_v6(in.d_addr) || is_v6(in.nexthop_addr)))
            return false;
        out = in;
        for (IP_address* a : {&out.s_addr, &out.d_addr, &out.nexthop_addr}) canonical(*a);
        for (const Field* f : hidden_) f->clear(out);
        out.ts_first = out.ts_last = 0;
        if (sent_as_ == SentAs::V5) {  // v5 has 16 bits for AS numbers
            out.src_as &= 0xFFFF;
            out.dst_as &= 0xFFFF;
        }
        return true;
    }

    json object(const Flow& r) const {
        json o = json::object();
        for (const Field* f : shown_) o[f->name] = f->value(r);
        return o;
    }

    json identity(const Flow& r) const {
        json o = json::object();
        for (size_t i = 0; i < identity_fields; ++i) o[fields[i].name] = fields[i].value(r);
        return o;
    }

    // "d_oct sent 1000 stored 1001, ..."; empty when equal.
    std::string differences(const Flow& sent, const Flow& stored) const {
        std::string text;
        for (const Field* f : shown_) {
            const json a = f->value(sent), b = f->value(stored);
            if (a == b) continue;
            if (!text.empty()) text += ", ";
            text += std::string(f->name) + " sent " + a.dump() + " stored " + b.dump();
        }
        return text;
    }

    size_t difference_count(const Flow& sent, const Flow& stored) const {
        size_t n = 0;
        for (const Field* f : shown_) n += f->value(sent) != f->value(stored);
        return n;
    }

private:
    SentAs sent_as_;
    std::vector<const Field*> shown_;
    std::vector<const Field*> hidden_;
};

// One line for each flow missing or extra, except that a missing and an
// extra flow of the same identity make one line of their differences; the
// pair that differs in the fewest fields is taken.
std::vector<std::string> report_lines(const View& view, const std::vector<Flow>& missing,
                                      const std::vector<Flow>& extra, unsigned long& differing) {
    std::unordered_multimap<std::string, size_t> extra_by_identity;
    for (size_t e = 0; e < extra.size(); ++e) extra_by_identity.emplace(view.identity(extra[e]).dump(), e);
    std::vector<bool> extra_paired(extra.size(), false), missing_paired(missing.size(), false);
    std::vector<std::string> lines;
    for (size_t m = 0; m < missing.size(); ++m) {
        const std::string id = view.identity(missing[m]).dump();
        const auto [begin, end] = extra_by_identity.equal_range(id);
        size_t best = extra.size(), best_count = 0;
        for (auto it = begin; it != end; ++it) {
            if (extra_paired[it->second]) continue;
            const size_t count = view.difference_count(missing[m], extra[it->second]);
            if (best == extra.size() || count < best_count) best = it->second, best_count = count;
        }
        if (best == extra.size()) continue;
        extra_paired[best] = missing_paired[m] = true;
        ++differing;
        lines.push_back("differs " + id + ": " + view.differences(missing[m], extra[best]));
    }
    for (size_t m = 0; m < missing.size(); ++m)
        if (!missing_paired[m]) lines.push_back("missing " + view.object(missing[m]).dump());
    for (size_t e = 0; e < extra.size(); ++e)
        if (!extra_paired[e]) lines.push_back("extra " + view.object(extra[e]).dump());
    return lines;
}

}  // namespace

std::vector<std::string> compared_fields(SentAs sent_as) {
    std::vector<std::string> names;
    for (const Field& f : fields)
        if (carried(f, sent_as)) names.push_back(f.name);
    return names;
}

int compare_capture(const std::string& detail_path, SentAs sent_as, const std::vector<std::string>& ignored,
                    std::istream& capture, std::ostream& out, std::ostream& err) {
    const View view(sent_as, ignored);

    // How many times each flow was sent.
    std::unordered_map<Flow, unsigned long, FlowHash, FlowEqual> sent;
    Flow flow;
    unsigned long sent_count = 0, left_out = 0;
    const char* format = nullptr;
    const bool read_sent = read_detail_records(detail_path, err, format, [&](const TrafficStat& record) {
        if (!view.project(record, flow)) {
            ++left_out;
            return;
        }
        ++sent[flow];
        ++sent_count;
    });
    if (!read_sent) return exit_failure;

    std::vector<Flow> extra;
    unsigned long stored_count = 0, others = 0;
    NfdumpReader reader;
    const bool read = reader.read(capture, [&](const json& object, unsigned long) {
        TrafficStat stored;
        bool is_flow = false;
        std::string wrong = traffic_stat_from_nfdump(object, stored, is_flow);
        if (!wrong.empty()) return wrong;
        if (!is_flow) {
            ++others;
            return wrong;
        }
        ++stored_count;
        if (!view.project(stored, flow)) flow = stored;  // an IPv6 flow stored from a v5 run is extra as it is
        const auto found = sent.find(flow);
        if (found != sent.end() && found->second > 0)
            --found->second;
        else
            extra.push_back(flow);
        return std::string();
    });
    if (!read) {
        err << "vorn-detail: capture: " << reader.problem() << "\n";
        return exit_failure;
    }
    if (others > 0) err << "vorn-detail: " << others << " records of other types skipped\n";

    std::vector<Flow> missing;
    for (const auto& [f, count] : sent) missing.insert(missing.end(), count, f);
    unsigned long differing = 0;
    std::vector<std::string> lines = report_lines(view, missing, extra, differing);
    std::sort(lines.begin(), lines.end());
    for (const std::string& line : lines) out << line << "\n";

    const unsigned long missing_count = missing.size() - differing, extra_count = extra.size() - differing;
    const std::string left =
        left_out > 0 ? " (" + std::to_string(left_out) + " IPv6 flows of the file left out: v5 does not carry them)"
                     : std::string();
    if (lines.empty()) {
        out << "equal: " << sent_count << " flows" << left << "\n";
        return exit_ok;
    }
    out << "not equal: " << sent_count << " sent, " << stored_count << " stored; "
        << sent_count - missing_count - differing << " equal, " << missing_count << " missing, " << extra_count
        << " extra, " << differing << " differing" << left << "\n";
    return exit_different;
}

}  // namespace Vorn
