#include "db/queries.h"

namespace vorp {

const char* const kOutPin = "out";
const char* const kNoutPin = "nout";

bool is_definite_driver(const Node* n) {
    const int type = n->pin_type();
    if (on_cell(n, CELL_PORT)) return type == KW_GLOBAL || is_input_type(type);
    return is_output_type(type) || is_tristate_type(type);
}

namespace {
Instance* first_named(Instance* list, const char* name) {
    for (Instance* p = list; p; p = p->next)
        if (same_text(p->name, name)) return p;
    return nullptr;
}
}  // namespace

Instance* find_port(const char* name, const Module& m) {
    return first_named(m.ports, name);
}
Instance* find_inst(const char* name, const Module& m) {
    return first_named(m.insts, name);
}

Node* make_constant_cell(Design& d, Module& m, int cell) {
    Instance* constant = d.make<Instance>();
    constant->set_cell(cell);
    constant->name = d.copy_string(cell == CELL_HIGH ? "high-" : "low-");
    constant->owner = &m;
    push_front(m.insts, constant);
    Node* out = d.make<Node>();
    out->inst = constant;
    out->pin = cell == CELL_HIGH ? kOutPin : kNoutPin;
    out->set_pin_type(KW_OUTPUT);
    out->same_inst = out;
    constant->node = out;
    return out;
}

Instance* make_supply_port(Design& d, Module& m, const char* name) {
    Instance* port = d.make<Instance>();
    port->set_cell(CELL_PORT);
    port->set_pin_type(KW_GLOBAL);
    port->name = d.copy_string(name);
    port->owner = &m;
    Node* node = d.make<Node>();
    node->inst = port;
    node->pin = port->name;
    node->set_pin_type(KW_GLOBAL);
    node->same_inst = node;
    port->node = node;
    return port;
}

}  // namespace vorp
