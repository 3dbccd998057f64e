#include "tools/vorn_detail/flow_compare.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <ostream>

#include "tools/vorn_detail/capture.h"
#include "tools/vorn_detail/detail_records.h"
#include "tools/vorn_detail/failure.h"
#include "tools/vorn_detail/flow_counts.h"
#include "tools/vorn_detail/flow_spill.h"
#include "tools/vorn_detail/replay_limits.h"

namespace Vorn {

namespace {

constexpr uint32_t none = UINT32_MAX;
// How many stored flows of one identity a missing flow is weighed against:
// the first ones not yet paired. A bound on the work for an identity that
// many flows share (one busy connection, exported again and again).
constexpr size_t pairing_window = 64;

// A flow that may pair with one of the other side: the fingerprint of its
// identity, its index among the flows of its side set aside, and (missing
// flows) the index of the extra flow paired with it.
struct Candidate {
    uint64_t identity;
    uint32_t index;
    uint32_t partner = none;
    bool operator<(const Candidate& o) const {
        return identity != o.identity ? identity < o.identity : index < o.index;
    }
};

uint32_t index_of(unsigned long index) {
    if (index >= none) throw Failure("more flows to pair than compare counts (4294967294)");
    return static_cast<uint32_t>(index);
}

// One run of compare. The file is read in four passes: to count its flows,
// to count each flow's sendings, after the capture to find which are
// missing, and to report them in its order.
class Comparison {
public:
    Comparison(const std::string& path, SentAs sent_as, const std::vector<std::string>& ignored, std::ostream& out)
        : path_(path), sent_as_(sent_as), view_(sent_as, ignored), out_(out) {}

    int run(const std::function<std::unique_ptr<Capture>()>& open_capture, std::ostream& err) {
        count_sent();
        std::unique_ptr<Capture> capture = open_capture();
        read_capture(*capture);
        if (capture->others() > 0) err << "vorn-detail: " << capture->others() << " records of other types skipped\n";
        find_missing();
        pair();
        return report();
    }

private:
    // Each pass checks that the file still holds what the first one counted.
    template <typename Visit>
    void each_record(Visit visit) {
        unsigned long record = 0;
        read_detail_records(path_, [&](const TrafficStat& flow) {
            if (record == records_) throw Failure(path_ + ": changed while compare read it");
            visit(flow, record++);
        });
        if (record != records_) throw Failure(path_ + ": changed while compare read it");
    }

    void count_sent() {
        unsigned long record = 0;
        read_detail_records(path_, [&](const TrafficStat& flow) {
            ++record;
            if (!view_.carries(flow)) {
                ++left_out_;
                if (first_unsent_ == 0) first_unsent_ = record;
                return;
            }
            ++sent_;
            if (sent_as_ != SentAs::V9 || first_unsent_ != 0) return;
            first_unsent_why_ = v9_mixed_families(flow);
            if (!first_unsent_why_.empty()) first_unsent_ = record;
        });
        records_ = record;
        counts_ = std::make_unique<FlowCounts>(sent_);
        unsigned long added = 0;
        CountsAhead<uint64_t, std::function<void(uint64_t)>> ahead(*counts_, [this](uint64_t f) { counts_->add(f); });
        each_record([&](const TrafficStat& flow, unsigned long) {
            if (!view_.carries(flow)) return;
            if (++added > sent_) throw Failure(path_ + ": changed while compare read it");
            const uint64_t f = fingerprint(view_.project(flow));
            ahead.push(f, f);
        });
        ahead.flush();
    }

    void read_capture(Capture& capture) {
        using Stored = std::pair<uint64_t, ComparedFlow>;
        CountsAhead<Stored, std::function<void(const Stored&)>> ahead(*counts_, [this](const Stored& stored) {
            if (!counts_->take(stored.first)) extras_.append(stored.second);
        });
        capture.read([&](const TrafficStat& flow, unsigned long) {
            ++stored_;
            const ComparedFlow stored = view_.project(flow);
            const uint64_t f = fingerprint(stored);
            ahead.push(f, {f, stored});
            return std::string();
        });
        ahead.flush();
        missing_ = sent_ - (stored_ - extras_.size());
    }

