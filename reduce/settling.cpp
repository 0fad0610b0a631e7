// Settling a net: a driver that can give either polarity gives the one most
// consumers want, and exclusive-or gates take the inversions of their inputs.

#include "db/lists.h"
#include "reduce/counting.h"
#include "reduce/moves.h"

namespace vorp {

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

}  // namespace vorp
