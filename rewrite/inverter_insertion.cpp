#include "rewrite/inverter_insertion.h"

#include "db/lists.h"
#include "db/queries.h"

namespace vorp {

namespace {

int depth_of(const Module* m) {
    int depth = 0;
    for (; m->parent; m = m->parent) ++depth;
    return depth;
}

Node* make_pin(Design& d, Instance* inv, const char* pin, int type, Net* net) {
    Node* n = d.make<Node>();
    n->inst = inv;
    n->pin = pin;
    n->set_pin_type(type);
    n->net = net;
    return n;
}

// The nodes that may drive a tristate net.
bool may_drive_bus(const Node* n) {
    const int type = n->pin_type();
    return is_bidirect_type(type) || (!on_cell(n, CELL_PORT) && is_tristate_type(type));
}

}  // namespace

Module* common_module(Module* a, Module* b) {
    if (!a) return b;
    if (!b) return a;
    int da = depth_of(a), db = depth_of(b);
    for (; da > db; --da) a = a->parent;
    for (; db > da; --db) b = b->parent;
    while (a != b) a = a->parent, b = b->parent;
    return a;
}

Net* insert_inverter(Design& d, Net* net) {
    Node* old = net->nodes;
    net->nodes = nullptr;
    net->next = nullptr;
    Instance* inv = nullptr;
    Net* inverted = nullptr;
    Module* m = nullptr;
    while (old) {
        Node* n = old;
        old = old->next;
        if (n->pol_a() != -1) {
            push_front(net->nodes, n);
            continue;
        }
        if (!inv) {
            inv = d.make<Instance>();
            inv->set_cell(CELL_INV);
            Node* in = make_pin(d, inv, "in", KW_INPUT, net);
            push_front(net->nodes, in);
            inverted = d.make<Net>();
            inverted->set_net_type(NET_SIGNAL);
            net->next = inverted;
            Node* out = make_pin(d, inv, "nout", KW_OUTPUT, inverted);
            inverted->source = out;
            in->same_inst = out;
            out->same_inst = in;
            inv->node = in;
            n->next = out;
            inverted->nodes = n;
            n->net = inverted;
            m = owner_of(n);
            continue;
        }
        push_front(inverted->nodes, n);
        n->net = inverted;
        m = common_module(m, owner_of(n));
    }
    if (!inv) return net;
    if (net->net_type() == NET_SIGNAL) {
        m = common_module(m, net->source ? owner_of(net->source) : nullptr);
    } else {
        for (Node* n = net->nodes; n; n = n->next)
            if (may_drive_bus(n)) m = common_module(m, owner_of(n));
    }
    inv->owner = m;
    if (m) push_front(m->insts, inv);
    return net;
}

}  // namespace vorp
