// Flips of one gate, of a whole group and of a tristate bus, and output
// complements: each is its own inverse, so a trial that does not pay is
// undone by applying it again.
#include <cstring>

#include "db/lists.h"
#include "reduce/moves.h"

namespace vorp {

namespace {

int local_count(const Reduction& r, Instance* m, int (Reduction::*measure)(const Net*) const) {
    int sum = 0;
    for_each_in_ring(m->node, [&](Node* n) { sum += (r.*measure)(n->net); });
    return sum;
}

}  // namespace

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

}  // namespace vorp
