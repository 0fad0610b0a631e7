// Settling a net: a driver that can give either polarity gives the one most
// consumers want, and exclusive-or gates take the inversions of their inputs.

#include "db/lists.h"
#include "reduce/moves.h"

namespace vorp {

// Any net; the exclusive-or gates' pins do not vote.
int net_balance(const Net* net) {
    int balance = 0;
    for (const Node* n = net->nodes; n; n = n->next) {
        if (n->inst && is_xor(n->inst->cell())) continue;
        if (n->pol_a() == 1) ++balance;
        if (n->pol_a() == -1) --balance;
    }
    return balance;
}

// Any net, irreversible ones included: an exclusive-or gate takes the
// inversion of an input into its dual.
void absorb_xor_inputs(Reduction& r, Net* net) {
    for (Node* n = net->nodes; n; n = n->next) {
        if (!n->inst || !is_xor(n->inst->cell()) || n->pol_a() != -1) continue;
        r.set_pols(n, 1, 1);
        n->inst->toggle_dual();
    }
}

// A net that is not irreversible, whose driver has just taken the other
// polarity into its flags.
void push_net(Reduction& r, Net* net) {
    for (Node* n = net->nodes; n; n = n->next) {
        if (n->inst && is_xor(n->inst->cell()) && n->pol_a() == 1)
            n->inst->toggle_dual();
        else
            negate_node(r, n);
    }
}

// Any net; a register's net is left as it is, an irreversible one only
// absorbs exclusive-or inputs.
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

// Any instance: the nets of all its pins, in ring order.
void settle_instance_nets(Reduction& r, Instance* m) {
    for_each_in_ring(m->node, [&](Node* n) { settle_net(r, n->net); });
}

void settle_group_nets(Reduction& r, Instance* g) {
    r.path.settle_group_nets(r, g);
}

}  // namespace vorp
