#include "reduce/cluster_index.h"

#include <algorithm>

#include "db/lists.h"
#include "reduce/counting.h"
#include "reduce/moves.h"

namespace vorp {

namespace {

// Beyond this share of the group's members, rebuilding costs no more.
constexpr std::size_t kRebuildShare = 4;

void reset_member(Instance* m) {
    m->cluster = m;
    m->next_cluster = m;  // the chain's tail while merging
    m->next_in_cluster = nullptr;
}

// The merges of `build_clusters` over the given nets (in list order), as a
// union-find over `cluster`; every member touched must have been reset.
void merge_along(ClusterSet set, const std::vector<Net*>& nets) {
    for (Net* net : nets) {
        Instance* driver = net->source->inst;
        Instance* cur = root_of(driver, &Instance::cluster);
        for (Node* n = net->nodes; n; n = n->next) {
            if (n->pol_a() != 1 || !n->inst || !in_cluster_set(n->inst->cell(), set)) continue;
            if (!n->inst->cluster) continue;
            Instance* other = root_of(n->inst, &Instance::cluster);
            if (other != cur) cur = join_roots<&Instance::next_in_cluster>(cur, other);
        }
    }
}

}  // namespace

// The clusters of group g as `build_clusters` makes them, with the group's
// own nets and a union-find over `cluster`: the same leaders, list and
// chains, without walking every net of the module or the chains on each
// merge.
void build_clusters_indexed(Reduction& r, Instance* g, ClusterSet set) {
    std::vector<Instance*>& members = r.scratch;
    members.clear();
    for (Instance* m = g; m; m = m->next_in_group) {
        members.push_back(m);
        reset_member(m);
    }
    std::vector<Net*> nets;
    for (Net* net : r.group_nets.of(g))
        if (net->net_type() == NET_SIGNAL && in_cluster_set(net->source->inst->cell(), set))
            nets.push_back(net);
    merge_along(set, nets);
    r.d.clusters = nullptr;
    for (Instance* m : members) {
        if (m->cluster != m) continue;
        m->next_cluster = r.d.clusters;
        r.d.clusters = m;
    }
    for (Instance* m : members) m->cluster = root_of(m, &Instance::cluster);
}

namespace {

bool follows(const Net* net, const Instance* g, ClusterSet set) {
    return net->net_type() == NET_SIGNAL && net->source && net->source->inst &&
           net->source->inst->group == g && in_cluster_set(net->source->inst->cell(), set);
}

void clear_log(Reduction& r) {
    for (Net* net : r.unclustered) r.net_marks[net->work_id - 1] &= ~Reduction::UNCLUSTERED;
    r.unclustered.clear();
}

// Whether every gate can flip is asked only when the walk reaches the
// cluster, which keeps the same candidates in the same order.
void enlist(ClusterIndex& x, Instance* leader, ClusterSet set) {
    if (leads_candidate(leader->cell(), set)) x.untried.insert(x.pos.at(leader));
}

void rebuild(Reduction& r, Instance* g, ClusterSet set) {
    ClusterIndex& x = r.cluster_index;
    if (x.group != g) {
        x.members.clear();
        x.pos.clear();
        for (Instance* m = g; m; m = m->next_in_group) {
            x.pos.emplace(m, static_cast<uint32_t>(x.members.size()));
            x.members.push_back(m);
        }
        x.taken.assign(x.members.size(), 0);
    }
    x.group = g;
    x.set = set;
    x.valid = true;
    x.untried.clear();
    x.tie_wins.clear();
    clear_log(r);
    build_clusters(r, g, set);
    for (Instance* m : x.members)
        if (m->cluster == m) enlist(x, m, set);
}

// Recompute the clusters that touch a logged net.
void update(Reduction& r, Instance* g, ClusterSet set) {
    ClusterIndex& x = r.cluster_index;
    std::vector<Instance*> leaders;
    std::vector<uint8_t>& taken = x.taken;
    for (Net* net : r.unclustered) {
        r.net_marks[net->work_id - 1] &= ~Reduction::UNCLUSTERED;
        for (Node* n = net->nodes; n; n = n->next) {
            Instance* m = n->inst;
            if (!m || m->group != g || !in_cluster_set(m->cell(), set)) continue;
            Instance* leader = m->cluster;
            const uint32_t p = x.pos.at(leader);
            if (taken[p]) continue;
            taken[p] = 1;
            leaders.push_back(leader);
        }
    }
    r.unclustered.clear();
    std::vector<Instance*> touched;
    for (Instance* leader : leaders) {
        const uint32_t p = x.pos.at(leader);
        taken[p] = 0;
        x.untried.erase(p);
        x.tie_wins.erase(p);
        for (Instance* m = leader; m; m = m->next_in_cluster) touched.push_back(m);
    }
    std::vector<Net*> nets;
    for (Instance* m : touched) {
        reset_member(m);
        for_each_in_ring(m->node, [&](Node* n) {
            if (n->net && n->net->source == n && follows(n->net, g, set)) nets.push_back(n->net);
        });
    }
    std::sort(nets.begin(), nets.end(),
              [](const Net* a, const Net* b) { return a->work_id < b->work_id; });
    nets.erase(std::unique(nets.begin(), nets.end()), nets.end());
    merge_along(set, nets);
    for (Instance* m : touched) m->cluster = root_of(m, &Instance::cluster);
    for (Instance* m : touched)
        if (m->cluster == m) enlist(x, m, set);
}

bool in_flip(const Instance* m, const Instance* leader) {
    return m && m->cluster == leader && is_gate(m->cell());
}

// What flipping the gates of the cluster would do to the count and the load,
// without flipping: a node ends negated once for every output of a flipped
// gate on its net, and once more when it is an input of a flipped gate.
Reduction::Measure flip_delta(Reduction& r, Instance* leader) {
    std::vector<Net*>& nets = r.cluster_index.nets;
    nets.clear();
    for (Instance* m = leader; m; m = m->next_in_cluster) {
        if (!is_gate(m->cell())) continue;
        for_each_in_ring(m->node, [&](Node* n) {
            Net* net = n->net;
            if (!net || !net->work_id) return;
            uint8_t& marks = r.net_marks[net->work_id - 1];
            if (marks & Reduction::VISITED) return;
            marks |= Reduction::VISITED;
            nets.push_back(net);
        });
    }
    Reduction::Measure delta;
    for (Net* net : nets) {
        r.net_marks[net->work_id - 1] &= ~Reduction::VISITED;
        bool whole = false;
        for (const Node* n = net->nodes; n; n = n->next)
            if (in_flip(n->inst, leader) && n->pin_type() != KW_INPUT) whole = !whole;
        int straight = 0, inverted = 0;
        for (const Node* n = net->nodes; n; n = n->next) {
            if (!is_consumer(n)) continue;
            int pol = whole ? -n->pol_a() : n->pol_a();
            if (in_flip(n->inst, leader) && n->pin_type() == KW_INPUT) pol = -pol;
            straight += pol == 1;
            inverted += pol == -1;
        }
        const Reduction::Measure before = r.tally.net_measure<Reduction::Measure>(net);
        const Reduction::Measure after =
            r.tally.net_measure<Reduction::Measure>(net, straight, inverted);
        delta.count += after.count - before.count;
        delta.load += after.load - before.load;
    }
    return delta;
}

}  // namespace

void sync_clusters(Reduction& r, Instance* g, ClusterSet set) {
    ClusterIndex& x = r.cluster_index;
    if (!x.valid || x.group != g || x.set != set ||
        r.unclustered.size() * kRebuildShare > x.members.size())
        rebuild(r, g, set);
    else if (!r.unclustered.empty())
        update(r, g, set);
}

Instance* find_indexed_cluster(Reduction& r, ClusterSet, Mode mode) {
    ClusterIndex& x = r.cluster_index;
    const Reduction::Measure before{r.tally.count(), r.tally.load()};
    for (;;) {
        const bool tie = mode == Mode::TIE_BREAK && !x.tie_wins.empty();
        if (x.untried.empty() && !tie) return nullptr;
        if (tie && (x.untried.empty() || *x.tie_wins.begin() > *x.untried.begin())) {
            Instance* leader = x.members[*x.tie_wins.begin()];
            x.tie_wins.erase(x.tie_wins.begin());
            flip_gates(r, leader, &Instance::next_in_cluster);
            return leader;
        }
        const uint32_t p = *x.untried.begin();
        x.untried.erase(x.untried.begin());
        Instance* leader = x.members[p];
        if (!all_gates_flippable(leader, &Instance::next_in_cluster)) continue;
        const Reduction::Measure delta = flip_delta(r, leader);
        const Reduction::Measure after{before.count + delta.count, before.load + delta.load};
        if (Reduction::accepts(mode, before, after)) {
            flip_gates(r, leader, &Instance::next_in_cluster);
            return leader;
        }
        if (after.count == before.count && after.load < before.load) x.tie_wins.insert(p);
    }
}

}  // namespace vorp
