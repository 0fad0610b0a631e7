// The polarity moves of the reduction: De Morgan flips of gates, groups and
// clusters, inversions moved across tristate buses, output complements, and
// the settling of nets (exclusive-or absorption, driver polarity choice).
// Every move is its own inverse; a trial that does not pay is undone by
// applying it again. The state lives in reduction_state.cpp, the flips in
// flips.cpp, settling in settling.cpp and clusters in clusters.cpp; flips
// and clusters settle, settling calls neither.
#pragma once

#include <utility>
#include <vector>

#include "db/design.h"
#include "reduce/cluster_state.h"
#include "reduce/group_nets.h"
#include "reduce/tally.h"
#include "reduce/termination.h"
#include "reduce/verdicts.h"

namespace vorp {

// The run's state while reducing: the top module, the measures and the
// termination guard. Every polarity change goes through `set_pols`.
//
// Until `index` is called every measure is a full recount and every group
// walk goes over all nets of the top module, as the moves are defined; after
// it, the measures are kept up to date per polarity change and group walks
// go over the group's own nets. Both give the same values at every decision.
struct Reduction {
    Design& d;
    Module& top;
    Termination termination;
    Tally tally = {};
    GroupNets group_nets = {};
    ClusterStates clusters = {};
    GroupVerdicts verdicts = {};
    // Check the kept verdicts after every group step.
    bool check_state = false;
    std::vector<Instance*> scratch = {};

    // Nets whose polarities changed since they were last settled (indexed
    // mode only). A trial that is undone need not be logged: `quiet`
    // suspends this log and the cluster states' node logs.
    enum : uint8_t { UNSETTLED = 1 };
    std::vector<uint8_t> net_marks = {};
    std::vector<Net*> unsettled = {};
    bool settle_log_on = false;
    bool quiet = false;

    // Call after `build_groups`.
    void index();
    bool indexed() const { return tally.started(); }
    void set_pols(Node* n, int a, int b);
    void mark_changed(Net* net);
    // Every net settled: from now on only logged nets need settling.
    void start_settle_log();

    // Whole-design measure (the load only in tie-break mode).
    struct Measure {
        int count = 0;
        int load = 0;
    };
    Measure measure(Mode mode);
    static bool accepts(Mode mode, const Measure& before, const Measure& after);
    // One net's `net_inverters` and `net_inverted_load`.
    int net_count(const Net* net) const;
    int net_load(const Net* net) const;
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
bool try_flip_group(Reduction& r, Instance* g, Mode mode);
bool flip_instances(Reduction& r, Instance* g, Mode mode);
bool try_flip_instance(Reduction& r, Instance* m, Mode mode);
// The first pin of an instance (ring order) of a pin type, and a tristate
// buffer's "in" pin; none when there is none.
Node* first_pin_of_type(const Instance* m, int pin_type);
Node* tristate_input(const Instance* buffer);
bool is_tristate_flippable(const Instance* m);
void flip_tristate(Reduction& r, Instance* m);
bool try_flip_tristate(Reduction& r, Instance* m, Mode mode);
bool complement_outputs(Reduction& r, Instance* g, Mode mode);
bool try_complement_output(Reduction& r, Instance* m, Mode mode);

void settle_net(Reduction& r, Net* net);
void settle_instance_nets(Reduction& r, Instance* m);
// settle_net on every signal net whose driver belongs to group g.
void settle_group_nets(Reduction& r, Instance* g);
int net_balance(const Net* net);
void absorb_xor_inputs(Reduction& r, Net* net);
void push_net(Reduction& r, Net* net);

bool in_cluster_set(int cell, ClusterSet set);
// Gates that may lead a candidate cluster of the set.
bool leads_candidate(int cell, ClusterSet set);
bool all_gates_flippable(Instance* leader, Instance* Instance::*next);
void flip_gates(Reduction& r, Instance* leader, Instance* Instance::*next);
// The root of a union-find kept in `parent`, halving the path on the way.
Instance* root_of(Instance* m, Instance* Instance::*parent);

// Join two union-find roots (parent in `cluster`, each root's chain tail in
// `next_cluster`) the way `merge_groups` and `merge_clusters` join leaders:
// a port-led root survives unless both are, otherwise `keep`; the other
// chain follows the survivor's tail along `Next`. Returns the survivor.
template <Instance* Instance::*Next>
Instance* join_roots(Instance* keep, Instance* gone) {
    if (gone->cell() == CELL_PORT && keep->cell() != CELL_PORT) std::swap(keep, gone);
    keep->next_cluster->*Next = gone;
    keep->next_cluster = gone->next_cluster;
    gone->cluster = keep;
    return keep;
}

void build_clusters(Reduction& r, Instance* g, ClusterSet set);
Instance* merge_clusters(Reduction& r, Instance* a, Instance* b);
Instance* find_cluster(Reduction& r, ClusterSet set, Mode mode);
bool cluster_step(Reduction& r, Instance* g, ClusterSet set, Mode mode);

}  // namespace vorp
