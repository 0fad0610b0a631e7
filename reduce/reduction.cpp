#include "reduce/reduction.h"

#include <memory>
#include <ostream>
#include <vector>

#include "reduce/fast_reduction.h"
#include "reduce/literal_reduction.h"

namespace vorp {

namespace {

std::unique_ptr<ReductionPath> choose_path(const ReduceParams& params) {
    if (params.literal) return std::make_unique<LiteralReduction>();
    return std::make_unique<FastReduction>(params.check_state);
}

void make_group(Module& top, Instance* inst) {
    inst->next_group = top.groups;
    top.groups = inst;
    inst->group = inst;
    inst->next_in_group = nullptr;
}

void toggle_group_duals(Instance* g) {
    for (Instance* m = g; m; m = m->next_in_group)
        if (is_gate(m->cell())) m->toggle_dual();
}

// One sweep: the cluster loops and the group loop, each call guarded by the
// termination checkpoint. True when anything changed.
bool sweep(Reduction& r, Instance* g, Mode mode) {
    bool changed = false;
    while (r.termination.checkpoint(CallSite::CLUSTER_ALL, mode, changed) &&
           cluster_step(r, g, ClusterSet::ALL, mode))
        changed = true;
    if (r.termination.stopped()) return changed;
    if (r.d.has_xor) {
        while (r.termination.checkpoint(CallSite::CLUSTER_NO_XOR, mode, changed) &&
               cluster_step(r, g, ClusterSet::NO_XOR, mode))
            changed = true;
        if (r.termination.stopped()) return changed;
    }
    while (r.termination.checkpoint(CallSite::GROUP, mode, changed) && group_step(r, g, mode))
        changed = true;
    return changed;
}

// The first node with a bidirectional pin seen inverted on an irreversible net.
bool has_twisted_irreversible_net(const Module& top) {
    for (const Net* net = top.nets; net; net = net->next) {
        if (!net->irreversible()) continue;
        for (const Node* n = net->nodes; n; n = n->next)
            if ((n->pin_type() == KW_BIDIRECT || n->pin_type() == KW_BIDIRECT_CONNECTED) &&
                n->pol_b() == -1)
                return true;
    }
    return false;
}

}  // namespace

void make_groups(Module& top) {
    top.groups = nullptr;
    for (Instance* p = top.ports; p; p = p->next)
        if (p->cell() == CELL_PORT && p->kept()) make_group(top, p);
    for (Module* m = top.next; m; m = m->next)
        if (m->kind() == MOD_NLD)
            for (Instance* p = m->ports; p; p = p->next)
                if (p->pin_type() == KW_GLOBAL) make_group(top, p);
    for (Instance* i = top.insts; i; i = i->next)
        if (i->cell() != CELL_INV) make_group(top, i);
}

void build_groups(Module& top) {
    make_groups(top);
    // Union-find over `group` (each member starts as its own root), each
    // root's chain tail in `next_group`: the list order is set aside first,
    // and merged leaders leave it at the end, which keeps the order of the
    // ones that stay.
    std::vector<Instance*> order;
    for (Instance* g = top.groups; g; g = g->next_group) order.push_back(g);
    for (Instance* g : order) g->next_group = g;
    for (Net* net = top.nets; net; net = net->next) {
        if (!is_signal_net(net) || !net->source || !net->source->inst) continue;
        Instance* driver = net->source->inst;
        if (!driver->group) continue;
        Instance* cur = root_of(driver, &Instance::group);
        for (Node* n = net->nodes; n; n = n->next) {
            if (n->pinned() || !n->inst || !n->inst->group) continue;
            Instance* other = root_of(n->inst, &Instance::group);
            if (other != cur) cur = join_roots(cur, other);
        }
    }
    top.groups = nullptr;
    Instance* last = nullptr;
    for (Instance* g : order) {
        g->next_group = nullptr;
        if (g->group != g) continue;
        if (last)
            last->next_group = g;
        else
            top.groups = g;
        last = g;
        for (Instance* m = g; m; m = m->next_in_group) m->group = g;
    }
}

// A group started on the path: its flip, its members' flips and (with -a)
// their output complements.
bool group_step(Reduction& r, Instance* g, Mode mode) {
    bool changed = false;
    if (r.path.try_flip_group(r, g, mode)) {
        toggle_group_duals(g);
        if (r.d.has_xor || r.d.opt_a) settle_group_nets(r, g);
        changed = true;
    }
    if (r.path.flip_instances(r, g, mode)) changed = true;
    if (r.d.opt_a && r.path.complement_outputs(r, g, mode)) changed = true;
    r.path.check_group_step(r);
    return changed;
}

void strict_pass(Reduction& r, Instance* g) {
    while (sweep(r, g, Mode::STRICT) && !r.termination.stopped()) {
    }
}

bool tie_break_pass(Reduction& r, Instance* g) {
    const bool first = sweep(r, g, Mode::TIE_BREAK);
    if (first)
        while (!r.termination.stopped() && sweep(r, g, Mode::TIE_BREAK)) {
        }
    return first;
}

int red_inv(Design& d, const ReduceParams& params) {
    Module& top = *d.top();
    const std::unique_ptr<ReductionPath> path = choose_path(params);
    path->build_groups(top);
    for (Instance* i = top.insts; i; i = i->next) {
        i->set_dual(false);
        i->set_complement(false);
    }
    Reduction r{d, top, Termination(params.guard == RepeatGuard::ON), *path};
    path->start(r);
    r.termination.start(top);
    if (d.has_xor || d.opt_a) {
        for (Instance* g = top.groups; g; g = g->next_group) settle_group_nets(r, g);
        path->all_settled(r);
    }
    for (Instance* g = top.groups; g; g = g->next_group) {
        if (g->on_clock()) continue;
        r.termination.start_group();
        path->start_group(r, g);
        do {
            strict_pass(r, g);
            if (r.termination.stopped()) break;
        } while (tie_break_pass(r, g) && !r.termination.stopped());
        path->finish_group();
    }
    if (has_twisted_irreversible_net(top)) {
        *d.err << "vorp: twisted irreversible net found, sorry.\n";
        return 0;
    }
    return 1;
}

}  // namespace vorp
