#include "rewrite/push_down.h"

#include "db/lists.h"
#include "db/queries.h"
#include "rewrite/inverter_insertion.h"
#include "rewrite/naming.h"
#include "rewrite/piece_tree.h"

namespace vorp {

namespace {

// Default mode: every instance goes back to the module copy it came from.
void return_instances(Design& d) {
    Module& top = *d.top();
    Instance* inst = top.insts;
    top.insts = nullptr;
    while (inst) {
        Instance* next = inst->next;
        if (inst->owner) push_front(inst->owner->insts, inst);
        inst = next;
    }
}

void return_flattened(Design& d) {
    for (Module* m = d.modules; m; m = m->next) {
        if (m->kind() != MOD_NLD) continue;
        Instance* inst = m->flattened;
        while (inst) {
            Instance* next = inst->next;
            push_front(m->insts, inst);
            inst = next;
        }
    }
}

int source_cell(const Net* net) {
    return net->source && net->source->inst ? net->source->inst->cell() : 0;
}

void push_flat(Design& d, Net* net) {
    Module& top = *d.top();
    if (is_register(source_cell(net)) || is_constant(source_cell(net))) {
        push_front(top.nets, net);
        return;
    }
    insert_inverter(d, net);
    if (Net* inverted = net->next) {
        inverted->next = top.nets;
        top.nets = inverted;
    }
    net->next = top.nets;
    top.nets = net;
}

void split_into_pieces(Design& d, Net* net, int type, FirstInstanceByName& index) {
    const int cell = source_cell(net);
    if (is_register(cell)) {
        NetPiece* tree = build_piece_tree(d, net);
        set_directions(tree, type);
        make_boundary_pins(d, tree, index);
        make_piece_nets(d, tree, type);
    } else if (is_constant(cell)) {
        NetPiece* tree = build_piece_tree(d, net);
        localize_constants(d, tree, cell);
        make_piece_nets(d, tree, type);
    } else if (on_supply_port(net->source, "VDD") || on_supply_port(net->source, "VSS")) {
        const int which = on_supply_port(net->source, "VDD") ? CELL_HIGH : CELL_LOW;
        NetPiece* tree = build_piece_tree(d, net);
        localize_power(d, tree, which);
        make_piece_nets(d, tree, type);
    } else {
        insert_inverter(d, net);
        Net* inverted = net->next;
        NetPiece* t1 = build_piece_tree(d, net);
        NetPiece* t2 = inverted ? build_piece_tree(d, inverted) : nullptr;
        set_directions(t1, type);
        set_directions(t2, NET_SIGNAL);
        make_boundary_pins(d, t1, index);
        make_boundary_pins(d, t2, index);
        make_piece_nets(d, t1, type);
        make_piece_nets(d, t2, NET_SIGNAL);
    }
}

}  // namespace

void push_down_nets(Design& d) {
    Module& top = *d.top();
    const bool keep_hierarchy = d.write_mode == WRITE_HIERARCHY;
    if (keep_hierarchy) return_instances(d);
    return_flattened(d);
    for (Net* net = top.nets; net; net = net->next)
        if (is_signal_net(net))
            for (Node* n = net->nodes; n; n = n->next)
                if (n->pinned()) n->set_pols(1, 1);

    // Instances are only pushed at the head of their lists from here on.
    FirstInstanceByName index;
    Net* net = top.nets;
    top.nets = nullptr;
    while (net) {
        Net* next = net->next;
        const int type = net->net_type();
        if (type == NET_CLOCK) {
            push_front(top.nets, net);
        } else if (type == NET_UNUSED) {
            if (net->nodes && net->nodes->inst && net->nodes->inst->owner == &top)
                push_front(top.nets, net);
        } else if (type == NET_WIRED || type == NET_SIGNAL) {
            if (keep_hierarchy)
                split_into_pieces(d, net, type, index);
            else
                push_flat(d, net);
        }
        net = next;
    }
}

void finish_modules(Design& d) {
    push_down_nets(d);
    mark_kept(d);
}

}  // namespace vorp
