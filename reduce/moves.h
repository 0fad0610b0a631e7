// The polarity moves of the reduction: De Morgan flips of gates, groups and
// clusters, inversions moved across tristate buses, output complements, and
// the settling of nets (exclusive-or absorption, driver polarity choice).
// Every move is its own inverse; a trial that does not pay is undone by
// applying it again. The state lives in reduction_state.cpp, the flips in
// flips.cpp, settling in settling.cpp and clusters in clusters.cpp; flips
// and clusters settle, settling calls neither. These serve both paths; the
// moves over a whole group and the building of clusters are the literal
// path's (literal_reduction.h), which the fast path replaces by kept
// verdicts and cluster states (fast_reduction.h).
#pragma once

#include <functional>
#include <unordered_map>
#include <utility>

#include "db/design.h"
#include "reduce/reduction_path.h"
#include "reduce/termination.h"

namespace vorp {

struct KeptState;

// The clusters `build_clusters` made last, kept by the literal path in a
// table of its own so that the records carry no cluster links.
struct LiteralClusters {
    struct Links {
        Instance* cluster = nullptr;          // the leader
        Instance* next_cluster = nullptr;     // on a leader: the next leader
        Instance* next_in_cluster = nullptr;  // the next member of the cluster
    };
    Instance* leaders = nullptr;
    std::unordered_map<const Instance*, Links> links;

    Links& of(const Instance* m) { return links[m]; }
    // All null for an instance of no cluster.
    Links find(const Instance* m) const {
        const auto it = links.find(m);
        return it == links.end() ? Links{} : it->second;
    }
    Instance* cluster(const Instance* m) const { return find(m).cluster; }
    Instance* next_cluster(const Instance* m) const { return find(m).next_cluster; }
    Instance* next_in_cluster(const Instance* m) const { return find(m).next_in_cluster; }
};

// The run's state while reducing: the top module, the path that measures and
// walks, and the termination guard. Every polarity change goes through
// `set_pols`.
struct Reduction {
    Design& d;
    Module& top;
    Termination termination;
    ReductionPath& path;
    // What the path keeps up to date per polarity change, if it keeps
    // anything (told without a virtual call: there is one per node).
    KeptState* kept = nullptr;
    // A trial that is undone need not be logged: `quiet` suspends the kept
    // state's logs.
    bool quiet = false;
    LiteralClusters clusters = {};

    void set_pols(Node* n, int a, int b);

    using Measure = vorp::Measure;
    Measure measure(Mode mode) { return path.measure(*this, mode); }
    static bool accepts(Mode mode, const Measure& before, const Measure& after);
    int net_count(const Net* net) const { return path.net_count(*this, net); }
    int net_load(const Net* net) const { return path.net_load(*this, net); }
};

// Each member of group g, in chain order.
template <class F>
void for_each_member(Instance* g, F&& f) {
    for (Instance* m = g; m; m = m->next_in_group) f(m);
}

void negate_node(Reduction& r, Node* n);
void negate_net(Reduction& r, Net* net);

bool is_flippable(const Instance* inst);
void flip_instance(Reduction& r, Instance* inst);
bool try_flip_instance(Reduction& r, Instance* m, Mode mode);
// The first pin of an instance (ring order) of a pin type, and a tristate
// buffer's "in" pin; none when there is none.
Node* first_pin_of_type(const Instance* m, int pin_type);
Node* tristate_input(const Instance* buffer);
bool is_tristate_flippable(const Instance* m);
void flip_tristate(Reduction& r, Instance* m);
bool try_flip_tristate(Reduction& r, Instance* m, Mode mode);
bool try_complement_output(Reduction& r, Instance* m, Mode mode);

void settle_net(Reduction& r, Net* net);
void settle_instance_nets(Reduction& r, Instance* m);
// settle_net on every signal net whose driver belongs to group g (the path
// may pass over the ones that have not changed since they were settled).
void settle_group_nets(Reduction& r, Instance* g);
int net_balance(const Net* net);
void absorb_xor_inputs(Reduction& r, Net* net);
void push_net(Reduction& r, Net* net);

bool in_cluster_set(int cell, ClusterSet set);
// Gates that may lead a candidate cluster of the set.
bool leads_candidate(int cell, ClusterSet set);
// Any chain of instances from `leader`, each giving the next by `next` (a
// link member or a function).
template <class Next>
bool all_gates_flippable(Instance* leader, Next&& next) {
    for (Instance* m = leader; m; m = std::invoke(next, m))
        if (is_gate(m->cell()) && !is_flippable(m)) return false;
    return true;
}
// A chain whose gates are all flippable; its other members stay.
template <class Next>
void flip_gates(Reduction& r, Instance* leader, Next&& next) {
    for (Instance* m = leader; m; m = std::invoke(next, m))
        if (is_gate(m->cell())) flip_instance(r, m);
}
// The root of a union-find kept in `parent`, halving the path on the way.
Instance* root_of(Instance* m, Ref<Instance> Instance::*parent);

// Join two union-find roots of `build_groups` (parent in `group`, each
// root's chain tail in `next_group`) the way `merge_groups` joins leaders:
// a port-led root survives unless both are, otherwise `keep`; the other
// chain follows the survivor's tail. Returns the survivor.
inline Instance* join_roots(Instance* keep, Instance* gone) {
    if (gone->cell() == CELL_PORT && keep->cell() != CELL_PORT) std::swap(keep, gone);
    keep->next_group->next_in_group = gone;
    keep->next_group = gone->next_group;
    gone->group = keep;
    return keep;
}

bool cluster_step(Reduction& r, Instance* g, ClusterSet set, Mode mode);

}  // namespace vorp
