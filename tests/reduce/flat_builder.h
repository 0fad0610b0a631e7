// Builds small flattened designs record by record, for tests that need exact
// control over polarities, net kinds and flags.
#pragma once

#include <sstream>
#include <string>

#include "db/design.h"
#include "db/lists.h"

namespace vorp::test {

struct FlatBuilder {
    std::ostringstream err;
    Design d{err};
    Module* top;

    FlatBuilder() {
        top = d.make<Module>();
        top->name = "top";
        top->inst_name = "top";
        top->set_kind(MOD_NLD);
        d.modules = top;
    }

    // Instances are appended to the top's `insts`, so they keep the order in
    // which the test makes them.
    Instance* inst(int cell, const char* name) {
        Instance* i = d.make<Instance>();
        i->set_cell(cell);
        i->name = d.copy_string(name);
        i->owner = top;
        push_back(top->insts, i);
        return i;
    }
    // A port of the top (kept unless told otherwise), appended to `ports`.
    Instance* port(const char* name, int pin_type, bool kept = true) {
        Instance* p = d.make<Instance>();
        p->set_cell(CELL_PORT);
        p->set_pin_type(pin_type);
        p->set_kept(kept);
        p->name = d.copy_string(name);
        p->owner = top;
        push_back(top->ports, p);
        return p;
    }
    Net* net(int type = NET_SIGNAL, bool irreversible = false) {
        Net* n = d.make<Net>();
        n->set_net_type(type);
        n->set_irreversible(irreversible);
        push_back(top->nets, n);
        return n;
    }
    // A node appended to the net; it becomes the instance's `node`, and the
    // ring, walked from there, visits the instance's nodes newest first.
    Node* pin(Net* net, Instance* i, const char* name, int pin_type, int pol_a, int pol_b) {
        Node* n = d.make<Node>();
        n->set_pin_type(pin_type);
        n->set_pols(pol_a, pol_b);
        n->inst = i;
        n->net = net;
        n->pin = i->cell() == CELL_PORT ? i->name : d.copy_string(name);
        push_back(net->nodes, n);
        if (!i->node) {
            n->same_inst = n;
        } else {
            Node* oldest = i->node;
            while (oldest->same_inst != i->node) oldest = oldest->same_inst;
            n->same_inst = i->node;
            oldest->same_inst = n;
        }
        i->node = n;
        return n;
    }
    // The net's driver: polarities 0, and the net's `source`.
    Node* drive(Net* net, Instance* i, const char* name, int pin_type = KW_OUTPUT) {
        Node* n = pin(net, i, name, pin_type, 0, 0);
        net->source = n;
        return n;
    }
    // A consumer seeing the net straight (+1) or inverted (-1).
    Node* load(Net* net, Instance* i, const char* name, int pol) {
        return pin(net, i, name, KW_INPUT, pol, pol);
    }
};

// Every polarity of the top's nets and every instance flag, as one text.
inline std::string dump_state(const Design& d) {
    std::ostringstream out;
    for (const Net* net = d.top()->nets; net; net = net->next) {
        out << "net:";
        for (const Node* n = net->nodes; n; n = n->next)
            out << " " << text_or_null(n->inst ? n->inst->name : nullptr) << "."
                << text_or_null(n->pin) << "(" << n->pol_a() << "/" << n->pol_b() << ")";
        out << "\n";
    }
    for (const Instance* i = d.top()->insts; i; i = i->next)
        out << text_or_null(i->name) << " dual=" << i->dual() << " complement=" << i->complement()
            << "\n";
    return out.str();
}

}  // namespace vorp::test
