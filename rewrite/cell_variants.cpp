#include "rewrite/cell_variants.h"

#include <cassert>
#include <initializer_list>
#include <utility>

#include "db/lists.h"
#include "flatten/net_list_index.h"
#include "flatten/net_ops.h"

namespace vorp {

namespace {

// Consumers wanting the inverted value move to the complement's net; every
// list comes out in reverse order of processing. `b_new` tells whether B was
// made here. A or B may be missing; a missing one is made.
struct Pair {
    Net* a;
    Net* b;
    bool a_new = false;
    bool b_new = false;
};

bool redistribute(Design& d, Pair& p) {
    if (!p.a && !p.b) return false;
    if (!p.a) p.a = d.make<Net>(), p.a_new = true;
    if (!p.b) p.b = d.make<Net>(), p.b_new = true;
    // A before B: when both are one net (a register whose out was folded
    // onto its own nout), B's list is already empty and each node is
    // walked once.
    Node* old_a = std::exchange(p.a->nodes, nullptr);
    Node* old_b = std::exchange(p.b->nodes, nullptr);
    auto sort = [](Node* list, Net* own, Net* other) {
        while (list) {
            Node* next = list->next;
            if (list->pol_a() == -1) {
                list->set_pols(1, 1);
                push_node(other, list);
            } else {
                push_node(own, list);
            }
            list = next;
        }
    };
    sort(old_a, p.a, p.b);
    sort(old_b, p.b, p.a);
    return true;
}

bool holds_source_alone(const Net* net) {
    return net->source && net->nodes && !net->nodes->next;
}

void add_driven_net(Design& d, Module& top, Net* net, Node* driver) {
    push_node(net, driver);
    net->set_net_type(NET_SIGNAL);
    net->source = driver;
    push_listed_net(d, top, net);
}

// Drop a net that holds only its driver now from the top's list; true when
// dropped. The nets finished here were found on that list, or are signal
// nets of a register of the flat top, so the removal cannot fail.
bool drop_if_lone(Design& d, Net* net) {
    if (!holds_source_alone(net)) return false;
    [[maybe_unused]] const bool dropped = unlink_net(d, net, *d.top());
    assert(dropped);
    return true;
}

// A finished constant net: dropped when only its cell is left, given a new
// constant cell when it was made here and received consumers.
void finish_constant(Design& d, Net* net, bool is_new, int cell) {
    Module& top = *d.top();
    if (!is_new) {
        drop_if_lone(d, net);
        return;
    }
    if (!net->nodes) return;
    add_driven_net(d, top, net, make_constant_cell(d, top, cell));
}

void finish_power(Design& d, Net* net, bool is_new, const char* name) {
    Module& top = *d.top();
    if (!is_new) {
        drop_if_lone(d, net);
        return;
    }
    if (!net->nodes) return;
    Instance* port = make_supply_port(d, top, name);
    add_driven_net(d, top, net, port->node);
    // A new "VDD" joins the ports, a new "VSS" the instances; the written
    // netlists depend on where each is listed.
    if (same_text(name, "VDD"))
        push_front(top.ports, port);
    else
        push_front(top.insts, port);
}

void finish_register_output(Design& d, Net* net, bool is_new, Instance* reg, const char* pin) {
    Module& top = *d.top();
    if (!is_new) {
        if (drop_if_lone(d, net)) detach_node(net->source);
        return;
    }
    if (!net->nodes) return;
    Node* out = d.make<Node>();
    out->pin = pin;
    out->set_pin_type(KW_OUTPUT);
    out->inst = reg;
    out->same_inst = reg->node->same_inst;
    reg->node->same_inst = out;
    add_driven_net(d, top, net, out);
}

// The latest signal nets of two kinds, scanning until one of each was seen.
template <class IsA, class IsB>
Pair find_pair(Module& top, IsA is_a, IsB is_b) {
    Pair p{nullptr, nullptr};
    bool seen_a = false, seen_b = false;
    for (Net* net = top.nets; net && !(seen_a && seen_b); net = net->next) {
        if (net->net_type() != NET_SIGNAL || !net->source) continue;
        if (is_a(net->source)) p.a = net, seen_a = true;
        if (is_b(net->source)) p.b = net, seen_b = true;
    }
    return p;
}

}  // namespace

void rename_inverted_outputs(Design& d) {
    for (Net* net = d.top()->nets; net; net = net->next) {
        if (!is_signal_net(net) || !net->source || !net->source->inst) continue;
        Node* source = net->source;
        const Instance* inst = source->inst;
        switch (inst->cell()) {
            case CELL_AND:
            case CELL_OR:
                if (inst->complement()) source->pin = kNoutPin;
                break;
            case CELL_NAND:
            case CELL_NOR:
                if (inst->complement()) source->pin = kOutPin;
                break;
            case CELL_EOR:
                if (inst->dual()) source->pin = kNoutPin;
                break;
            case CELL_ENOR:
                if (inst->dual()) source->pin = kOutPin;
                break;
            default:
                break;
        }
    }
}

void split_constant_nets(Design& d) {
    Pair p = find_pair(
        *d.top(), [](const Node* s) { return on_cell(s, CELL_HIGH); },
        [](const Node* s) { return on_cell(s, CELL_LOW); });
    if (!redistribute(d, p)) return;
    finish_constant(d, p.a, p.a_new, CELL_HIGH);
    finish_constant(d, p.b, p.b_new, CELL_LOW);
}

void split_power_nets(Design& d) {
    Pair p = find_pair(
        *d.top(), [](const Node* s) { return on_supply_port(s, "VDD"); },
        [](const Node* s) { return on_supply_port(s, "VSS"); });
    if (!redistribute(d, p)) return;
    finish_power(d, p.a, p.a_new, "VDD");
    finish_power(d, p.b, p.b_new, "VSS");
}

void split_register_outputs(Design& d, Instance* reg) {
    Pair p{nullptr, nullptr};
    for_each_in_ring(reg->node, [&p](Node* n) {
        if (same_text(n->pin, "out")) p.a = n->net;
        if (same_text(n->pin, "nout")) p.b = n->net;
    });
    if (!redistribute(d, p)) return;
    finish_register_output(d, p.a, p.a_new, reg, kOutPin);
    finish_register_output(d, p.b, p.b_new, reg, kNoutPin);
}

void detach_node(Node* node) {
    Instance* inst = node->inst;
    if (!inst || !inst->node) return;
    Node* pred = inst->node;
    while (pred->same_inst != node) {
        pred = pred->same_inst;
        if (!pred || pred == inst->node) return;
    }
    pred->same_inst = node->same_inst;
    inst->node = pred;
}

namespace {

// The other cell of the pair that holds `cell`, or 0 when no pair does.
int partner_of(int cell, std::initializer_list<std::pair<int, int>> pairs) {
    for (const auto& [a, b] : pairs) {
        if (cell == a) return b;
        if (cell == b) return a;
    }
    return 0;
}

}  // namespace

int dual_cell(const Instance& inst) {
    return partner_of(
        inst.cell(),
        {{CELL_AND, CELL_OR}, {CELL_NAND, CELL_NOR}, {CELL_EOR, CELL_ENOR}, {CELL_AOI, CELL_OAI}});
}

int complement_cell(const Instance& inst) {
    return partner_of(inst.cell(), {{CELL_AND, CELL_NAND}, {CELL_OR, CELL_NOR}});
}

void apply_polarities(Design& d) {
    Module& top = *d.top();
    rename_inverted_outputs(d);
    split_constant_nets(d);
    split_power_nets(d);
    if (d.has_registers) {
        // Each register's split may drop or push a net of the top's list.
        ScopedNetListIndex index(d, top);
        for (Instance* i = top.insts; i; i = i->next)
            if (is_register(i->cell())) split_register_outputs(d, i);
    }
    for (Instance* i = top.insts; i; i = i->next) {
        if (i->dual()) i->set_cell(dual_cell(*i));
        if (i->complement()) i->set_cell(complement_cell(*i));
    }
}

}  // namespace vorp
