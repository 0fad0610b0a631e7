#include "flatten/sticky.h"

#include <cassert>
#include <cstdio>
#include <ostream>

#include "db/lists.h"
#include "db/queries.h"
#include "flatten/net_ops.h"

namespace vorp {

namespace {

Node* make_pin(Design& d, Instance* owner, const char* name, int type, int pol) {
    Node* pin = d.make<Node>();
    pin->inst = owner;
    pin->pin = d.copy_string(name);
    pin->set_pin_type(type);
    pin->set_pols(pol, pol);
    return pin;
}

// The sticky's direction and cell for a node of an inverter; false with the
// message when the pin cannot be protected.
[[nodiscard]] bool inverter_side(Design& d, Node* node, int& cell, int& dir) {
    const int type = node->pin_type();
    cell = CELL_STICKY;
    if (is_input_type(type)) {
        dir = 0;
    } else if (is_output_type(type)) {
        dir = 1;
    } else {
        *d.err << "vorp: an inverter instance has a pin of the type " << type
               << ", which cannot be handled, sorry.\n";
        return false;
    }
    return true;
}

[[nodiscard]] bool boundary_side(Design& d, Node* node, Node* partner, int& cell, int& dir) {
    const int mine = node->inst->cell();
    const int theirs = partner->inst ? partner->inst->cell() : 0;
    int base;
    if (mine == CELL_SUBMODULE && theirs == CELL_PORT) {
        base = 1;
    } else if (mine == CELL_PORT && theirs == CELL_SUBMODULE) {
        base = 0;
    } else {
        *d.err << "vorp: find_node() detects a node pair (" << mine << ", " << theirs
               << "), which cannot be handled, sorry.\n";
        return false;
    }
    const int type = node->pin_type();
    cell = CELL_STICKY;
    if (is_input_type(type)) {
        dir = 1 - base;
    } else if (is_output_type(type)) {
        dir = base;
    } else if (is_tristate_type(type)) {
        dir = base;
        cell = CELL_STICKY_TS;
    } else {
        *d.err << "vorp: protect_the_node() receives a node of the type " << type
               << ", which cannot be handled, sorry.\n";
        return false;
    }
    return true;
}

int count_nodes(const Net* net, int (*pick)(const Node*)) {
    int n = 0;
    for (const Node* x = net->nodes; x; x = x->next) n += pick(x);
    return n;
}

// Keep the sticky as an inverter or a buffer. The input pin ends named
// after the output; the output pin keeps its name.
void keep_sticky(Design& d, Instance* s, Node* in, int cell) {
    s->set_cell(cell);
    in->pin = d.copy_string(cell == CELL_INV ? "nout" : "out");
}

// Take a sticky's pin off its net. It cannot fail: a sticky's pins stay on
// the nets they were put on (merges take inverter and boundary pins, joins
// of constant nets take constant and supply pins), which list them.
void unlink_sticky_pin(Design& d, Node* pin) {
    [[maybe_unused]] const bool unlinked = unlink_node(d, pin);
    assert(unlinked);
}

// Take a dissolved sticky out of its owner's list. Flattening moves the
// stickies of a flattened copy into the top's list while they keep the copy
// as owner, so the owner's list holds only the stickies of the top and of
// reference modules. Any other stays listed where it is: with no pin on a
// net it is never kept, so never written.
void delist_sticky([[maybe_unused]] Design& d, Instance* s) {
    if (unlink_instance(s)) return;
    assert(s->owner != d.top());
}

// Take the net a dissolved sticky emptied out of the top's list. The nets of
// a reference module (never flattened) and the clock nets that a flattened
// copy keeps are not on it: unlink_net reports that, and the empty net stays
// in its own module, where nothing writes it (a reference module is copied
// as it was read; an empty net has no connection to print).
void drop_emptied_net(Design& d, [[maybe_unused]] Instance* s, Net* goes) {
    if (unlink_net(d, goes, *d.top())) return;
    assert(s->owner != d.top() && !goes->nodes);
}

// Remove the sticky and join its two nets, the larger keeping its place.
[[nodiscard]] bool dissolve_sticky(Design& d, Instance* s, Node* in, Node* out, int n_in,
                                   int n_out) {
    Net* in_net = in->net;
    Net* out_net = out->net;
    unlink_sticky_pin(d, in);
    unlink_sticky_pin(d, out);
    delist_sticky(d, s);
    Net* stays = n_in > n_out ? in_net : out_net;
    Net* goes = n_in > n_out ? out_net : in_net;
    for (Node* n = goes->nodes; n;) {
        Node* next = n->next;
        if (!unlink_node(d, n)) return false;
        push_node(stays, n);
        n = next;
    }
    drop_emptied_net(d, s, goes);
    return true;
}

}  // namespace

bool insert_sticky(Design& d, Net* net, Node* node, int cell, int dir) {
    Module* owner = node->inst->owner;
    Net* sticky_net = d.make<Net>();
    push_front(owner->nets, sticky_net);
    Instance* s = d.make<Instance>();
    s->set_cell(cell);
    std::snprintf(d.sticky_name, sizeof d.sticky_name, "sticky-%d", d.sticky_count++);
    s->name = d.copy_string(d.sticky_name);
    s->owner = owner;
    push_front(owner->insts, s);
    Node* i = make_pin(d, s, "i", KW_INPUT, 1);
    Node* o = make_pin(d, s, "o", KW_OUTPUT, 0);
    i->same_inst = o;
    o->same_inst = i;
    s->node = i;

    if (!unlink_node(d, node)) return false;
    push_node(dir == 1 ? sticky_net : net, i);
    push_node(dir == 1 ? net : sticky_net, o);
    push_node(sticky_net, node);
    return true;
}

bool protect_net(Design& d, Net* net) {
    for (Node* node = net->nodes; node;) {
        Node* next = node->next;
        int cell = 0, dir = 0;
        if (node->inst->cell() == CELL_INV) {
            if (node->same_inst == node) {
                node = next;
                continue;
            }
            if (!inverter_side(d, node, cell, dir)) return false;
        } else {
            Node* partner = find_node(node);
            if (!partner) {
                node = next;
                continue;
            }
            if (!boundary_side(d, node, partner, cell, dir)) return false;
        }
        // The node was read off the net's own list, so insertion cannot fail.
        [[maybe_unused]] const bool inserted = insert_sticky(d, net, node, cell, dir);
        assert(inserted);
        node = next;
    }
    return true;
}

bool protect_irreversible_nets(Design& d) {
    d.sticky_count = 0;
    for (Module* m = d.modules; m; m = m->next)
        for (Net* net = m->nets; net; net = net->next)
            if (net->irreversible() && !protect_net(d, net)) return false;
    return true;
}

bool resolve_sticky(Design& d, Instance* s) {
    Node* in = nullptr;
    Node* out = nullptr;
    Node* pin = s->node;
    if (pin) {
        do {
            const int type = pin->pin_type();
            if (is_input_type(type))
                in = pin;
            else if (is_output_type(type))
                out = pin;
            else
                return false;
            pin = pin->same_inst;
        } while (pin && pin != s->node);
    }
    if (!in || !out) return false;
    if (s->inverted()) {
        in->set_pols(-in->pol_a(), -in->pol_b());
        s->set_inverted(false);
    }
    Net* out_net = out->net;
    const bool twisted = in->pol_a() == -1;
    const int n_in = count_nodes(in->net, [](const Node*) { return 1; });
    const int sinks_in =
        count_nodes(in->net, [](const Node* x) { return x->pol_b() != 0 ? 1 : 0; });
    const int n_out = count_nodes(out_net, [](const Node*) { return 1; });
    const int sources_out =
        count_nodes(out_net, [](const Node* x) { return x->pol_a() == 0 ? 1 : 0; });
    if (twisted) {
        if (sources_out > 1 || out_net->irreversible()) {
            keep_sticky(d, s, in, CELL_INV);
            return true;
        }
        invert_net(*out_net);
        return dissolve_sticky(d, s, in, out, n_in, n_out);
    }
    if (sinks_in > 1 && sources_out > 1) {
        keep_sticky(d, s, in, CELL_NINV);
        return true;
    }
    return dissolve_sticky(d, s, in, out, n_in, n_out);
}

bool unprotect_irreversible_nets(Design& d) {
    for (Module* m = d.modules; m; m = m->next) {
        for (Instance* i = m->insts; i;) {
            Instance* next = i->next;
            if ((i->cell() == CELL_STICKY || i->cell() == CELL_STICKY_TS) && !resolve_sticky(d, i))
                return false;
            i = next;
        }
    }
    return true;
}

}  // namespace vorp
