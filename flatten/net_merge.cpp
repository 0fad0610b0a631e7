#include "flatten/net_merge.h"

#include <ostream>

#include "flatten/net_list_index.h"
#include "flatten/net_ops.h"

namespace vorp {

namespace {

// Which net the pair's polarities ask to invert, if any.
Net* net_to_invert(Node* x, Node* y, Net* x_net, Net* y_net) {
    const int type = x->pin_type();
    switch (x->inst->cell()) {
        case CELL_INV:
            if (type == KW_OUTPUT) return y->pol_a() == 1 ? x_net : nullptr;
            return x->pol_a() == 1 ? y_net : nullptr;
        case CELL_PORT:
            if (is_input_type(type)) return y->pol_a() == -1 ? x_net : nullptr;
            if (is_output_type(type)) return x->pol_a() == -1 ? y_net : nullptr;
            return nullptr;
        case CELL_SUBMODULE:
            if (is_input_type(type)) return x->pol_a() == -1 ? y_net : nullptr;
            if (is_output_type(type)) return y->pol_a() == -1 ? x_net : nullptr;
            return nullptr;
        default:
            return nullptr;
    }
}

}  // namespace

Node* merge_net(Design& d, Node* x, Node* y, Module& module, Node* x_before) {
    Net* x_net = x->net;
    Net* y_net = y->net;
    if (y_net->net_type() == NET_WIRED) x_net->set_net_type(NET_WIRED);
    if (!unlink_node(d, x, x_before) || !unlink_node(d, y)) return nullptr;

    const int cell = x->inst->cell();
    if (cell == CELL_PORT || cell == CELL_SUBMODULE) {
        x->peer = y;
        y->peer = x;
    }
    if (Net* target = net_to_invert(x, y, x_net, y_net)) {
        if (target->irreversible()) {
            *d.err << "vorp: irreversible net attempted to be merged (impossible), sorry.\n";
            return nullptr;
        }
        invert_net(*target);
    }
    // A net merged with itself has nothing to join.
    if (x_net == y_net) return nullptr;

    Node* from_y = y_net->nodes;
    append_nodes(d, x_net, from_y);

    if (!unlink_listed_net(d, module, y_net)) {
        *d.err << "vorp: internal net representation colapsed, sorry.\n";
        return nullptr;
    }
    if (Node* next = x->next) return next;
    return from_y;
}

}  // namespace vorp
