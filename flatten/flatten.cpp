#include "flatten/flatten.h"

#include <ostream>
#include <vector>

#include "db/lists.h"
#include "db/queries.h"
#include "flatten/instance_fetch.h"
#include "flatten/net_list_index.h"
#include "flatten/net_merge.h"
#include "flatten/net_ops.h"
#include "flatten/sticky.h"

namespace vorp {

namespace {

bool is_flattened(const Module* m) {
    return m && m->kind() == MOD_NLD;
}

void pin_down(Node* n) {
    n->set_pinned(true);
    n->set_pols(0, 0);
}

// Modules below a reference module are references too (the list is in
// discovery order, so parents come first).
void close_references(Design& d) {
    for (Module* m = d.top()->next; m; m = m->next)
        if (m->kind() == MOD_NLD && m->parent && m->parent->kind() == MOD_REFERENCE)
            m->set_kind(MOD_REFERENCE);
}

// Pins of sub-module instances take the type, name and note of their port.
void resolve_pins(Module& m) {
    InstanceFetch fetch(m.nets);
    for (Net* net = m.nets; net; net = net->next) {
        for (Node* n = net->nodes; n; n = n->next) {
            fetch.step();
            Instance* inst = n->inst;
            if (n->pin_type() == CELL_SUBMODULE) {
                n->set_port_note(0);
                if (inst->sub) {
                    if (Instance* port = find_port(n->pin, *inst->sub)) {
                        n->set_pin_type(port->pin_type());
                        n->pin = port->name;
                        n->set_port_note(port->note());
                    }
                }
            }
            if (inst->cell() == CELL_SUBMODULE && is_flattened(inst->sub)) n->peer = nullptr;
        }
    }
}

void prune_module(Module& m, bool is_top) {
    for (Instance* p = m.ports; p; p = p->next) p->set_kept(is_top || p->node);
    bool any_connected = false;
    for (Instance* i = m.insts; i && !any_connected; i = i->next) any_connected = i->node;
    if (any_connected)
        for_each_safe(m.insts, [&m](Instance* i) {
            if (!i->node) unlink_from(m.insts, i);
        });
    for_each_safe(m.nets, [&m](Net* net) {
        if (!net->nodes) unlink_from(m.nets, net);
    });
}

void init_polarity(Module& m) {
    for (Net* net = m.nets; net; net = net->next)
        for (Node* n = net->nodes; n; n = n->next) n->set_pols(1, 1);
}

// Every node pinned down is put on `pinned`.
[[nodiscard]] bool fold_inverters(Design& d, Module& m, std::vector<Node*>& pinned) {
    InstanceFetch fetch(m.nets);
    for (Net* net = m.nets; net; net = net->next) {
        if (!is_signal_net(net)) continue;
        // `before` stays the node before `n`, so that unlinking `n` does not
        // walk a net of many loads from its head.
        for (Node *n = net->nodes, *before = nullptr; n;) {
            fetch.step();
            if (n->inst->cell() != CELL_INV) {
                before = n;
                n = n->next;
                continue;
            }
            if (n->same_inst != n) {
                // Go on from the node the merge returns: chains fold in one walk.
                n = merge_net(d, n, n->same_inst, m, before);
                if (!n) return false;
                fetch.restart(net, n);
                continue;
            }
            if (!same_text(n->pin, "in")) {
                *d.err << "vorp: the inverter instance (" << text_or_null(n->inst->name)
                       << ") has floating input, sorry.\n";
                return false;
            }
            Instance* buffer = d.make<Instance>();
            buffer->set_cell(CELL_NINV);
            buffer->node = n;
            buffer->owner = &m;
            push_front(m.insts, buffer);
            n->inst = buffer;
            pin_down(n);
            pinned.push_back(n);
            before = n;
            n = n->next;
        }
    }
    return true;
}

// Empty `list` in order: what `stays` picks is pushed on `kept` (so it ends
// reversed; `kept` may be `list` itself), the rest goes behind `tail`.
template <class T, class Stays>
void split_list(T*& list, T*& kept, Tail<T>& tail, Stays stays) {
    T* item = list;
    list = nullptr;
    while (item) {
        T* next = item->next;
        if (stays(item))
            push_front(kept, item);
        else
            tail.append(item);
        item = next;
    }
}

// A fold removes a net from the module's list per inverter: through an index
// that stays linear in a module of many nets. The numbers it gives the nets
// are cleared afterwards, so that a net left behind in a copy (a clock net)
// is not taken for one of the nets the reduction numbers later; and the pins
// the fold pinned down are unpinned for the joining of the boundaries (no pin
// is pinned before the fold, and a fold that succeeds leaves each pin it
// pinned on a net of the module's list).
[[nodiscard]] bool fold_indexed(Design& d, Module& m) {
    bool folded = false;
    std::vector<Node*> pinned;
    {
        ScopedNetListIndex index(d, m);
        folded = fold_inverters(d, m, pinned);
    }
    for (Net* net = m.nets; net; net = net->next) net->work_id = 0;
    for (Node* n : pinned) n->set_pinned(false);
    m.flattened = nullptr;
    return folded;
}

// Move a flattened copy's nets behind `tail`; its clock nets stay, reversed.
void collect_nets(Tail<Net>& tail, Module& m) {
    if (m.kind() != MOD_NLD) return;
    split_list(m.nets, m.nets, tail, [](const Net* net) { return net->net_type() == NET_CLOCK; });
}

// Move a flattened copy's instances behind `tail`; its instances of
// flattened sub-modules go to its `flattened` list.
void collect_instances(Tail<Instance>& tail, Module& m) {
    if (m.kind() != MOD_NLD) return;
    split_list(m.insts, m.flattened, tail, [](const Instance* inst) {
        return inst->cell() == CELL_SUBMODULE && is_flattened(inst->sub);
    });
}

// A boundary pin left without a partner outside.
[[nodiscard]] bool link_unmatched_submodule_pin(Design& d, Node* n) {
    Instance* port = find_port(n->pin, *n->inst->sub);
    if (!port) {
        *d.err << "vorp: sub-module instance (" << text_or_null(n->inst->name)
               << ") does not match to its module defintion, net colapsed?\n";
        return false;
    }
    if (port->kept()) {
        *d.err << "vorp: linkage across sub-module boundary mismatched, sorry.\n";
        return false;
    }
    port->set_kept(false);
    pin_down(n);
    return true;
}

// Join every flattened copy's ports to the pins outside it.
[[nodiscard]] bool link_boundaries(Design& d, Module& top) {
    InstanceFetch fetch(top.nets);
    for (Net* net = top.nets; net; net = net->next) {
        if (!is_signal_net(net)) continue;
        for (Node *n = net->nodes, *before = nullptr; n;) {
            fetch.step();
            Instance* inst = n->inst;
            const int cell = inst->cell();
            const bool joins =
                (cell == CELL_PORT && inst->owner != &top && n->pin_type() != KW_GLOBAL) ||
                (cell == CELL_SUBMODULE && is_flattened(inst->sub));
            if (joins) {
                if (Node* partner = find_node(n)) {
                    n = merge_net(d, n, partner, top, before);
                    if (!n) return false;
                    continue;
                }
                if (cell == CELL_PORT) {
                    inst->set_kept(false);
                    pin_down(n);
                } else if (!link_unmatched_submodule_pin(d, n)) {
                    return false;
                }
            } else if (cell == CELL_SUBMODULE && is_unused_type(n->pin_type())) {
                pin_down(n);
            }
            before = n;
            n = n->next;
        }
    }
    return true;
}

// Each signal net's driver, in list order; the first net without one ends
// the flattening.
[[nodiscard]] bool find_sources(Design& d, Module& top) {
    NetInstanceFetch fetch(top.nets);
    for (Net* net = top.nets; net; net = net->next) {
        fetch.step();
        if (is_signal_net(net) && !find_source(d, net)) return false;
    }
    return true;
}

// What a net joined with all others of its kind is driven by: a "high-" or a
// "low-" cell, or the supply port "VDD" or "VSS"; -1 for any other net.
int constant_kind(const Net* net) {
    if (net->net_type() != NET_SIGNAL || !net->source) return -1;
    const Node* s = net->source;
    if (on_cell(s, CELL_HIGH)) return 0;
    if (on_cell(s, CELL_LOW)) return 1;
    if (on_supply_port(s, "VDD")) return 2;
    if (on_supply_port(s, "VSS")) return 3;
    return -1;
}

// Join each kind's nets into the first of them, "high-" first, then "low-",
// "VDD" and "VSS", each in list order. Joining nets of one kind changes no
// net of another kind, so one walk finds every kind's nets.
[[nodiscard]] bool join_constants(Design& d, Module& top) {
    std::vector<Net*> kinds[4];
    for (Net* net = top.nets; net; net = net->next)
        if (const int kind = constant_kind(net); kind >= 0) kinds[kind].push_back(net);
    for (const std::vector<Net*>& nets : kinds) {
        Node* last = nullptr;
        for (std::size_t k = 1; k < nets.size(); ++k)
            if (!append_net(d, nets[0], nets[k], last)) return false;
    }
    return true;
}

}  // namespace

bool flat(Design& d) {
    Module& top = *d.top();
    // A design of one module has no boundaries: no pin to resolve, none to join.
    const bool hierarchy = top.next != nullptr;
    close_references(d);
    if (hierarchy)
        for (Module* m = d.modules; m; m = m->next)
            if (m->kind() == MOD_NLD) resolve_pins(*m);
    for (Module* m = d.modules; m; m = m->next) {
        if (m->kind() == MOD_NLD) {
            prune_module(*m, m == &top);
            init_polarity(*m);
        }
        classify_nets(*m);
    }
    if (!protect_irreversible_nets(d)) return false;
    for (Module* m = d.modules; m; m = m->next)
        for (Instance* i = m->insts; i; i = i->next) i->set_on_clock(false);
    for (Module* m = d.modules; m; m = m->next) mark_clock_nets(*m);
    for (Module* m = d.modules; m; m = m->next)
        if (m->kind() == MOD_NLD && !fold_indexed(d, *m)) return false;

    if (!top.nets) {
        *d.err << "vorp: internal net representation colapsed, or net set is empty, sorry.\n";
        return false;
    }
    Tail<Net> nets(top.nets);
    for (Module* m = top.next; m; m = m->next) collect_nets(nets, *m);
    if (hierarchy) {
        // Every boundary merge drops a net from the top's long list.
        ScopedNetListIndex index(d, top);
        if (!link_boundaries(d, top)) return false;
    }
    if (!find_sources(d, top)) return false;

    if (!top.insts) {
        *d.err << "vorp: internal instance representation colapsed, or instance set is empty, "
                  "sorry.\n";
        return false;
    }
    Tail<Instance> insts(top.insts);
    for (Module* m = top.next; m; m = m->next) collect_instances(insts, *m);
    // Every joined constant or supply net leaves the top's list.
    ScopedNetListIndex index(d, top);
    return join_constants(d, top);
}

}  // namespace vorp
