#include "reduce/verdicts.h"

#include <algorithm>
#include <bit>

#include "db/lists.h"
#include "reduce/counting.h"
#include "reduce/kept_state.h"
#include "reduce/moves.h"

namespace vorp {

namespace {

void vote(int pol_a, int weight, int& straight, int& inverted) {
    if (pol_a == 1) straight += weight;
    if (pol_a == -1) inverted += weight;
}

Gain operator-(const Gain& a, const Gain& b) {
    return {a.count - b.count, a.load - b.load};
}

Gain& operator+=(Gain& a, const Gain& b) {
    a.count += b.count;
    a.load += b.load;
    return a;
}

bool tracked(const Net* net) {
    return net && net->work_id;
}

// The votes a net has after a flip that negates every node `odd` times and
// the flipped pins (whose votes are `straight`, `inverted`) once more.
std::pair<int, int> votes_after(int s, int i, bool odd, int straight, int inverted) {
    const int kept_s = s - straight, kept_i = i - inverted;
    if (odd) return {kept_i + straight, kept_s + inverted};
    return {kept_s + inverted, kept_i + straight};
}

// The whole-design measure of a net of the graph with the given votes.
Gain counted_measure(const Tally& tally, uint32_t net, int straight, int inverted) {
    if (!tally.counted(net)) return {};
    return {rule_inverters(tally.rule(net), straight, inverted),
            rule_inverted_load(tally.rule(net), straight, inverted)};
}

// One net (by its graph number) as a gate's pins see it: how many pins,
// their non-input parity, and the votes of its input pins.
struct PinNet {
    uint32_t net;
    int pins = 0;
    bool odd = false;
    int straight = 0;
    int inverted = 0;
};

// The trial as the literal moves make it, flipping and flipping back:
// what the kept verdicts are checked against.
Gain local_measure(const Reduction& r, const Instance* m) {
    Gain g;
    for_each_in_ring(m->node, [&](const Node* n) {
        g.count += r.net_count(n->net);
        g.load += r.net_load(n->net);
    });
    return g;
}

Gain whole_measure(Reduction& r) {
    const auto m = r.measure(Mode::TIE_BREAK);
    return {m.count, m.load};
}

template <class Measure, class Flip>
Gain trial(Measure&& measure, Flip&& flip) {
    const Gain before = measure();
    flip();
    const Gain after = measure();
    flip();
    return before - after;
}

std::string describe(const char* what, const Instance* m, const Gain& kept, const Gain& again) {
    return std::string(what) + " of " + text_or_null(m ? m->name : nullptr) + ": kept " +
           std::to_string(kept.count) + "/" + std::to_string(kept.load) + ", tried " +
           std::to_string(again.count) + "/" + std::to_string(again.load);
}

}  // namespace

bool accepts(Mode mode, const Gain& gain) {
    if (gain.count > 0) return true;
    return mode == Mode::TIE_BREAK && gain.count == 0 && gain.load > 0;
}

uint32_t MemberBits::next_in_either(const MemberBits& a, const MemberBits& b, uint32_t from) {
    std::size_t w = from / 64;
    if (w >= a.words_.size()) return NONE;
    uint64_t word = (a.words_[w] | b.words_[w]) & (~uint64_t{0} << (from % 64));
    while (!word) {
        if (++w == a.words_.size()) return NONE;
        word = a.words_[w] | b.words_[w];
    }
    return static_cast<uint32_t>(w * 64 + std::countr_zero(word));
}

const MemberBits& GroupVerdicts::Walk::accepted(Mode mode) const {
    return mode == Mode::STRICT ? strict : tie_break;
}

void GroupVerdicts::Walk::keep(uint32_t p, const Gain& gain) {
    dirty.reset(p);
    strict.put(p, accepts(Mode::STRICT, gain));
    tie_break.put(p, accepts(Mode::TIE_BREAK, gain));
}

uint32_t GroupVerdicts::slot_of(uint32_t net) {
    uint32_t& slot = net_slot_[net];
    if (!slot) {
        nets_.push_back({});
        nets_.back().net = net;
        net_flags_.push_back(0);
        slot = static_cast<uint32_t>(nets_.size());
    }
    return slot - 1;
}

void GroupVerdicts::add_dependency(uint32_t p, const Net* net, Pairs& pairs) {
    if (tracked(net)) pairs.emplace_back(slot_of(net->work_id - 1), p);
}

// Nodes off the graph are outside the whole-design measure.
void GroupVerdicts::add_group_pin(const TopGraph& graph, uint32_t n) {
    const uint32_t slot = slot_of(graph.net_of(n));
    NetState& s = nets_[slot];
    net_flags_[slot] |= GROUP_NET;
    if (!graph.input(n))
        net_flags_[slot] ^= ODD;
    else if (graph.consumer(n))
        vote(graph.pol_a(n), +1, s.straight, s.inverted);
}

// A member's trials and the nets their verdicts depend on (as pairs of net
// slot and member position).
GroupVerdicts::Member GroupVerdicts::member_of(Reduction& r, uint32_t id, Pairs& pairs) {
    const TopGraph& graph = r.kept->tally.graph();
    const uint32_t p = static_cast<uint32_t>(members_.size());
    Member m;
    Instance* inst = graph.member(id);
    const int cell = graph.cell(id);
    if (flips_alone(cell) && graph.flippable(id)) {
        m.kind = Kind::GATE;
        m.flip_untracked = !graph.ring_complete(id);
        for (const uint32_t n : graph.ring(id)) pairs.emplace_back(slot_of(graph.net_of(n)), p);
    } else if (cell == CELL_TS_BUF && is_tristate_flippable(inst)) {
        if (Node* bus = first_pin_of_type(inst, KW_TRISTATE)) {
            m.kind = Kind::TRISTATE;
            add_dependency(p, bus->net, pairs);
            for (const Node* n = bus->net->nodes; n; n = n->next)
                if (n->inst->cell() == CELL_TS_BUF && n->pin_type() == KW_TRISTATE)
                    if (Node* in = tristate_input(n->inst)) add_dependency(p, in->net, pairs);
        }
    }
    if (r.d.opt_a) complement_net_.push_back(nullptr);
    if (is_and_or(cell) && r.d.opt_a) {
        const Node* out = first_pin_of_type(inst, KW_OUTPUT);
        m.complementable = out && !out->net->irreversible();
        if (m.complementable) {
            m.complement_untracked = !tracked(out->net);
            add_dependency(p, out->net, pairs);
            complement_net_.back() = out->net;
        }
    }
    return m;
}

// Members by net: a counting sort of the pairs, filled from the back so
// that each net keeps its members in the order of the pairs.
void GroupVerdicts::index_dependents(const Pairs& pairs) {
    for (const auto& [slot, p] : pairs) ++nets_[slot].first_dependent;
    uint32_t end = 0;
    for (NetState& s : nets_) {
        end += s.first_dependent;
        s.first_dependent = end;
    }
    dependents_.resize(end);
    for (auto it = pairs.rbegin(); it != pairs.rend(); ++it)
        dependents_[--nets_[it->first].first_dependent] = it->second;
}

// Every verdict is to be evaluated before it is used.
void GroupVerdicts::reset_walks() {
    for (Walk* walk : {&flips_, &complements_}) {
        walk->dirty.assign(members_.size());
        walk->strict.assign(members_.size());
        walk->tie_break.assign(members_.size());
    }
    for (uint32_t p = 0; p < members_.size(); ++p) {
        if (members_[p].kind != Kind::NONE) flips_.dirty.set(p);
        if (members_[p].complementable) complements_.dirty.set(p);
    }
}

void GroupVerdicts::start(Reduction& r, Instance* g) {
    finish();
    group_ = g;
    net_slot_.resize(r.kept->tally.nets(), 0);
    const TopGraph& graph = r.kept->tally.graph();
    graph_ = &graph;
    const TopGraph::Range range = graph.members_of(g);
    group_flippable_ = true;
    for (uint32_t id = range.first; id < range.end; ++id)
        if (is_gate(graph.cell(id)) && !graph.flippable(id)) group_flippable_ = false;
    Pairs pairs;
    first_ = range.first;
    members_.reserve(range.end - range.first);
    if (r.d.opt_a) complement_net_.reserve(range.end - range.first);
    for (uint32_t id = range.first; id < range.end; ++id) {
        members_.push_back(member_of(r, id, pairs));
        if (group_flippable_ && is_gate(graph.cell(id)))
            for (const uint32_t n : graph.ring(id)) add_group_pin(graph, n);
    }
    nets_.shrink_to_fit();
    net_flags_.shrink_to_fit();
    if (r.d.opt_a) complement_.assign(members_.size(), Gain{});
    index_dependents(pairs);
    release_vector(pairs);
    for (uint32_t slot = 0; slot < nets_.size(); ++slot) {
        if (!(net_flags_[slot] & GROUP_NET)) continue;
        nets_[slot].share = share_of(r, slot);
        group_gain_ += nets_[slot].share;
    }
    reset_walks();
}

void GroupVerdicts::finish() {
    for (const NetState& s : nets_) net_slot_[s.net] = 0;
    release_vector(nets_);
    release_vector(net_flags_);
    release_vector(members_);
    release_vector(complement_);
    release_vector(complement_net_);
    release_vector(dependents_);
    release_vector(changed_);
    group_ = nullptr;
    group_gain_ = {};
}

void GroupVerdicts::pol_a_changed(const Node* n, int old_a, int new_a) {
    if (!group_ || muted_ || old_a == new_a || !tracked(n->net)) return;
    const uint32_t slot = net_slot_[n->net->work_id - 1];
    if (!slot) return;
    NetState& s = nets_[slot - 1];
    uint8_t& flags = net_flags_[slot - 1];
    if ((flags & GROUP_NET) && n->pin_type() == KW_INPUT && is_consumer(n) && n->inst &&
        n->inst->group == group_ && is_gate(n->inst->cell())) {
        vote(old_a, -1, s.straight, s.inverted);
        vote(new_a, +1, s.straight, s.inverted);
    }
    if (flags & CHANGED) return;
    flags |= CHANGED;
    changed_.push_back(slot - 1);
}

// Members on a changed net become dirty; its share of the group flip is
// taken again.
void GroupVerdicts::flush(Reduction& r) {
    for (const uint32_t slot : changed_) {
        NetState& s = nets_[slot];
        net_flags_[slot] &= ~CHANGED;
        const uint32_t end =
            slot + 1 < nets_.size() ? nets_[slot + 1].first_dependent : dependents_.size();
        for (uint32_t k = s.first_dependent; k < end; ++k) {
            const uint32_t p = dependents_[k];
            if (members_[p].kind != Kind::NONE) flips_.dirty.set(p);
            if (members_[p].complementable) complements_.dirty.set(p);
        }
        if (!(net_flags_[slot] & GROUP_NET)) continue;
        const Gain share = share_of(r, slot);
        group_gain_ += share - s.share;
        s.share = share;
    }
    changed_.clear();
}

Gain GroupVerdicts::share_of(const Reduction& r, uint32_t slot) const {
    const NetState& s = nets_[slot];
    const bool odd = net_flags_[slot] & ODD;
    const Tally& tally = r.kept->tally;
    const int votes_s = tally.straight(s.net), votes_i = tally.inverted(s.net);
    const auto [after_s, after_i] = votes_after(votes_s, votes_i, odd, s.straight, s.inverted);
    return counted_measure(r.kept->tally, s.net, votes_s, votes_i) -
           counted_measure(r.kept->tally, s.net, after_s, after_i);
}

Gain GroupVerdicts::flip_gain(const Reduction& r, const Member& m) const {
    if (m.kind == Kind::TRISTATE) return tristate_gain(r, m);
    const TopGraph& graph = r.kept->tally.graph();
    // One scratch list for every call: a gate has a few pins, so a linear
    // search finds its nets and nothing is allocated once the list has grown.
    static thread_local std::vector<PinNet> nets;
    nets.clear();
    for (const uint32_t n : graph.ring(id_of(m))) {
        const uint32_t net = graph.net_of(n);
        auto p =
            std::find_if(nets.begin(), nets.end(), [net](const PinNet& q) { return q.net == net; });
        if (p == nets.end()) p = nets.insert(nets.end(), PinNet{net});
        ++p->pins;
        if (!graph.input(n))
            p->odd = !p->odd;
        else if (graph.consumer(n))
            vote(graph.pol_a(n), +1, p->straight, p->inverted);
    }
    Gain gain;
    for (const PinNet& p : nets) {
        const DriverRule rule = r.kept->tally.rule(p.net);
        const int s = r.kept->tally.straight(p.net), i = r.kept->tally.inverted(p.net);
        const auto [after_s, after_i] = votes_after(s, i, p.odd, p.straight, p.inverted);
        gain.count +=
            p.pins * (rule_inverters(rule, s, i) - rule_inverters(rule, after_s, after_i));
        gain.load +=
            p.pins * (rule_inverted_load(rule, s, i) - rule_inverted_load(rule, after_s, after_i));
    }
    return gain;
}

// The nodes a tristate flip negates, each negated once per time it is met:
// every node of the bus but the buffers' bus pins, and for each of those
// the buffer's "in" pin.
Gain GroupVerdicts::tristate_gain(const Reduction& r, const Member& m) const {
    const Node* bus = first_pin_of_type(instance_of(m), KW_TRISTATE);
    scratch_.clear();
    for (Node* n = bus->net->nodes; n; n = n->next) {
        if (n->inst->cell() != CELL_TS_BUF || n->pin_type() != KW_TRISTATE)
            scratch_.push_back(n);
        else if (const Node* in = tristate_input(n->inst))
            scratch_.push_back(in);
    }
    std::sort(scratch_.begin(), scratch_.end());
    std::vector<PinNet> nets;  // votes moved, by net
    for (std::size_t k = 0; k < scratch_.size();) {
        std::size_t end = k;
        while (end < scratch_.size() && scratch_[end] == scratch_[k]) ++end;
        const Node* n = scratch_[k];
        const bool negated = (end - k) % 2 == 1;
        k = end;
        if (!negated || !tracked(n->net) || !is_consumer(n) || n->pol_a() == 0) continue;
        const uint32_t net = n->net->work_id - 1;
        auto it =
            std::find_if(nets.begin(), nets.end(), [&](const PinNet& p) { return p.net == net; });
        if (it == nets.end()) it = nets.insert(nets.end(), PinNet{net});
        vote(n->pol_a(), +1, it->straight, it->inverted);
    }
    const Tally& tally = r.kept->tally;
    Gain gain;
    for (const PinNet& p : nets) {
        const int s = tally.straight(p.net), i = tally.inverted(p.net);
        const int after_s = s - p.straight + p.inverted, after_i = i - p.inverted + p.straight;
        gain += counted_measure(r.kept->tally, p.net, s, i) -
                counted_measure(r.kept->tally, p.net, after_s, after_i);
    }
    return gain;
}

// Complementing the output swaps every vote of the net.
Gain GroupVerdicts::complement_gain(const Reduction& r, uint32_t p) const {
    const Tally& tally = r.kept->tally;
    const Net* net = complement_net_[p];
    const int s = tally.straight(net), i = tally.inverted(net);
    return {tally.local_inverters(net, s, i) - tally.local_inverters(net, i, s),
            tally.local_inverted_load(net, s, i) - tally.local_inverted_load(net, i, s)};
}

uint32_t GroupVerdicts::next(Reduction& r, const Walk& walk, Mode mode, uint32_t from) {
    flush(r);
    return MemberBits::next_in_either(walk.dirty, walk.accepted(mode), from);
}

// Visits, in chain order, the members the walk must evaluate and those
// whose kept gain the mode accepts; `move` makes a member's trial, for real
// when it pays, and says whether it did.
template <class Move>
bool GroupVerdicts::walk_members(Reduction& r, const Walk& walk, Mode mode, Move&& move) {
    bool any = false;
    for (uint32_t p = next(r, walk, mode, 0); p != MemberBits::NONE; p = next(r, walk, mode, p + 1))
        if (move(p)) any = true;
    return any;
}

// A whole-group flip applies when every gate of the group may flip and the
// kept sum of the nets' shares pays.
bool GroupVerdicts::try_flip_group(Reduction& r, Mode mode) {
    flush(r);
    if (!group_flippable_ || !accepts(mode, group_gain_)) return false;
    flip_gates(r, instance_of(members_.front()), &Instance::next_in_group);
    return true;
}

// Member p's dual flip (a gate with no non-input pin on an irreversible net)
// or tristate flip (a buffer whose bus is not irreversible), made when its
// gain pays; a member on a net without a vote slot is tried literally.
bool GroupVerdicts::try_member_flip(Reduction& r, uint32_t p, Mode mode) {
    Member& m = members_[p];
    if (m.flip_untracked)
        return m.kind == Kind::GATE ? vorp::try_flip_instance(r, instance_of(m), mode)
                                    : vorp::try_flip_tristate(r, instance_of(m), mode);
    if (flips_.dirty.test(p)) {
        m.flip = flip_gain(r, m);
        flips_.keep(p, m.flip);
    }
    if (!accepts(mode, m.flip)) return false;
    if (m.kind == Kind::GATE)
        flip_instance(r, instance_of(m));
    else
        flip_tristate(r, instance_of(m));
    return true;
}

// Gates and tristate buffers that may flip, each alone, in chain order.
bool GroupVerdicts::flip_instances(Reduction& r, Mode mode) {
    return walk_members(r, flips_, mode, [&](uint32_t p) {
        if (!try_member_flip(r, p, mode)) return false;
        Instance* inst = instance_of(members_[p]);
        if (members_[p].kind == Kind::GATE) inst->toggle_dual();
        if (r.d.has_xor || r.d.opt_a) settle_instance_nets(r, inst);
        return true;
    });
}

// Member p's output complement (an and/or gate whose output net is not
// irreversible), made when its gain pays.
bool GroupVerdicts::try_member_complement(Reduction& r, uint32_t p, Mode mode) {
    Member& m = members_[p];
    if (m.complement_untracked) return vorp::try_complement_output(r, instance_of(m), mode);
    if (complements_.dirty.test(p)) {
        complement_[p] = complement_gain(r, p);
        complements_.keep(p, complement_[p]);
    }
    if (!accepts(mode, complement_[p])) return false;
    negate_net(r, complement_net_[p]);
    return true;
}

// And/or gates with a complementable output (only with -a), in chain order.
bool GroupVerdicts::complement_outputs(Reduction& r, Mode mode) {
    return walk_members(r, complements_, mode, [&](uint32_t p) {
        if (!try_member_complement(r, p, mode)) return false;
        instance_of(members_[p])->toggle_complement();
        return true;
    });
}

std::string GroupVerdicts::check(Reduction& r) {
    flush(r);
    muted_ = true;
    const bool quiet = r.quiet;
    r.quiet = true;
    std::string fault;
    auto expect = [&](const char* what, const Instance* m, const Gain& kept, const Gain& again) {
        if (fault.empty() && !(kept == again)) fault = describe(what, m, kept, again);
    };
    auto expect_bits = [&](const char* what, const Walk& walk, uint32_t p, const Gain& kept) {
        if (fault.empty() && (walk.strict.test(p) != accepts(Mode::STRICT, kept) ||
                              walk.tie_break.test(p) != accepts(Mode::TIE_BREAK, kept)))
            fault = std::string(what) + " of " + text_or_null(instance_of(members_[p])->name) +
                    ": acceptance bits differ from the kept gain";
    };
    for (uint32_t p = 0; p < members_.size(); ++p) {
        const Member& m = members_[p];
        Instance* inst = instance_of(m);
        if (m.kind == Kind::GATE && !m.flip_untracked && !flips_.dirty.test(p)) {
            expect("dual flip", inst, m.flip,
                   trial([&] { return local_measure(r, inst); }, [&] { flip_instance(r, inst); }));
            expect_bits("dual flip", flips_, p, m.flip);
        }
        if (m.kind == Kind::TRISTATE && !flips_.dirty.test(p)) {
            expect("tristate flip", inst, m.flip,
                   trial([&] { return whole_measure(r); }, [&] { flip_tristate(r, inst); }));
            expect_bits("tristate flip", flips_, p, m.flip);
        }
        if (m.complementable && !m.complement_untracked && fault.empty() &&
            complement_net_[p] != first_pin_of_type(inst, KW_OUTPUT)->net)
            fault = std::string("output complement of ") + text_or_null(inst->name) +
                    ": the kept output net is not the output's net";
        if (m.complementable && !m.complement_untracked && !complements_.dirty.test(p)) {
            Net* out = complement_net_[p];
            expect("output complement", inst, complement_[p],
                   trial(
                       [&] {
                           return Gain{r.net_count(out), r.net_load(out)};
                       },
                       [&] { negate_net(r, out); }));
            expect_bits("output complement", complements_, p, complement_[p]);
        }
    }
    if (group_flippable_) {
        Instance* g = instance_of(members_.front());
        expect("group flip", g, group_gain_,
               trial([&] { return whole_measure(r); },
                     [&] { flip_gates(r, g, &Instance::next_in_group); }));
    }
    r.quiet = quiet;
    muted_ = false;
    return fault;
}

}  // namespace vorp
