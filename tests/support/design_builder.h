// Builds small designs record by record, for tests that need exact control
// over polarities, net kinds and flags: a top module, module copies below
// sub-module instances, and ports, instances and nets in any of them. The
// calls without a module work on the top.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "db/design.h"
#include "db/lists.h"

namespace vorp::test {

// Where a new node joins its instance's ring. The instance's `node` is
// always the newest; walked from there, the ring visits
enum class RingOrder {
    newest_first,        // every node, newest first;
    newest_then_oldest,  // the newest, then the others in the order made.
};

struct DesignBuilder {
    std::ostringstream err;
    Design d{err};
    Module* top;
    RingOrder ring;

    explicit DesignBuilder(RingOrder order = RingOrder::newest_first, const char* top_name = "top")
        : ring(order) {
        top = d.make<Module>();
        top->name = d.copy_string(top_name);
        top->inst_name = top->name;
        top->set_kind(MOD_NLD);
        d.modules = top;
        d.top_name = top->name;
    }

    // An instance appended to the module's `insts` (test order is list order).
    Instance* inst(Module* m, int cell, const char* name, int param = 0) {
        Instance* i = instance(m, cell, name);
        i->set_param(param);
        push_back(m->insts, i);
        return i;
    }
    Instance* inst(int cell, const char* name) { return inst(top, cell, name); }

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

    // A port (kept unless told otherwise), appended to the module's `ports`.
    Instance* port(Module* m, const char* name, int pin_type, bool kept = true) {
        Instance* p = instance(m, CELL_PORT, name);
        p->set_pin_type(pin_type);
        p->set_kept(kept);
        push_back(m->ports, p);
        return p;
    }
    Instance* port(const char* name, int pin_type, bool kept = true) {
        return port(top, name, pin_type, kept);
    }

    Net* net(Module* m, int type = NET_SIGNAL, bool irreversible = false) {
        Net* n = d.make<Net>();
        n->set_net_type(type);
        n->set_irreversible(irreversible);
        push_back(m->nets, n);
        return n;
    }
    Net* net(int type = NET_SIGNAL, bool irreversible = false) {
        return net(top, type, irreversible);
    }

    // A node appended to the net; it becomes the instance's `node` and joins
    // its ring as `ring` says.
    Node* pin(Net* net, Instance* i, const char* name, int pin_type, int pol_a, int pol_b) {
        Node* n = d.make<Node>();
        n->set_pin_type(pin_type);
        n->set_pols(pol_a, pol_b);
        n->inst = i;
        n->net = net;
        n->pin = i->cell() == CELL_PORT ? i->name : d.copy_string(name);
        push_back(net->nodes, n);
        join_ring(i, n);
        i->node = n;
        return n;
    }
    // A node seeing the net the same way in both polarities.
    Node* pin(Net* net, Instance* i, const char* name, int pin_type, int pol = 1) {
        return pin(net, i, name, pin_type, pol, pol);
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

   private:
    Instance* instance(Module* m, int cell, const char* name) {
        Instance* i = d.make<Instance>();
        i->set_cell(cell);
        i->name = name ? d.copy_string(name) : nullptr;
        i->owner = m;
        return i;
    }
    void join_ring(Instance* i, Node* n) {
        if (!i->node) {
            n->same_inst = n;
        } else if (ring == RingOrder::newest_first) {
            Node* oldest = i->node;
            while (oldest->same_inst != i->node) oldest = oldest->same_inst;
            n->same_inst = i->node;
            oldest->same_inst = n;
        } else {
            n->same_inst = i->node->same_inst;
            i->node->same_inst = n;
        }
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

inline std::vector<std::string> names_of_chain(const Instance* first) {
    std::vector<std::string> out;
    for (; first; first = first->next) out.push_back(text_or_null(first->name));
    return out;
}

}  // namespace vorp::test
