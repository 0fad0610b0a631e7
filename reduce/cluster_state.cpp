#include "reduce/cluster_state.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "db/lists.h"
#include "reduce/kept_state.h"
#include "reduce/moves.h"

namespace vorp {

namespace {

// Checked builds compare every cluster step of groups up to this size with a
// rebuild: the literal rebuild is quadratic, and the deep-structure tests
// reduce groups of many thousand gates. Tests that ask for the check get it
// on every group.
constexpr std::size_t kCheckedGroupMembers = 2000;
#if defined(VORP_CHECKS) || !defined(NDEBUG)
std::size_t check_members = kCheckedGroupMembers;
#else
std::size_t check_members = 0;
#endif
long checks_done = 0;
std::size_t big_net_nodes = 64;
bool split_searches = true;

// Beyond this share of the state's nodes changed, a rebuild costs no more.
constexpr std::size_t kRebuildShare = 4;

template <class T>
void grow_to(std::vector<T>& v, std::size_t size) {
    if (v.size() < size) v.resize(std::max(size, 2 * v.size()));
}

}  // namespace

void set_cluster_checks(bool on) {
    check_members = on ? SIZE_MAX : 0;
}

long cluster_checks_done() {
    return checks_done;
}

std::size_t set_big_net_nodes(std::size_t nodes) {
    return std::exchange(big_net_nodes, nodes);
}

bool set_split_searches(bool on) {
    return std::exchange(split_searches, on);
}

uint32_t ClusterState::member_of(uint32_t node) const {
    const uint32_t m = graph_->member_of(node);
    if (m < range_.first || m >= range_.end) return NONE;
    return local_[m - range_.first];
}

ClusterState::LocalNet* ClusterState::local_of(uint32_t net) {
    const uint32_t v = net_local_[net];
    return v ? &nets_[v - 1] : nullptr;
}

uint32_t ClusterState::find(uint32_t p) const {
    std::vector<uint32_t>& uf = scratch_->uf;
    while (uf[p] != p) {
        uf[p] = uf[uf[p]];
        p = uf[p];
    }
    return p;
}

std::vector<uint32_t> ClusterState::members_of(uint32_t root) const {
    std::vector<uint32_t> xs;
    const uint32_t head = head_[root];
    uint32_t x = head;
    do {
        xs.push_back(x);
        x = ring_[x];
    } while (x != head);
    return xs;
}

// The members reached from the net's driver by a straight consumer node.
template <class F>
void ClusterState::for_each_straight(const LocalNet& q, F&& f) const {
    const TopGraph& graph = *graph_;
    for (uint32_t n = graph.first_node(q.net); n < graph.end_node(q.net); ++n) {
        if (graph.pol_a(n) != 1) continue;
        const uint32_t c = member_of(n);
        if (c != NONE) f(c);
    }
}

void ClusterState::Scratch::fit(std::size_t count) {
    if (uf.size() >= count) return;
    uf.resize(count);
    piece.resize(count);
    seen.resize(count, 0);
    seen_group.resize(count, 0);
}

void ClusterState::release() {
    clear_indexes();
    valid_ = false;
    group_ = nullptr;
    release_vector(member_id_);
    release_vector(local_);
    release_vector(label_);
    release_vector(ring_);
    release_vector(prev_);
    release_vector(alive_);
    release_vector(head_);
    release_vector(free_);
    release_vector(gate_);
    release_vector(unflippable_);
    release_vector(size_);
    release_vector(bad_);
    release_vector(delta_);
    release_vector(leader_);
    release_vector(key_);
    release_vector(touched_);
    release_vector(touched_list_);
    release_vector(nets_);
    release_vector(shares_);
    release_vector(dirty_);
    release_vector(bigs_);
    release_vector(pending_);
    release_vector(log_);
    entries_ = {};
}

void ClusterState::clear_indexes() {
    for (const LocalNet& q : nets_) net_local_[q.net] = 0;
    for (const Logged& e : log_) logged_[e.node] = false;
    log_.clear();
    member_id_.clear();
    nets_.clear();
    shares_.clear();
    dirty_.clear();
    bigs_.clear();
    pending_.clear();
    entries_.clear();
    free_.clear();
    strict_.clear();
    tie_.clear();
    touched_list_.clear();
    nodes_ = 0;
}

void ClusterState::index_members(Instance* g) {
    range_ = graph_->members_of(g);
    local_.assign(range_.end - range_.first, NONE);
    gate_.clear();
    unflippable_.clear();
    std::size_t count = 0;
    for (uint32_t m = range_.first; m < range_.end; ++m)
        count += in_cluster_set(graph_->cell(m), set_);
    member_id_.reserve(count);
    gate_.reserve(count);
    unflippable_.reserve(count);
    for (uint32_t m = range_.first; m < range_.end; ++m) {
        const int cell = graph_->cell(m);
        if (!in_cluster_set(cell, set_)) continue;
        local_[m - range_.first] = static_cast<uint32_t>(member_id_.size());
        member_id_.push_back(m);
        gate_.push_back(is_gate(cell));
        unflippable_.push_back(gate_.back() && !graph_->flippable(m));
    }
}

// Calls f(p, n) on every pin n of every member p, in order. The pins lie on
// nets scattered over the whole module: the net of a pin a few steps ahead,
// and its local number, are fetched while the present one is worked on (and
// its net's tables when asked).
template <class F>
void ClusterState::for_each_pin(bool nets_too, F&& f) {
    constexpr std::size_t kNode = 16, kNet = 8, kLocal = 4;
    const TopGraph& graph = *graph_;
    const std::span<const uint32_t> pins = graph.rings(range_);
    const uint32_t base = graph.ring_start(range_.first);
    for (uint32_t p = 0; p < member_id_.size(); ++p) {
        const uint32_t m = member_id_[p];
        for (uint32_t k = graph.ring_start(m) - base; k < graph.ring_start(m + 1) - base; ++k) {
            if (k + kNode < pins.size()) graph.prefetch_node(pins[k + kNode]);
            if (k + kNet < pins.size())
                __builtin_prefetch(&net_local_[graph.net_of(pins[k + kNet])]);
            if (nets_too && k + kLocal < pins.size()) {
                const uint32_t net = graph.net_of(pins[k + kLocal]);
                graph.prefetch_net(net);
                if (net_local_[net]) __builtin_prefetch(&nets_[net_local_[net] - 1]);
            }
            f(p, pins[k]);
        }
    }
}

// Calls f on every local net in order; the tables of the nets a few steps
// ahead, then their nodes, are fetched while the present one is worked on.
template <class F>
void ClusterState::for_each_local_net(F&& f) {
    constexpr std::size_t kNet = 8, kNodes = 4;
    const TopGraph& graph = *graph_;
    for (std::size_t k = 0; k < nets_.size(); ++k) {
        if (k + kNet < nets_.size()) graph.prefetch_net(nets_[k + kNet].net);
        if (k + kNodes < nets_.size()) graph.prefetch_nodes(nets_[k + kNodes].net);
        f(nets_[k]);
    }
}

// Nets are numbered in the order the members' rings first meet them, then
// filled in a second walk, so that every table has its exact size.
void ClusterState::index_nets() {
    const TopGraph& graph = *graph_;
    grow_to(net_local_, graph.nets());
    uint32_t count = 0;
    for_each_pin(false, [&](uint32_t, uint32_t n) {
        if (uint32_t& v = net_local_[graph.net_of(n)]; !v) v = ++count;
    });
    nets_.resize(count);
    for_each_pin(true, [&](uint32_t p, uint32_t n) {
        const uint32_t net = graph.net_of(n);
        LocalNet* q = local_of(net);
        if (q->rule == LocalNet::UNSET) {
            q->net = net;
            q->rule = graph.rule(net);
            nodes_ += graph.node_count(net);
            if (graph.node_count(net) > std::min(big_net_nodes, Share::kMaxNodes))
                q->big = 0;  // numbered below
        }
        if (graph.plain_signal(net) && graph.source(net) == n) {
            q->edge = true;
            q->driver = p;
        }
        if (gate_[p]) {
            ++q->first;  // its capacity, until placed below
            // A net whose driver never needs an inverter gives nothing.
            if (graph.counted(net) && q->rule != DriverRule::NEVER) q->share = true;
        }
    });
    uint32_t first = 0;
    for (std::size_t k = 0; k < nets_.size(); ++k) {
        LocalNet& q = nets_[k];
        const uint32_t capacity = std::exchange(q.first, 0);
        if (q.big != NONE && q.share) {
            q.big = static_cast<uint32_t>(bigs_.size());
            bigs_.emplace_back();
            bigs_.back().local = static_cast<uint32_t>(k);
            continue;
        }
        q.big = NONE;
        q.first = first;
        if (q.share) first += capacity;  // only nets that share read their room
    }
    shares_.assign(first, {});
}

void ClusterState::build(Reduction& r, Instance* g) {
    clear_indexes();
    graph_ = &r.kept->tally.graph();
    index_members(g);
    index_nets();
    const std::size_t count = member_id_.size();
    label_.assign(count, 0);
    ring_.assign(count, 0);
    prev_.assign(count, 0);
    size_.assign(count, 0);
    bad_.assign(count, 0);
    delta_.assign(count, {});
    leader_.assign(count, NONE);
    key_.assign(count, NONE);
    alive_.assign(count, 0);
    head_.assign(count, 0);
    touched_.assign(count, 0);
    free_.reserve(count);
    scratch_->fit(count);
    for (uint32_t p = 0; p < count; ++p) scratch_->uf[p] = p;
    for_each_local_net([&](const LocalNet& q) {
        if (!q.edge) return;
        for_each_straight(q, [&](uint32_t c) {
            const uint32_t a = find(q.driver), b = find(c);
            if (a != b) scratch_->uf[b] = a;
        });
    });
    // Members by root, in order: a counting sort, placed in the scratch's
    // piece numbers; placing moves each root's start to its end.
    std::vector<uint32_t> end(count + 1, 0);
    std::vector<uint32_t>& by_root = scratch_->piece;
    for (uint32_t p = 0; p < count; ++p) ++end[find(p) + 1];
    for (uint32_t p = 0; p < count; ++p) end[p + 1] += end[p];
    for (uint32_t p = 0; p < count; ++p) by_root[end[find(p)]++] = p;
    for (uint32_t p = 0, start = 0; p < count; start = end[p++]) {
        if (start == end[p])
            free_.push_back(p);
        else
            make_root(p, {by_root.data() + start, end[p] - start});
    }
    for_each_local_net([&](LocalNet& q) {
        if (!q.share) return;
        if (q.big != NONE)
            recompute_big(q);
        else
            recompute(q);
    });
    pending_.clear();
    for (uint32_t root : touched_list_) refresh(root);
    touched_list_.clear();
    group_ = g;
    valid_ = true;
}

void ClusterState::make_root(uint32_t root, std::span<const uint32_t> members) {
    unkey(root);
    uint32_t bad = 0;
    for (std::size_t k = 0; k < members.size(); ++k) {
        label_[members[k]] = root;
        ring_[members[k]] = members[(k + 1) % members.size()];
        prev_[members[(k + 1) % members.size()]] = members[k];
        bad += unflippable_[members[k]];
    }
    alive_[root] = 1;
    head_[root] = members.front();
    size_[root] = static_cast<uint32_t>(members.size());
    bad_[root] = bad;
    delta_[root] = {};
    leader_[root] = NONE;
    touch(root);
}

uint32_t ClusterState::new_root() {
    const uint32_t root = free_.back();
    free_.pop_back();
    return root;
}

void ClusterState::touch(uint32_t root) {
    if (touched_[root]) return;
    touched_[root] = 1;
    touched_list_.push_back(root);
}

void ClusterState::unkey(uint32_t root) {
    if (key_[root] == NONE) return;
    strict_.erase(key_[root]);
    tie_.erase(key_[root]);
    key_[root] = NONE;
}

// What flipping each cluster with a gate on the net would change there: a
// node ends negated once per non-input pin of a flipped gate on the net, and
// once more when it is an input of a flipped gate.
void ClusterState::recompute(LocalNet& q) {
    int straight = 0, inverted = 0;
    // The net has few nodes (more make it a big net), so its clusters are
    // found by a walk of the few met so far.
    std::vector<Acc>& roots = scratch_->acc;
    roots.clear();
    const TopGraph& graph = *graph_;
    for (uint32_t n = graph.first_node(q.net); n < graph.end_node(q.net); ++n) {
        const bool consumer = graph.consumer(n);
        const int pol = graph.pol_a(n);
        if (consumer) {
            straight += pol == 1;
            inverted += pol == -1;
        }
        const uint32_t p = member_of(n);
        if (p == NONE || !gate_[p]) continue;
        const uint32_t root = label_[p];
        auto at =
            std::find_if(roots.begin(), roots.end(), [&](const Acc& a) { return a.root == root; });
        if (at == roots.end()) at = roots.insert(at, Acc{root, p});
        Acc& a = *at;
        if (!graph.input(n)) {
            a.odd = !a.odd;
        } else if (consumer) {
            a.straight += pol == 1;
            a.inverted += pol == -1;
        }
    }
    const int count = rule_inverters(q.rule, straight, inverted);
    const int load = rule_inverted_load(q.rule, straight, inverted);
    q.shares = 0;
    for (const Acc& a : roots) {
        const uint32_t root = a.root;
        const int kept_s = straight - a.straight, kept_i = inverted - a.inverted;
        const int s = a.odd ? kept_i + a.straight : kept_s + a.inverted;
        const int i = a.odd ? kept_s + a.inverted : kept_i + a.straight;
        const int share_count = rule_inverters(q.rule, s, i) - count;
        const int share_load = rule_inverted_load(q.rule, s, i) - load;
        if (share_count == 0 && share_load == 0) continue;
        shares_[q.first + q.shares++] = Share::of(a.member, share_count, share_load);
        delta_[root].count += share_count;
        delta_[root].load += share_load;
        touch(root);
    }
    q.dirty = false;
}

void ClusterState::withdraw(LocalNet& q) {
    if (q.dirty) return;
    for (uint32_t k = 0; k < q.shares; ++k) {
        const Share& share = shares_[q.first + k];
        const uint32_t root = label_[share.member];
        delta_[root].count -= share.count();
        delta_[root].load -= share.load();
        touch(root);
    }
    q.shares = 0;
    q.dirty = true;
    dirty_.push_back(static_cast<uint32_t>(&q - nets_.data()));
}

// Calls f on every member of the cluster joined to member x by a present
// edge; returns the nodes walked.
template <class F>
std::size_t ClusterState::for_each_neighbour(uint32_t root, uint32_t x, F&& f) {
    std::size_t walked = 0;
    const TopGraph& graph = *graph_;
    for (const uint32_t n : graph.ring(member_id_[x])) {
        ++walked;
        const LocalNet* q = local_of(graph.net_of(n));
        if (!q || !q->edge) continue;
        if (graph.source(q->net) == n) {
            for_each_straight(*q, [&](uint32_t c) {
                if (label_[c] == root) f(c);
            });
            walked += graph.node_count(q->net);
        } else if (graph.pol_a(n) == 1 && label_[q->driver] == root) {
            f(q->driver);
        }
    }
    return walked;
}

// The pieces of the cluster that do not hold the rest, found by searching
// from the ends of its lost edges in lockstep: every piece holds such an
// end, so once all searches but one have run out, the others have found
// whole pieces. Searches that meet join one group, and each round takes one
// step per open group, not per search: a group that has met many others
// would otherwise outrun the few still alone, which are the ones that
// decide the end. False when the searches walk more than a fraction of the
// cluster.
bool ClusterState::small_pieces(uint32_t root, const std::vector<uint32_t>& ends,
                                std::vector<std::vector<uint32_t>>& small) {
    struct Search {
        std::vector<uint32_t> found;
        std::size_t next = 0;
    };
    std::vector<Search> searches;
    std::vector<uint32_t> group;  // union-find over searches
    ++scratch_->stamp;
    for (uint32_t x : ends) {
        if (scratch_->seen[x] == scratch_->stamp) continue;
        scratch_->seen[x] = scratch_->stamp;
        scratch_->piece[x] = static_cast<uint32_t>(searches.size());
        group.push_back(static_cast<uint32_t>(searches.size()));
        searches.push_back({{x}, 0});
    }
    auto top = [&](uint32_t s) {
        while (group[s] != s) s = group[s] = group[group[s]];
        return s;
    };
    // The pass that takes over walks every member's pins, several nodes
    // each: searches that have walked one node per member cost no more.
    const std::size_t budget = size_[root] + 64;
    std::size_t walked = 0;
    std::size_t groups = searches.size();
    // The searches not yet run out, in order: a search that has run out
    // finds nothing more, so each round costs what it walks.
    std::vector<uint32_t> open_searches(searches.size());
    for (uint32_t s = 0; s < searches.size(); ++s) open_searches[s] = s;
    for (;;) {
        if (groups == 1) return true;
        std::erase_if(open_searches,
                      [&](uint32_t s) { return searches[s].next == searches[s].found.size(); });
        std::size_t open = 0;
        for (uint32_t s : open_searches) scratch_->seen_group[top(s)] = 0;
        for (uint32_t s : open_searches) {
            if (scratch_->seen_group[top(s)]) continue;
            scratch_->seen_group[top(s)] = 1;
            ++open;
        }
        if (open <= 1) break;
        for (uint32_t s : open_searches) {
            Search& at = searches[s];
            // Marked 1 above while open and not yet stepped this round.
            if (at.next == at.found.size() || scratch_->seen_group[top(s)] != 1) continue;
            scratch_->seen_group[top(s)] = 2;
            const uint32_t x = at.found[at.next++];
            walked += for_each_neighbour(root, x, [&](uint32_t y) {
                if (scratch_->seen[y] != scratch_->stamp) {
                    scratch_->seen[y] = scratch_->stamp;
                    scratch_->piece[y] = s;
                    searches[s].found.push_back(y);
                } else if (top(scratch_->piece[y]) != top(s)) {
                    group[top(scratch_->piece[y])] = top(s);
                    --groups;
                }
            });
        }
        if (walked > budget) return false;
    }
    // Whole pieces: the groups whose searches have all run out; when none
    // is open, the largest of them stays.
    std::vector<std::vector<uint32_t>> pieces(searches.size());
    std::vector<uint8_t> open(searches.size(), 0);
    for (uint32_t s = 0; s < searches.size(); ++s) {
        if (searches[s].next < searches[s].found.size()) open[top(s)] = 1;
        auto& piece = pieces[top(s)];
        piece.insert(piece.end(), searches[s].found.begin(), searches[s].found.end());
    }
    std::size_t largest = 0;
    for (std::size_t s = 0; s < pieces.size(); ++s)
        if (pieces[s].size() > pieces[largest].size()) largest = s;
    const bool any_open = std::find(open.begin(), open.end(), 1) != open.end();
    for (std::size_t s = 0; s < pieces.size(); ++s) {
        if (pieces[s].empty() || open[s] || (!any_open && s == largest)) continue;
        small.push_back(std::move(pieces[s]));
    }
    return true;
}

// The same pieces by one pass over the whole cluster.
void ClusterState::all_pieces(uint32_t root, std::vector<std::vector<uint32_t>>& small) {
    const std::vector<uint32_t> xs = members_of(root);
    for (uint32_t x : xs) scratch_->uf[x] = x;
    for (uint32_t x : xs)
        for (const uint32_t n : graph_->ring(member_id_[x])) {
            const LocalNet* q = local_of(graph_->net_of(n));
            if (!q || !q->edge || graph_->source(q->net) != n) continue;
            for_each_straight(*q, [&](uint32_t c) {
                if (label_[c] != root) return;
                const uint32_t a = find(x), b = find(c);
                if (a != b) scratch_->uf[b] = a;
            });
        }
    std::vector<std::vector<uint32_t>> pieces;
    for (uint32_t x : xs) {
        if (find(x) != x) continue;
        scratch_->piece[x] = static_cast<uint32_t>(pieces.size());
        pieces.emplace_back();
    }
    for (uint32_t x : xs) pieces[scratch_->piece[find(x)]].push_back(x);
    std::size_t big = 0;
    for (std::size_t k = 1; k < pieces.size(); ++k)
        if (pieces[k].size() > pieces[big].size()) big = k;
    for (std::size_t k = 0; k < pieces.size(); ++k)
        if (k != big) small.push_back(std::move(pieces[k]));
}

// The cluster lost edges (pairs of members in `ends`): it keeps its root
// and the shares of the nets no other piece touches; the pins of the other
// pieces move to their own roots. All the lost edges are searched at once
// from all their ends: after a group step a giant cluster loses thousands
// of edges, nearly all inside cycles, and one search per edge walks far
// around each cycle before its two ends meet again, while searches started
// together meet each other within a few steps. Searches that exceed their
// budget give way to one pass over the whole cluster.
void ClusterState::split(uint32_t root, const std::vector<uint32_t>& ends) {
    leader_[root] = NONE;
    touch(root);
    std::vector<uint32_t> from;
    for (uint32_t x : ends)
        if (label_[x] == root) from.push_back(x);
    std::vector<std::vector<uint32_t>> small;
    if (!split_searches || !small_pieces(root, from, small)) {
        small.clear();
        all_pieces(root, small);
    }
    detach(root, small);
}

void ClusterState::detach(uint32_t root, const std::vector<std::vector<uint32_t>>& small) {
    if (small.empty()) return;
    unkey(root);
    for (const std::vector<uint32_t>& piece : small) {
        const uint32_t piece_root = new_root();
        for (uint32_t x : piece) {
            if (head_[root] == x) head_[root] = ring_[x];
            ring_[prev_[x]] = ring_[x];
            prev_[ring_[x]] = prev_[x];
            bad_[root] -= unflippable_[x];
            if (!gate_[x]) continue;
            for (const uint32_t n : graph_->ring(member_id_[x])) {
                LocalNet* q = local_of(graph_->net_of(n));
                if (!q || !q->share) continue;
                if (q->big == NONE) {
                    withdraw(*q);
                    continue;
                }
                add_pin(q->big, root, n, -1);
                add_pin(q->big, piece_root, n, +1);
            }
        }
        size_[root] -= static_cast<uint32_t>(piece.size());
        make_root(piece_root, piece);
    }
}

// Join two clusters along a new edge, relabelling the smaller one; the
// shares of the nets of its gates are computed again.
void ClusterState::unite(uint32_t a, uint32_t b) {
    if (size_[a] < size_[b]) std::swap(a, b);
    const std::vector<uint32_t> xs = members_of(b);
    for (uint32_t x : xs) {
        if (!gate_[x]) continue;
        for (const uint32_t n : graph_->ring(member_id_[x])) {
            LocalNet* q = local_of(graph_->net_of(n));
            if (!q || !q->share) continue;
            if (q->big == NONE)
                withdraw(*q);
            else
                move_entry(q->big, b, a);
        }
    }
    unkey(a);
    unkey(b);
    delta_[a].count += delta_[b].count;
    delta_[a].load += delta_[b].load;
    for (uint32_t x : xs) label_[x] = a;
    const uint32_t ha = head_[a], hb = head_[b], na = ring_[ha], nb = ring_[hb];
    ring_[ha] = nb;
    prev_[nb] = ha;
    ring_[hb] = na;
    prev_[na] = hb;
    size_[a] += size_[b];
    bad_[a] += bad_[b];
    leader_[a] = NONE;
    alive_[b] = 0;
    free_.push_back(b);
    touch(a);
}

// Whether the cluster would be taken, and if so under which leader; the
// sets change only when the answer does.
void ClusterState::refresh(uint32_t root) {
    touched_[root] = 0;
    if (!alive_[root]) return;
    const Delta d = delta_[root];
    const bool strict = d.count < 0;
    const bool tie = strict || (d.count == 0 && d.load < 0);
    if (bad_[root] || !tie) {
        unkey(root);
        return;
    }
    if (leader_[root] == NONE) leader_[root] = replay(root);
    const uint32_t leader = leader_[root];
    if (!leads_candidate(graph_->cell(member_id_[leader]), set_)) {
        unkey(root);
        return;
    }
    if (key_[root] == leader && strict_.count(leader) == static_cast<std::size_t>(strict)) return;
    unkey(root);
    key_[root] = leader;
    tie_.insert(leader);
    if (strict) strict_.insert(leader);
}

// The merges of `build_clusters` restricted to the cluster's own edges, in
// net-list order: each merge keeps the driver's side.
uint32_t ClusterState::replay(uint32_t root) {
    const std::vector<uint32_t> xs = members_of(root);
    std::vector<const LocalNet*> driven;
    for (uint32_t x : xs) {
        scratch_->uf[x] = x;
        for (const uint32_t n : graph_->ring(member_id_[x])) {
            const LocalNet* q = local_of(graph_->net_of(n));
            if (q && q->edge && graph_->source(q->net) == n) driven.push_back(q);
        }
    }
    std::sort(driven.begin(), driven.end(),
              [](const LocalNet* a, const LocalNet* b) { return a->net < b->net; });
    for (const LocalNet* q : driven)
        for_each_straight(*q, [&](uint32_t c) {
            if (label_[c] != root) return;
            const uint32_t a = find(q->driver), b = find(c);
            if (a != b) scratch_->uf[b] = a;
        });
    return find(xs.front());
}

bool ClusterState::apply_log() {
    std::vector<Logged> changed;
    for (const Logged& e : log_) {
        logged_[e.node] = false;
        if (graph_->pol_a(e.node) != e.old_a) changed.push_back(e);
    }
    log_.clear();
    if (changed.size() * kRebuildShare > nodes_) return false;
    std::vector<std::array<uint32_t, 3>> lost;  // root and ends of a lost edge
    std::vector<std::pair<uint32_t, uint32_t>> added;
    for (const Logged& e : changed) {
        LocalNet* q = local_of(graph_->net_of(e.node));
        if (!q) continue;
        if (q->share && q->big == NONE) withdraw(*q);
        if (q->share && q->big != NONE) vote_changed(*q, e.node, e.old_a);
        const bool was = e.old_a == 1, is = graph_->pol_a(e.node) == 1;
        if (!q->edge || was == is) continue;
        const uint32_t c = member_of(e.node);
        if (c == NONE) continue;
        if (is)
            added.emplace_back(q->driver, c);
        else
            lost.push_back({label_[c], q->driver, c});
    }
    std::sort(lost.begin(), lost.end());
    std::vector<uint32_t> ends;
    for (std::size_t k = 0; k < lost.size(); ++k) {
        ends.insert(ends.end(), {lost[k][1], lost[k][2]});
        if (k + 1 < lost.size() && lost[k + 1][0] == lost[k][0]) continue;
        split(lost[k][0], ends);
        ends.clear();
    }
    for (const auto& [driver, c] : added) {
        const uint32_t a = label_[driver], b = label_[c];
        if (a == b) {
            leader_[a] = NONE;
            touch(a);
        } else {
            unite(a, b);
        }
    }
    for (uint32_t k : dirty_)
        if (nets_[k].dirty) recompute(nets_[k]);
    dirty_.clear();
    for (uint32_t k : pending_) settle_big(nets_[bigs_[k].local]);
    pending_.clear();
    for (uint32_t root : touched_list_) refresh(root);
    touched_list_.clear();
    return true;
}

void ClusterState::sync(Reduction& r, Instance* g) {
    if (!valid_ || group_ != g || !apply_log()) build(r, g);
}

// The accepted cluster with the latest leader in the chain is the first one
// the walk of the leader list would accept.
bool ClusterState::step(Reduction& r, Instance* g, Mode mode) {
    sync(r, g);
    if (check_members > 0 && member_id_.size() <= check_members) {
        check(r);
        ++checks_done;
    }
    const std::set<uint32_t>& taken = mode == Mode::STRICT ? strict_ : tie_;
    if (taken.empty()) return false;
    for (uint32_t x : members_of(label_[*taken.rbegin()])) {
        if (!gate_[x]) continue;
        Instance* m = graph_->member(member_id_[x]);
        flip_instance(r, m);
        m->toggle_dual();
    }
    return true;
}

}  // namespace vorp
