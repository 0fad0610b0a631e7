#include "reduce/moves.h"

#include <cstring>

#include "db/lists.h"
#include "reduce/counting.h"

namespace vorp {

namespace {

void settle_logged_nets(Reduction& r, Instance* g);

template <class F>
void for_each_member(Instance* g, F&& f) {
    for (Instance* m = g; m; m = m->next_in_group) f(m);
}

int local_count(const Reduction& r, Instance* m, int (Reduction::*measure)(const Net*) const) {
    int sum = 0;
    for_each_in_ring(m->node, [&](Node* n) { sum += (r.*measure)(n->net); });
    return sum;
}

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
    return (cell >= CELL_AND && cell <= CELL_NOR) || cell == CELL_AOI || cell == CELL_OAI;
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

void Reduction::index() {
    tally.start(d, top);
    group_nets.build(top);
    net_marks.assign(tally.nets(), 0);
}

void Reduction::set_pols(Node* n, int a, int b) {
    termination.polarity_changed(n, n->pol_a(), n->pol_b(), a, b);
    if (tally.started()) {
        tally.pol_a_changed(n, n->pol_a(), a);
        if (!quiet) clusters.pol_a_changed(n, n->pol_a(), a);
        if (!quiet && (a != n->pol_a() || b != n->pol_b()) && n->net) mark_changed(n->net);
    }
    verdicts.pol_a_changed(n, n->pol_a(), a);
    n->set_pols(a, b);
}

void Reduction::mark_changed(Net* net) {
    if (!net->work_id) return;
    uint8_t& marks = net_marks[net->work_id - 1];
    if (settle_log_on && !(marks & UNSETTLED)) {
        marks |= UNSETTLED;
        unsettled.push_back(net);
    }
}

void Reduction::start_settle_log() {
    if (!indexed()) return;
    for (Net* net : unsettled) net_marks[net->work_id - 1] &= ~UNSETTLED;
    unsettled.clear();
    settle_log_on = true;
}

Reduction::Measure Reduction::measure(Mode mode) {
    Measure m;
    if (tally.started()) {
        m.count = tally.count();
        if (mode == Mode::TIE_BREAK) m.load = tally.load();
        return m;
    }
    m.count = count_inverters(d, top);
    if (mode == Mode::TIE_BREAK) m.load = total_inverted_load(d, top);
    return m;
}

int Reduction::net_count(const Net* net) const {
    return tally.started() ? tally.net_inverters(d, net) : net_inverters(d, net);
}

int Reduction::net_load(const Net* net) const {
    return tally.started() ? tally.net_inverted_load(d, net) : net_inverted_load(d, net);
}

bool Reduction::accepts(Mode mode, const Measure& before, const Measure& after) {
    if (after.count < before.count) return true;
    return mode == Mode::TIE_BREAK && after.count == before.count && after.load < before.load;
}

void negate_node(Reduction& r, Node* n) {
    r.set_pols(n, -n->pol_a(), -n->pol_b());
}

void negate_net(Reduction& r, Net* net) {
    for (Node* n = net->nodes; n; n = n->next) negate_node(r, n);
}

bool is_flippable(const Instance* inst) {
    bool flippable = true;
    for_each_in_ring(inst->node, [&](const Node* n) {
        if (n->pin_type() != KW_INPUT && n->net && n->net->irreversible()) flippable = false;
    });
    return flippable;
}

void flip_instance(Reduction& r, Instance* inst) {
    for_each_in_ring(inst->node, [&](Node* n) {
        if (n->pin_type() == KW_INPUT)
            negate_node(r, n);
        else
            negate_net(r, n->net);
    });
}

// A whole-group flip applies when every gate of the group may be flipped;
// the kept verdicts answer for the group they cover.
bool try_flip_group(Reduction& r, Instance* g, Mode mode) {
    if (r.verdicts.covers(g)) return r.verdicts.try_flip_group(r, mode);
    if (!all_gates_flippable(g, &Instance::next_in_group)) return false;
    const auto before = r.measure(mode);
    flip_gates(r, g, &Instance::next_in_group);
    if (Reduction::accepts(mode, before, r.measure(mode))) return true;
    flip_gates(r, g, &Instance::next_in_group);
    return false;
}

// Each gate and tristate buffer of the group is tried alone, in chain order;
// the kept verdicts answer for the group they cover.
bool flip_instances(Reduction& r, Instance* g, Mode mode) {
    if (r.verdicts.covers(g)) return r.verdicts.flip_instances(r, mode);
    bool any = false;
    for_each_member(g, [&](Instance* m) {
        const int cell = m->cell();
        bool success = false;
        if (is_and_or(cell) || cell == CELL_AOI || cell == CELL_OAI) {
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

// A gate's dual flip applies when no non-input pin of it is on an
// irreversible net: the flip negates those nets whole.
bool try_flip_instance(Reduction& r, Instance* m, Mode mode) {
    if (!is_flippable(m)) return false;
    const int before = local_count(r, m, &Reduction::net_count);
    const int load_before = mode == Mode::TIE_BREAK ? local_count(r, m, &Reduction::net_load) : 0;
    flip_instance(r, m);
    const int after = local_count(r, m, &Reduction::net_count);
    if (before - after > 0) return true;
    if (mode == Mode::TIE_BREAK && before == after &&
        load_before - local_count(r, m, &Reduction::net_load) >= 1)
        return true;
    flip_instance(r, m);
    return false;
}

Node* first_pin_of_type(const Instance* m, int pin_type) {
    Node* found = nullptr;
    for_each_in_ring(m->node, [&](Node* n) {
        if (!found && n->pin_type() == pin_type) found = n;
    });
    return found;
}

Node* tristate_input(const Instance* buffer) {
    Node* in = nullptr;
    for_each_in_ring(buffer->node, [&](Node* p) {
        if (!in && p->pin && std::strcmp(p->pin, "in") == 0) in = p;
    });
    return in;
}

bool is_tristate_flippable(const Instance* m) {
    bool flippable = true;
    for_each_in_ring(m->node, [&](const Node* n) {
        if (n->pin_type() == KW_TRISTATE && n->net && n->net->irreversible()) flippable = false;
    });
    return flippable;
}

void flip_tristate(Reduction& r, Instance* m) {
    Node* bus_pin = first_pin_of_type(m, KW_TRISTATE);
    if (!bus_pin) return;
    for (Node* n = bus_pin->net->nodes; n; n = n->next) {
        if (n->inst->cell() == CELL_TS_BUF && n->pin_type() == KW_TRISTATE) {
            if (Node* in = tristate_input(n->inst)) negate_node(r, in);
        } else {
            negate_node(r, n);
        }
    }
}

// Moving an inversion across a tristate bus applies when the buffer's bus
// is not irreversible.
bool try_flip_tristate(Reduction& r, Instance* m, Mode mode) {
    if (!is_tristate_flippable(m)) return false;
    const auto before = r.measure(mode);
    flip_tristate(r, m);
    if (Reduction::accepts(mode, before, r.measure(mode))) return true;
    flip_tristate(r, m);
    return false;
}

// Each and/or gate of the group gets its output complemented alone, in
// chain order (with -a only); the kept verdicts answer for the group they
// cover.
bool complement_outputs(Reduction& r, Instance* g, Mode mode) {
    if (r.verdicts.covers(g)) return r.verdicts.complement_outputs(r, mode);
    bool any = false;
    for_each_member(g, [&](Instance* m) {
        if (!is_and_or(m->cell()) || !try_complement_output(r, m, mode)) return;
        m->toggle_complement();
        any = true;
    });
    return any;
}

// An output complement applies to a gate with an output pin whose net is
// not irreversible.
bool try_complement_output(Reduction& r, Instance* m, Mode mode) {
    Node* out = first_pin_of_type(m, KW_OUTPUT);
    if (!out) return false;
    Net* net = out->net;
    if (net->irreversible()) return false;
    const int c0 = r.net_count(net);
    const int l0 = mode == Mode::TIE_BREAK ? r.net_load(net) : 0;
    negate_net(r, net);
    const int c1 = r.net_count(net);
    if (c1 < c0) return true;
    if (mode == Mode::TIE_BREAK && c1 == c0 && r.net_load(net) < l0) return true;
    negate_net(r, net);
    return false;
}

int net_balance(const Net* net) {
    int balance = 0;
    for (const Node* n = net->nodes; n; n = n->next) {
        if (n->inst && is_xor(n->inst->cell())) continue;
        if (n->pol_a() == 1) ++balance;
        if (n->pol_a() == -1) --balance;
    }
    return balance;
}

void absorb_xor_inputs(Reduction& r, Net* net) {
    for (Node* n = net->nodes; n; n = n->next) {
        if (!n->inst || !is_xor(n->inst->cell()) || n->pol_a() != -1) continue;
        r.set_pols(n, 1, 1);
        n->inst->toggle_dual();
    }
}

void push_net(Reduction& r, Net* net) {
    for (Node* n = net->nodes; n; n = n->next) {
        if (n->inst && is_xor(n->inst->cell()) && n->pol_a() == 1)
            n->inst->toggle_dual();
        else
            negate_node(r, n);
    }
}

void settle_net(Reduction& r, Net* net) {
    Instance* driver = net->source ? net->source->inst : nullptr;
    const int cell = driver ? driver->cell() : 0;
    if (is_and_or(cell)) {
        if (r.d.opt_a && !net->irreversible() && net_balance(net) < 0) {
            driver->toggle_complement();
            push_net(r, net);
        } else {
            absorb_xor_inputs(r, net);
        }
    } else if (is_xor(cell)) {
        if (!net->irreversible() && net_balance(net) < 0) {
            driver->toggle_dual();
            push_net(r, net);
        } else {
            absorb_xor_inputs(r, net);
        }
    } else if (!is_register(cell)) {
        absorb_xor_inputs(r, net);
    }
}

void settle_instance_nets(Reduction& r, Instance* m) {
    for_each_in_ring(m->node, [&](Node* n) { settle_net(r, n->net); });
}

void settle_group_nets(Reduction& r, Instance* g) {
    if (r.settle_log_on) {
        settle_logged_nets(r, g);
        return;
    }
    if (r.group_nets.built()) {
        for (Net* net : r.group_nets.of(g)) settle_net(r, net);
        return;
    }
    for (Net* net = r.top.nets; net; net = net->next)
        if (is_signal_net(net) && net->source && net->source->inst && net->source->inst->group == g)
            settle_net(r, net);
}

namespace {

// Settling is idempotent and touches nothing but the net's own nodes (and
// toggles of flags that no decision reads), so a net that has not changed
// since it was last settled would not change now, and nets may be settled in
// any order.
void settle_logged_nets(Reduction& r, Instance* g) {
    std::vector<Net*> logged;
    logged.swap(r.unsettled);
    for (Net* net : logged) {
        uint8_t& marks = r.net_marks[net->work_id - 1];
        if (!(marks & Reduction::UNSETTLED)) continue;
        const Instance* driver = net->source ? net->source->inst : nullptr;
        if (!is_signal_net(net) || !driver || !driver->group) {
            marks &= ~Reduction::UNSETTLED;  // no group ever settles it
        } else if (driver->group == g) {
            settle_net(r, net);
            marks &= ~Reduction::UNSETTLED;
        } else {
            r.unsettled.push_back(net);
        }
    }
}

}  // namespace

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
