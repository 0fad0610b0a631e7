// Builds small hierarchical designs record by record: a top module, module
// copies below sub-module instances, and nets inside any of them, for tests
// of the passes that cut flat nets back into the hierarchy and name things.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "db/design.h"
#include "db/lists.h"

namespace vorp::test {

struct HierBuilder {
    std::ostringstream err;
    Design d{err};
    Module* top;

    explicit HierBuilder(const char* top_name = "top") {
        top = d.make<Module>();
        top->name = d.copy_string(top_name);
        top->inst_name = top->name;
        top->set_kind(MOD_NLD);
        d.modules = top;
        d.top_name = top->name;
    }

    // An instance appended to the module's `insts` (test order is list order).
    Instance* inst(Module* m, int cell, const char* name, int param = 0) {
        Instance* i = d.make<Instance>();
        i->set_cell(cell);
        i->set_param(param);
        i->name = name ? d.copy_string(name) : nullptr;
        i->owner = m;
        push_back(m->insts, i);
        return i;
    }
    // A sub-module instance in `parent` with its own copy (appended to the
    // module list), named after the instance through `inst_name`.
    Module* sub(Module* parent, const char* module_name, const char* inst_name,
                int kind = MOD_NLD) {
        Instance* x = inst(parent, CELL_SUBMODULE, inst_name);
        x->module_name = d.copy_string(module_name);
        Module* m = d.make<Module>();
        m->name = d.copy_string(module_name);
        m->inst_name = x->name;
        m->parent = parent;
        m->inst = x;
        m->set_kind(kind);
        x->sub = m;
        push_back(d.modules, m);
        return m;
    }
    Instance* port(Module* m, const char* name, int pin_type, bool kept = true) {
        Instance* p = d.make<Instance>();
        p->set_cell(CELL_PORT);
        p->set_pin_type(pin_type);
        p->set_kept(kept);
        p->name = name ? d.copy_string(name) : nullptr;
        p->owner = m;
        push_back(m->ports, p);
        return p;
    }
    Net* net(Module* m, int type = NET_SIGNAL) {
        Net* n = d.make<Net>();
        n->set_net_type(type);
        push_back(m->nets, n);
        return n;
    }
    // A node appended to the net, linked into the instance's ring.
    Node* pin(Net* net, Instance* i, const char* name, int pin_type, int pol_a = 1) {
        Node* n = d.make<Node>();
        n->set_pin_type(pin_type);
        n->set_pols(pol_a, pol_a);
        n->inst = i;
        n->net = net;
        n->pin = i->cell() == CELL_PORT ? i->name : d.copy_string(name);
        push_back(net->nodes, n);
        if (!i->node) {
            n->same_inst = n;
        } else {
            n->same_inst = i->node->same_inst;
            i->node->same_inst = n;
        }
        i->node = n;
        return n;
    }
    Node* drive(Net* net, Instance* i, const char* name, int pin_type = KW_OUTPUT) {
        Node* n = pin(net, i, name, pin_type, 0);
        net->source = n;
        return n;
    }
};

inline std::vector<std::string> names_of_chain(const Instance* first) {
    std::vector<std::string> out;
    for (; first; first = first->next) out.push_back(text_or_null(first->name));
    return out;
}

}  // namespace vorp::test