    // Marks the missing flows in the file and sets aside those whose identity
    // some extra flow shares; the counts are done with then.
    void find_missing() {
        std::vector<uint64_t> extra_identities;
        if (missing_ > 0) {
            extra_identities.reserve(extras_.size());
            extras_.for_each(
                [&](const ComparedFlow& f, unsigned long) { extra_identities.push_back(identity_fingerprint(f)); });
            std::sort(extra_identities.begin(), extra_identities.end());
            const auto end = std::unique(extra_identities.begin(), extra_identities.end());
            extra_identities.erase(end, extra_identities.end());
            // Untouched room costs address space only.
            missing_candidates_.reserve(missing_);
        }
        missing_records_.assign(records_, false);
        candidates_among_missing_.reserve(missing_);
        struct Sent {
            uint64_t fingerprint;
            ComparedFlow flow;
            unsigned long index;
        };
        CountsAhead<Sent, std::function<void(const Sent&)>> ahead(*counts_, [&](const Sent& sent) {
            const ComparedFlow& flow = sent.flow;
            const unsigned long index = sent.index;
            if (!counts_->take(sent.fingerprint)) return;
            missing_records_[index] = true;
            const uint64_t identity = identity_fingerprint(flow);
            const bool candidate = std::binary_search(extra_identities.begin(), extra_identities.end(), identity);
            candidates_among_missing_.push_back(candidate);
            if (!candidate) return;
            missing_candidates_.push_back({identity, index_of(missing_aside_.size())});
            missing_aside_.append(flow);
        });
        each_record([&](const TrafficStat& record, unsigned long index) {
            if (!view_.carries(record)) return;
            const ComparedFlow flow = view_.project(record);
            const uint64_t f = fingerprint(flow);
            ahead.push(f, {f, flow, index});
        });
        ahead.flush();
        counts_.reset();
    }

    // Pairs each missing candidate, in the file's order, with the unpaired
    // extra flow of its identity that differs from it in the fewest fields
    // (the first stored of those).
    void pair() {
        if (missing_candidates_.empty()) return;
        std::sort(missing_candidates_.begin(), missing_candidates_.end());
        const auto has_identity = [this](uint64_t identity) {
            const Candidate key{identity, 0};
            const auto at = std::lower_bound(missing_candidates_.begin(), missing_candidates_.end(), key);
            return at != missing_candidates_.end() && at->identity == identity;
        };
        std::vector<Candidate> extra_candidates;
        extra_candidates.reserve(extras_.size());
        extras_.for_each([&](const ComparedFlow& f, unsigned long index) {
            const uint64_t identity = identity_fingerprint(f);
            if (has_identity(identity)) extra_candidates.push_back({identity, index_of(index)});
        });
        std::sort(extra_candidates.begin(), extra_candidates.end());
        paired_extras_.assign(extras_.size(), false);

        auto x = extra_candidates.begin();
        std::vector<std::pair<uint32_t, ComparedFlow>> window;  // unpaired extra flows, in the capture's order
        for (auto m = missing_candidates_.begin(); m != missing_candidates_.end();) {
            const uint64_t identity = m->identity;
            x = std::find_if(x, extra_candidates.end(), [&](const Candidate& c) { return c.identity >= identity; });
            window.clear();
            const auto refill = [&] {
                for (; window.size() < pairing_window && x != extra_candidates.end() && x->identity == identity; ++x)
                    window.emplace_back(x->index, extras_.at(x->index));
            };
            for (refill(); m != missing_candidates_.end() && m->identity == identity; ++m) {
                if (window.empty()) continue;
                const ComparedFlow sent = missing_aside_.at(m->index);
                size_t best = 0, fewest = view_.difference_count(sent, window[0].second);
                for (size_t e = 1; e < window.size(); ++e) {
                    const size_t count = view_.difference_count(sent, window[e].second);
                    if (count < fewest) best = e, fewest = count;
                }
                m->partner = window[best].first;
                paired_extras_[m->partner] = true;
                ++differing_;
                window.erase(window.begin() + static_cast<std::ptrdiff_t>(best));
                refill();
            }
            x = std::find_if(x, extra_candidates.end(), [&](const Candidate& c) { return c.identity != identity; });
        }
        partners_.assign(missing_aside_.size(), none);
        for (const Candidate& c : missing_candidates_) partners_[c.index] = c.partner;
        missing_candidates_ = std::vector<Candidate>();
    }

