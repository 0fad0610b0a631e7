// Questions about the design records that every stage asks (names, which
// cell a pin sits on, which pin drives a net) and the few records that more
// than one stage builds. Each lives here once; stages do not reach into
// each other for them.
#pragma once

#include <cstring>

#include "db/design.h"
#include "db/lists.h"

namespace vorp {

// Both texts present and equal byte for byte.
inline bool same_text(const char* a, const char* b) {
    return a && b && std::strcmp(a, b) == 0;
}

inline bool on_cell(const Node* n, int cell) {
    return n->inst && n->inst->cell() == cell;
}

// A pin of the supply port `name` ("VDD" or "VSS").
inline bool on_supply_port(const Node* n, const char* name) {
    return on_cell(n, CELL_PORT) && same_text(n->pin, name);
}

// The module that holds the pin's instance, or null.
inline Module* owner_of(const Node* n) {
    return n->inst ? n->inst->owner : nullptr;
}

// Wired and driven nets: the nets that carry logic.
inline bool is_signal_net(const Net* net) {
    return net->net_type() == NET_WIRED || net->net_type() == NET_SIGNAL;
}

// A pin that drives its net for certain: an input or global port seen from
// inside its module, an output or tristate pin of anything else.
bool is_definite_driver(const Node* n);
// A pin that may drive its net: a definite driver or a bidirectional pin.
inline bool may_drive(const Node* n) {
    return is_bidirect_type(n->pin_type()) || is_definite_driver(n);
}

// Put a node at the head of a net's list and make it the net's.
inline void push_node(Net* net, Node* node) {
    node->net = net;
    push_front(net->nodes, node);
}

// First port, or first component instance, in list order with this name;
// records without a name are passed over. Linear.
Instance* find_port(const char* name, const Module& m);
Instance* find_inst(const char* name, const Module& m);

// The shared output pin names that rewritten nodes point at.
extern const char* const kOutPin;
extern const char* const kNoutPin;

// A new constant cell ("high-" for CELL_HIGH, "low-" for CELL_LOW) at the
// head of the module's instances; returns its output pin, on no net yet.
Node* make_constant_cell(Design& d, Module& m, int cell);
// A new global port `name` of the module with its pin, on no net and on no
// list yet: where a supply port is listed differs between callers.
Instance* make_supply_port(Design& d, Module& m, const char* name);

}  // namespace vorp
