// Shares on nets of many nodes, kept per cluster with the cluster's own pins
// there, so that a change costs what it touches instead of the whole net.
#include <algorithm>
#include <cstdlib>

#include "reduce/cluster_state.h"

namespace vorp {

ClusterState::Entry* ClusterState::entry(uint32_t big, uint32_t root) {
    const auto it = entries_.find(entry_key(big, root));
    return it == entries_.end() ? nullptr : &it->second;
}

ClusterState::Entry& ClusterState::entry_at(uint32_t big, uint32_t root) {
    const auto [it, added] = entries_.try_emplace(entry_key(big, root));
    if (added) bigs_[big].roots.push_back(root);
    return it->second;
}

// How far the votes must stay from an even cluster's own pins for its share
// not to depend on them (see `clear_of_entries`).
int ClusterState::level_of(const LocalNet& q, const Entry& e) {
    if (q.rule == DriverRule::ONE_POLARITY) return std::max(e.inverted - e.straight, 0);
    return std::abs(e.straight - e.inverted);
}

void ClusterState::unhold(uint32_t big, Entry& e, uint32_t root) {
    if (!e.held) return;
    e.held = false;
    if (!e.odd) {
        std::multiset<int>& levels = bigs_[big].levels;
        levels.erase(levels.find(e.level));
    }
    if (!e.count && !e.load) return;
    delta_[root].count -= e.count;
    delta_[root].load -= e.load;
    touch(root);
}

// The share of a flip of the cluster under the given votes of the net: its
// own inputs are negated; every other node too when its pins there other
// than inputs are odd in number.
void ClusterState::hold(const LocalNet& q, Entry& e, uint32_t root, int straight, int inverted) {
    const int kept_s = straight - e.straight, kept_i = inverted - e.inverted;
    const int s = e.odd ? kept_i + e.straight : kept_s + e.inverted;
    const int i = e.odd ? kept_s + e.inverted : kept_i + e.straight;
    e.count = rule_inverters(q.rule, s, i) - rule_inverters(q.rule, straight, inverted);
    e.load = rule_inverted_load(q.rule, s, i) - rule_inverted_load(q.rule, straight, inverted);
    e.held = true;
    if (!e.odd) {
        e.level = level_of(q, e);
        bigs_[q.big].levels.insert(e.level);
    }
    if (!e.count && !e.load) return;
    delta_[root].count += e.count;
    delta_[root].load += e.load;
    touch(root);
}

void ClusterState::redo(uint32_t big, uint32_t root) {
    BigNet& b = bigs_[big];
    b.redo.push_back(root);
    if (b.pending) return;
    b.pending = true;
    pending_.push_back(big);
}

void ClusterState::add_pin(uint32_t big, uint32_t root, uint32_t n, int sign) {
    Entry& e = entry_at(big, root);
    unhold(big, e, root);
    if (!graph_->input(n)) {
        e.odd = !e.odd;
    } else if (graph_->consumer(n)) {
        e.straight += sign * (graph_->pol_a(n) == 1);
        e.inverted += sign * (graph_->pol_a(n) == -1);
    }
    redo(big, root);
}

void ClusterState::vote_changed(const LocalNet& q, uint32_t n, int old_a) {
    BigNet& b = bigs_[q.big];
    if (!b.pending) {
        b.pending = true;
        pending_.push_back(q.big);
    }
    if (!graph_->consumer(n)) return;
    const int new_a = graph_->pol_a(n);
    b.cur_s += (new_a == 1) - (old_a == 1);
    b.cur_i += (new_a == -1) - (old_a == -1);
    const uint32_t p = member_of(n);
    if (p == NONE || !gate_[p] || !graph_->input(n)) return;
    const uint32_t root = label_[p];
    Entry* e = entry(q.big, root);
    unhold(q.big, *e, root);
    e->straight += (new_a == 1) - (old_a == 1);
    e->inverted += (new_a == -1) - (old_a == -1);
    redo(q.big, root);
}

// The pins of cluster `from` on the net join those of cluster `to`.
void ClusterState::move_entry(uint32_t big, uint32_t from, uint32_t to) {
    Entry* gone = entry(big, from);
    if (!gone) return;
    unhold(big, *gone, from);
    const Entry moved = *gone;
    entries_.erase(entry_key(big, from));
    Entry& e = entry_at(big, to);
    unhold(big, e, to);
    e.straight += moved.straight;
    e.inverted += moved.inverted;
    e.odd = e.odd != moved.odd;
    redo(big, to);
}

// Whether the votes are far enough from every even held cluster's own pins
// that no such share depends on them: the count share is 0 and the load
// share fixed by the cluster's pins alone. One polarity: the inverted votes
// stay inverted after the flip (inverted > i_K - s_K). Either polarity: both
// votes stay positive and their difference keeps its sign
// (min > |s_K - i_K|, |s - i| > 2 |s_K - i_K|).
bool ClusterState::clear_of_entries(const LocalNet& q, int straight, int inverted) const {
    const std::multiset<int>& levels = bigs_[q.big].levels;
    const int bound = levels.empty() ? -1 : *levels.rbegin();
    if (q.rule == DriverRule::ONE_POLARITY) return inverted > bound;
    return std::min(straight, inverted) > bound && std::abs(straight - inverted) > 2 * bound;
}

void ClusterState::settle_big(const LocalNet& q) {
    BigNet& b = bigs_[q.big];
    b.pending = false;
    const bool moved = b.cur_s != b.base_s || b.cur_i != b.base_i;
    const bool same_side =
        q.rule == DriverRule::ONE_POLARITY || (b.base_s > b.base_i) == (b.cur_s > b.cur_i);
    const bool whole = moved && !(same_side && clear_of_entries(q, b.base_s, b.base_i) &&
                                  clear_of_entries(q, b.cur_s, b.cur_i));
    b.base_s = b.cur_s;
    b.base_i = b.cur_i;
    if (whole) {
        for (uint32_t root : b.roots)
            if (Entry* e = entry(q.big, root)) unhold(q.big, *e, root);
        b.redo.swap(b.roots);
        b.roots.clear();
        b.odd.clear();
    } else if (moved) {
        for (uint32_t root : b.odd)
            if (Entry* e = entry(q.big, root); e && e->odd) {
                unhold(q.big, *e, root);
                b.redo.push_back(root);
            }
        b.odd.clear();
    }
    for (uint32_t root : b.redo) {
        Entry* e = entry(q.big, root);
        if (!e || e->held) continue;
        hold(q, *e, root, b.cur_s, b.cur_i);
        if (whole) b.roots.push_back(root);
        if (e->odd) b.odd.push_back(root);
    }
    b.redo.clear();
}

// Every share of the net from its nodes.
void ClusterState::recompute_big(const LocalNet& q) {
    BigNet& b = bigs_[q.big];
    for (uint32_t root : b.roots) {
        if (Entry* e = entry(q.big, root)) unhold(q.big, *e, root);
        entries_.erase(entry_key(q.big, root));
    }
    b.roots.clear();
    b.odd.clear();
    b.redo.clear();
    int straight = 0, inverted = 0;
    for (uint32_t n = graph_->first_node(q.net); n < graph_->end_node(q.net); ++n) {
        if (graph_->consumer(n)) {
            straight += graph_->pol_a(n) == 1;
            inverted += graph_->pol_a(n) == -1;
        }
        const uint32_t p = member_of(n);
        if (p != NONE && gate_[p]) add_pin(q.big, label_[p], n, +1);
    }
    b.cur_s = b.base_s = straight;
    b.cur_i = b.base_i = inverted;
    b.pending = false;
    b.redo.clear();
    for (uint32_t root : b.roots) {
        Entry& e = *entry(q.big, root);
        hold(q, e, root, straight, inverted);
        if (e.odd) b.odd.push_back(root);
    }
}

}  // namespace vorp