    int report() {
        if (first_unsent_ != 0) {
            out_ << "note: record " << first_unsent_ << " of " << path_ << " has ";
            if (sent_as_ == SentAs::V9)
                out_ << first_unsent_why_ << ": " << v9_replay_ends << "\n";
            else
                out_ << "an IPv6 address: a v5 replay skips it, and every such record, without a word\n";
        }
        unsigned long missing = 0, candidate = 0;
        if (missing_ > 0)
            each_record([&](const TrafficStat& record, unsigned long index) {
                if (!missing_records_[index]) return;
                const ComparedFlow flow = view_.project(record);
                const uint32_t partner = candidates_among_missing_[missing++] ? partners_[candidate++] : none;
                if (partner == none)
                    out_ << "missing " << view_.object(flow).dump() << "\n";
                else
                    out_ << "differs " << view_.identity(flow).dump() << ": "
                         << view_.differences(flow, extras_.at(partner)) << "\n";
            });
        extras_.for_each([&](const ComparedFlow& flow, unsigned long index) {
            if (paired_extras_.empty() || !paired_extras_[index]) out_ << "extra " << view_.object(flow).dump() << "\n";
        });

        const std::string left =
            left_out_ > 0 ? " (" + std::to_string(left_out_) +
                                " flows of the file with an IPv6 address left out: v5 does not carry them)"
                          : std::string();
        const bool equal = missing_ == 0 && extras_.size() == 0;
        if (equal)
            out_ << "equal: " << sent_ << " flows" << left << "\n";
        else
            out_ << "not equal: " << sent_ << " sent, " << stored_ << " stored; " << sent_ - missing_ << " equal, "
                 << missing_ - differing_ << " missing, " << extras_.size() - differing_ << " extra, " << differing_
                 << " differing" << left << "\n";
        out_.flush();
        if (!out_) throw Failure("cannot write standard output");
        return equal ? exit_ok : exit_different;
    }

    const std::string& path_;
    const SentAs sent_as_;
    const FlowView view_;
    std::ostream& out_;

    unsigned long records_ = 0, sent_ = 0, left_out_ = 0, stored_ = 0, missing_ = 0, differing_ = 0;
    unsigned long first_unsent_ = 0;  // the record's number from 1, or 0
    std::string first_unsent_why_;
    std::unique_ptr<FlowCounts> counts_;
    FlowSpill extras_;                             // in the capture's order
    std::vector<bool> missing_records_;            // by record of the file
    std::vector<bool> candidates_among_missing_;  // by missing flow, in the file's order
    FlowSpill missing_aside_;                      // the missing candidates
    std::vector<Candidate> missing_candidates_;
    std::vector<uint32_t> partners_;  // by missing candidate: the extra flow it pairs with
    std::vector<bool> paired_extras_;
};

}  // namespace

int compare_capture(const std::string& detail_path, SentAs sent_as, const std::vector<std::string>& ignored,
                    const std::function<std::unique_ptr<Capture>()>& open_capture, std::ostream& out,
                    std::ostream& err) {
    return Comparison(detail_path, sent_as, ignored, out).run(open_capture, err);
}

}  // namespace Vorn
