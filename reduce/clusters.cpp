// Clusters of gates joined by straight nets, flipped as one: the literal
// construction and the step that takes the first accepted cluster.

#include "reduce/moves.h"

namespace vorp {

namespace {

void toggle_gate_duals(Instance* leader, Instance* Instance::*next) {
    for (Instance* m = leader; m; m = m->*next)
        if (is_gate(m->cell())) m->toggle_dual();
}

}  // namespace

bool in_cluster_set(int cell, ClusterSet set) {
    if (set == ClusterSet::ALL) return cell >= CELL_NINV && cell <= CELL_OAI;
    return (cell >= CELL_NINV && cell <= CELL_NOR) || cell == CELL_AOI || cell == CELL_OAI;
}

bool leads_candidate(int cell, ClusterSet set) {
    if (set == ClusterSet::ALL) return is_gate(cell);
    return flips_alone(cell);
}

bool all_gates_flippable(Instance* leader, Instance* Instance::*next) {
    for (Instance* m = leader; m; m = m->*next)
        if (is_gate(m->cell()) && !is_flippable(m)) return false;
    return true;
}

void flip_gates(Reduction& r, Instance* leader, Instance* Instance::*next) {
    for (Instance* m = leader; m; m = m->*next)
        if (is_gate(m->cell())) flip_instance(r, m);
}

Instance* root_of(Instance* m, Instance* Instance::*parent) {
    while (m->*parent != m) {
        m->*parent = (m->*parent)->*parent;
        m = m->*parent;
    }
    return m;
}

void build_clusters(Reduction& r, Instance* g, ClusterSet set) {
    r.d.clusters = nullptr;
    for_each_member(g, [&](Instance* m) {
        m->next_cluster = r.d.clusters;
        r.d.clusters = m;
        m->cluster = m;
        m->next_in_cluster = nullptr;
    });
    for (Net* net = r.top.nets; net; net = net->next) {
        if (net->net_type() != NET_SIGNAL || !net->source || !net->source->inst) continue;
        Instance* driver = net->source->inst;
        if (driver->group != g || !in_cluster_set(driver->cell(), set)) continue;
        Instance* cur = driver->cluster;
        for (Node* n = net->nodes; n; n = n->next) {
            if (n->pol_a() != 1 || !n->inst || !in_cluster_set(n->inst->cell(), set)) continue;
            // Only pinned nodes lead outside the group, and they hold no
            // polarity; an instance without a cluster is passed over.
            if (!n->inst->cluster) continue;
            if (n->inst->cluster != cur) cur = merge_clusters(r, driver, n->inst);
        }
    }
}

Instance* merge_clusters(Reduction& r, Instance* a, Instance* b) {
    Instance* keep = a;
    Instance* gone = b;
    if (gone->cluster->cell() == CELL_PORT && keep->cluster->cell() != CELL_PORT)
        std::swap(keep, gone);
    Instance* leader = keep->cluster;
    Instance* gone_leader = gone->cluster;
    unlink_from<Instance, &Instance::next_cluster>(r.d.clusters, gone_leader);
    Instance* last = keep;
    while (last->next_in_cluster) last = last->next_in_cluster;
    last->next_in_cluster = gone_leader;
    for (Instance* m = gone_leader; m; m = m->next_in_cluster) m->cluster = leader;
    return leader;
}

Instance* find_cluster(Reduction& r, ClusterSet set, Mode mode) {
    const auto before = r.measure(mode);
    for (Instance* leader = r.d.clusters; leader; leader = leader->next_cluster) {
        if (!leads_candidate(leader->cell(), set) ||
            !all_gates_flippable(leader, &Instance::next_in_cluster))
            continue;
        flip_gates(r, leader, &Instance::next_in_cluster);
        if (Reduction::accepts(mode, before, r.measure(mode))) return leader;
        flip_gates(r, leader, &Instance::next_in_cluster);
    }
    return nullptr;
}

bool cluster_step(Reduction& r, Instance* g, ClusterSet set, Mode mode) {
    if (r.indexed()) {
        if (!r.clusters.of(set).step(r, g, mode)) return false;
    } else {
        build_clusters(r, g, set);
        Instance* leader = find_cluster(r, set, mode);
        if (!leader) return false;
        toggle_gate_duals(leader, &Instance::next_in_cluster);
    }
    if (set == ClusterSet::NO_XOR || r.d.has_xor || r.d.opt_a) settle_group_nets(r, g);
    return true;
}

}  // namespace vorp
