// Clusters of gates joined by straight nets, flipped as one: the cell sets,
// the flips of a cluster's gates and the step that takes the first accepted
// cluster (which the path finds).

#include "reduce/moves.h"

namespace vorp {

// Any cell.
bool in_cluster_set(int cell, ClusterSet set) {
    if (set == ClusterSet::ALL) return cell >= CELL_NINV && cell <= CELL_OAI;
    return (cell >= CELL_NINV && cell <= CELL_NOR) || cell == CELL_AOI || cell == CELL_OAI;
}

// Any cell: a ninv- never leads a candidate.
bool leads_candidate(int cell, ClusterSet set) {
    if (set == ClusterSet::ALL) return is_gate(cell);
    return flips_alone(cell);
}

// Any member of a union-find whose roots point at themselves.
Instance* root_of(Instance* m, Ref<Instance> Instance::*parent) {
    while (m->*parent != m) {
        m->*parent = (m->*parent)->*parent;
        m = m->*parent;
    }
    return m;
}

// Any group: the path takes the cluster, the group's nets settle after it.
bool cluster_step(Reduction& r, Instance* g, ClusterSet set, Mode mode) {
    if (!r.path.take_cluster(r, g, set, mode)) return false;
    if (set == ClusterSet::NO_XOR || r.d.has_xor || r.d.opt_a) settle_group_nets(r, g);
    return true;
}

}  // namespace vorp
