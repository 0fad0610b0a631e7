#include "reduce/literal_reduction.h"

#include "db/lists.h"
#include "reduce/counting.h"
#include "reduce/reduction.h"

namespace vorp {

namespace {

template <class Next>
void toggle_gate_duals(Instance* leader, Next&& next) {
    for (Instance* m = leader; m; m = std::invoke(next, m))
        if (is_gate(m->cell())) m->toggle_dual();
}

// The members of a cluster after `m`, from the table `build_clusters` filled.
auto cluster_chain(const Reduction& r) {
    return [&r](const Instance* m) { return r.clusters.next_in_cluster(m); };
}

}  // namespace

void LiteralReduction::build_groups(Module& top) {
    build_groups_literal(top);
}

Measure LiteralReduction::measure(Reduction& r, Mode mode) {
    Measure m;
    m.count = count_inverters(r.d, r.top);
    if (mode == Mode::TIE_BREAK) m.load = total_inverted_load(r.d, r.top);
    return m;
}

int LiteralReduction::net_count(const Reduction& r, const Net* net) const {
    return net_inverters(r.d, net);
}

int LiteralReduction::net_load(const Reduction& r, const Net* net) const {
    return net_inverted_load(r.d, net);
}

void LiteralReduction::settle_group_nets(Reduction& r, Instance* g) {
    for (Net* net = r.top.nets; net; net = net->next)
        if (is_signal_net(net) && net->source && net->source->inst && net->source->inst->group == g)
            settle_net(r, net);
}

bool LiteralReduction::take_cluster(Reduction& r, Instance* g, ClusterSet set, Mode mode) {
    build_clusters(r, g, set);
    Instance* leader = find_cluster(r, set, mode);
    if (!leader) return false;
    toggle_gate_duals(leader, cluster_chain(r));
    return true;
}

bool LiteralReduction::try_flip_group(Reduction& r, Instance* g, Mode mode) {
    return vorp::try_flip_group(r, g, mode);
}

bool LiteralReduction::flip_instances(Reduction& r, Instance* g, Mode mode) {
    return vorp::flip_instances(r, g, mode);
}

bool LiteralReduction::complement_outputs(Reduction& r, Instance* g, Mode mode) {
    return vorp::complement_outputs(r, g, mode);
}

// Any two instances of groups built by `make_groups`.
Instance* merge_groups(Module& top, Instance* a, Instance* b) {
    Instance* keep = a;
    Instance* gone = b;
    if (gone->group->cell() == CELL_PORT && keep->group->cell() != CELL_PORT) std::swap(keep, gone);
    Instance* leader = keep->group;
    Instance* gone_leader = gone->group;
    unlink_from<Instance, &Instance::next_group>(top.groups, gone_leader);
    Instance* last = keep;
    while (last->next_in_group) last = last->next_in_group;
    last->next_in_group = gone_leader;
    for (Instance* m = gone_leader; m; m = m->next_in_group) m->group = leader;
    return leader;
}

// Any top module.
void build_groups_literal(Module& top) {
    make_groups(top);
    for (Net* net = top.nets; net; net = net->next) {
        if (!is_signal_net(net) || !net->source || !net->source->inst) continue;
        Instance* driver = net->source->inst;
        Instance* cur = driver->group;
        if (!cur) continue;
        for (Node* n = net->nodes; n; n = n->next) {
            if (n->pinned() || !n->inst || !n->inst->group) continue;
            if (n->inst->group != cur) cur = merge_groups(top, driver, n->inst);
        }
    }
}

// A whole-group flip applies when every gate of the group may be flipped.
bool try_flip_group(Reduction& r, Instance* g, Mode mode) {
    if (!all_gates_flippable(g, &Instance::next_in_group)) return false;
    const auto before = r.measure(mode);
    flip_gates(r, g, &Instance::next_in_group);
    if (Reduction::accepts(mode, before, r.measure(mode))) return true;
    flip_gates(r, g, &Instance::next_in_group);
    return false;
}

// Any group: each gate and tristate buffer of it is tried alone, in chain
// order.
bool flip_instances(Reduction& r, Instance* g, Mode mode) {
    bool any = false;
    for_each_member(g, [&](Instance* m) {
        const int cell = m->cell();
        bool success = false;
        if (flips_alone(cell)) {
            success = try_flip_instance(r, m, mode);
            if (success) m->toggle_dual();
        } else if (cell == CELL_TS_BUF) {
            success = try_flip_tristate(r, m, mode);
        }
        if (!success) return;
        any = true;
        if (r.d.has_xor || r.d.opt_a) settle_instance_nets(r, m);
    });
    return any;
}

// Any group, with -a only: each and/or gate of it gets its output
// complemented alone, in chain order.
bool complement_outputs(Reduction& r, Instance* g, Mode mode) {
    bool any = false;
    for_each_member(g, [&](Instance* m) {
        if (!is_and_or(m->cell()) || !try_complement_output(r, m, mode)) return;
        m->toggle_complement();
        any = true;
    });
    return any;
}

// Any group: every member starts as a cluster of its own, then the
// straight consumers of each net its set's gates drive join the driver.
void build_clusters(Reduction& r, Instance* g, ClusterSet set) {
    LiteralClusters& c = r.clusters;
    c.leaders = nullptr;
    c.links.clear();
    for_each_member(g, [&](Instance* m) {
        c.of(m) = {m, c.leaders, nullptr};
        c.leaders = m;
    });
    for (Net* net = r.top.nets; net; net = net->next) {
        if (net->net_type() != NET_SIGNAL || !net->source || !net->source->inst) continue;
        Instance* driver = net->source->inst;
        if (driver->group != g || !in_cluster_set(driver->cell(), set)) continue;
        Instance* cur = c.cluster(driver);
        for (Node* n = net->nodes; n; n = n->next) {
            if (n->pol_a() != 1 || !n->inst || !in_cluster_set(n->inst->cell(), set)) continue;
            // Only pinned nodes lead outside the group, and they hold no
            // polarity; an instance without a cluster is passed over.
            Instance* other = c.cluster(n->inst);
            if (!other) continue;
            if (other != cur) cur = merge_clusters(r, driver, n->inst);
        }
    }
}

// Two members of clusters built by `build_clusters`.
Instance* merge_clusters(Reduction& r, Instance* a, Instance* b) {
    LiteralClusters& c = r.clusters;
    Instance* keep = a;
    Instance* gone = b;
    if (c.cluster(gone)->cell() == CELL_PORT && c.cluster(keep)->cell() != CELL_PORT)
        std::swap(keep, gone);
    Instance* leader = c.cluster(keep);
    Instance* gone_leader = c.cluster(gone);
    if (c.leaders == gone_leader) {
        c.leaders = c.next_cluster(gone_leader);
    } else {
        for (Instance* p = c.leaders; p; p = c.next_cluster(p)) {
            if (c.next_cluster(p) != gone_leader) continue;
            c.of(p).next_cluster = c.next_cluster(gone_leader);
            break;
        }
    }
    Instance* last = keep;
    while (c.next_in_cluster(last)) last = c.next_in_cluster(last);
    c.of(last).next_in_cluster = gone_leader;
    for (Instance* m = gone_leader; m; m = c.next_in_cluster(m)) c.of(m).cluster = leader;
    return leader;
}

// Clusters just built by `build_clusters`: the first candidate whose flip
// the mode accepts is left flipped.
Instance* find_cluster(Reduction& r, ClusterSet set, Mode mode) {
    const auto before = r.measure(mode);
    for (Instance* leader = r.clusters.leaders; leader; leader = r.clusters.next_cluster(leader)) {
        if (!leads_candidate(leader->cell(), set) || !all_gates_flippable(leader, cluster_chain(r)))
            continue;
        flip_gates(r, leader, cluster_chain(r));
        if (Reduction::accepts(mode, before, r.measure(mode))) return leader;
        flip_gates(r, leader, cluster_chain(r));
    }
    return nullptr;
}

}  // namespace vorp
