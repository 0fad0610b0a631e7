// Flips of one gate and of a tristate bus, and output complements: each is
// its own inverse, so a trial that does not pay is undone by applying it
// again. Both paths make these trials one instance at a time.
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

// Any instance: no pin but its inputs on an irreversible net.
bool is_flippable(const Instance* inst) {
    bool flippable = true;
    for_each_in_ring(inst->node, [&](const Node* n) {
        if (n->pin_type() != KW_INPUT && n->net && n->net->irreversible()) flippable = false;
    });
    return flippable;
}

// A flippable instance: its input pins are negated, the nets of its other
// pins whole.
void flip_instance(Reduction& r, Instance* inst) {
    for_each_in_ring(inst->node, [&](Node* n) {
        if (n->pin_type() == KW_INPUT)
            negate_node(r, n);
        else
            negate_net(r, n->net);
    });
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

// Any instance.
Node* first_pin_of_type(const Instance* m, int pin_type) {
    return find_in_ring(static_cast<Node*>(m->node),
                        [&](const Node* n) { return n->pin_type() == pin_type; });
}

// Any tristate buffer.
Node* tristate_input(const Instance* buffer) {
    return find_in_ring(static_cast<Node*>(buffer->node),
                        [](const Node* p) { return p->pin && std::strcmp(p->pin, "in") == 0; });
}

// Any tristate buffer: its bus is not irreversible.
bool is_tristate_flippable(const Instance* m) {
    bool flippable = true;
    for_each_in_ring(m->node, [&](const Node* n) {
        if (n->pin_type() == KW_TRISTATE && n->net && n->net->irreversible()) flippable = false;
    });
    return flippable;
}

// A tristate buffer whose bus is not irreversible (without a bus pin it
// changes nothing): the bus's loads and the inputs of its drivers flip.
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
