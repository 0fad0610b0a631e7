#include "flatten/net_ops.h"

#include <cstdint>
#include <cstdio>
#include <ostream>
#include <vector>

#include "db/lists.h"
#include "db/queries.h"
#include "flatten/instance_fetch.h"
#include "flatten/net_list_index.h"

namespace vorp {

namespace {

bool is_clock_stop(int cell) {
    return is_register(cell) || cell == CELL_BGATE;
}

}  // namespace

bool is_clock_pin_name(const char* name) {
    static const char* const kClockPinNames[] = {"m_clock", "s_clock", "b_clock", "scan_clock",
                                                 "p_reset"};
    for (const char* clock : kClockPinNames)
        if (same_text(name, clock)) return true;
    return false;
}

namespace {

// The node before `node` on `net` (none at the head): the hint when it is
// that node, else found by walking from the head; false when `node` is not
// on the net.
bool find_before(const Net& net, const Node* node, Node* hint, Node*& before) {
    before = nullptr;
    if (net.nodes == node) return true;
    if (hint && hint->next == node) {
        before = hint;
        return true;
    }
    for (Node* p = net.nodes; p; p = p->next) {
        if (p->next == node) {
            before = p;
            return true;
        }
    }
    return false;
}

}  // namespace

bool unlink_node(Design& d, Node* node, Node* before) {
    Net* net = node->net;
    if (!net || !find_before(*net, node, before, before)) {
        *d.err
            << "vorp: inconsistent operation occured: pin isolation from a foreign net, sorry.\n";
        return false;
    }
    (before ? before->next : net->nodes) = node->next;
    if (d.net_index) d.net_index->node_unlinked(net, node, before);
    return true;
}

namespace {

// Links the nodes from `from` on behind `last` (at the head when none), moves
// them to the net and tells the index; returns the net's new last node.
Node* link_behind(Design& d, Net* net, Node* last, Node* from) {
    (last ? last->next : net->nodes) = from;
    for (Node* n = from; n; n = n->next) {
        n->net = net;
        last = n;
    }
    if (d.net_index && from) d.net_index->appended(net, last);
    return last;
}

}  // namespace

void append_nodes(Design& d, Net* net, Node* from) {
    link_behind(d, net, d.net_index ? d.net_index->last_node(net) : last_of(net->nodes), from);
}

bool unlink_net(Design& d, Net* net, Module& module) {
    if (unlink_listed_net(d, module, net)) return true;
    *d.err << "vorp: inconsistent operation occured: net isolation from a foreign module, sorry.\n";
    return false;
}

bool unlink_instance(Instance* inst) {
    return inst->owner && unlink_from(inst->owner->insts, inst);
}

bool append_net(Design& d, Net* keep, Net* drop) {
    Node* keep_last = nullptr;
    return append_net(d, keep, drop, keep_last);
}

bool append_net(Design& d, Net* keep, Net* drop, Node*& keep_last) {
    if (!drop->source || !unlink_node(d, drop->source)) return false;
    if (!keep_last) keep_last = last_of(keep->nodes);
    if (!keep_last) {
        *d.err << "vorp: empty net internally appered, sorry.\n";
        return false;
    }
    keep_last = link_behind(d, keep, keep_last, drop->nodes);
    return unlink_net(d, drop, *d.top());
}

Node* find_node(Node* node) {
    Instance* inst = node->inst;
    if (!inst) return nullptr;
    if (inst->cell() == CELL_SUBMODULE) {
        if (!inst->sub) return nullptr;
        for (Instance* port = inst->sub->ports; port; port = port->next)
            if (same_text(port->name, node->pin)) return port->node;
        return nullptr;
    }
    const Module* m = inst->owner;
    if (!m || !m->parent) return nullptr;
    for (Instance* outer = m->parent->insts; outer; outer = outer->next) {
        if (!same_text(outer->name, m->inst_name) || !outer->node) continue;
        Node* pin = outer->node;
        do {
            if (same_text(pin->pin, node->pin)) return pin;
            pin = pin->same_inst;
        } while (pin && pin != outer->node);
    }
    return nullptr;
}

bool find_source(Design& d, Net* net) {
    Node* candidate = nullptr;
    for (Node* n = net->nodes; n; n = n->next) {
        if (is_bidirect_type(n->pin_type())) {
            candidate = n;
        } else if (is_definite_driver(n)) {
            net->source = n;
            return true;
        }
    }
    if (candidate) {
        net->source = candidate;
        return true;
    }
    *d.err << "vorp: net w/o source detected:\n" << net_dump(*net);
    return false;
}

void classify_nets(Module& m) {
    InstanceFetch fetch(m.nets);
    for (Net* net = m.nets; net; net = net->next) {
        net->set_net_type(NET_NONE);
        net->source = nullptr;
        net->set_irreversible(false);
        for (Node* n = net->nodes; n; n = n->next) {
            fetch.step();
            const int type = n->pin_type();
            const bool on_port = on_cell(n, CELL_PORT);
            if (is_bidirect_type(type)) {
                net->set_irreversible(true);
                net->set_net_type(NET_WIRED);
                n->set_pol_a(0);
            } else if (on_port && type == KW_GLOBAL) {
                net->set_net_type(NET_SIGNAL);
                n->set_pols(0, 0);
            } else if (on_port && is_input_type(type)) {
                n->set_pols(0, 0);
                if (is_clock_pin_name(n->inst->name))
                    net->source = n;
                else
                    net->set_net_type(NET_SIGNAL);
            } else if (on_port && type == KW_UNUSED_CONNECTED) {
                net->set_net_type(NET_UNUSED);
                n->set_pols(0, 0);
            } else if (!on_port && is_output_type(type)) {
                net->set_net_type(NET_SIGNAL);
                n->set_pols(0, 0);
            } else if (!on_port && is_tristate_type(type)) {
                net->set_net_type(NET_WIRED);
                n->set_pols(0, 0);
            }
        }
    }
}

namespace {

// The nodes of one file share their pin texts: each text is compared with
// the clock pin names once, and its answer kept by address.
class ClockPinNames {
   public:
    bool has(const char* pin) {
        if (!pin) return false;
        const std::size_t k = (reinterpret_cast<std::uintptr_t>(pin) >> 3) % kSlots;
        if (texts_[k] != pin) {
            texts_[k] = pin;
            answers_[k] = is_clock_pin_name(pin);
        }
        return answers_[k];
    }

   private:
    static constexpr std::size_t kSlots = 64;
    const char* texts_[kSlots] = {};
    bool answers_[kSlots] = {};
};

}  // namespace

void mark_clock_nets(Module& m) {
    ClockPinNames names;
    InstanceFetch fetch(m.nets);
    for (Net* net = m.nets; net; net = net->next) {
        for (Node* n = net->nodes; n; n = n->next) {
            fetch.step();
            const int cell = n->inst ? n->inst->cell() : 0;
            const bool clock = names.has(n->pin) ||
                               (cell == CELL_PORT && n->inst->note() == KW_CLOCK) ||
                               (cell == CELL_SUBMODULE && n->port_note() == KW_CLOCK);
            if (!clock) continue;
            n->inst->set_on_clock(true);
            mark_clock_net(n);
        }
    }
}

// Depth first, with an explicit stack whose frames visit the nodes in the
// order the plain recursion would: each node of a newly marked net in list
// order, and for a combinational cell each other pin along its ring.
void mark_clock_net(Node* start) {
    struct Frame {
        Node* x;       // the node of the marked net being handled
        Node* ring;    // next pin of x's instance to follow, or null
        bool entered;  // x's own work (flag, partner) is done
    };
    std::vector<Frame> stack;
    auto enter = [&stack](Node* node) {
        Net* net = node ? node->net : nullptr;
        if (!net || net->net_type() == NET_CLOCK) return;
        net->set_net_type(NET_CLOCK);
        stack.push_back({net->nodes, nullptr, false});
    };
    enter(start);
    while (!stack.empty()) {
        Frame& f = stack.back();
        Node* x = f.x;
        if (!x) {
            stack.pop_back();
            continue;
        }
        if (!f.entered) {
            f.entered = true;
            x->inst->set_on_clock(true);
            const int cell = x->inst->cell();
            if (is_clock_stop(cell)) {
                f.x = x->next, f.entered = false;
            } else if (cell == CELL_PORT || cell == CELL_SUBMODULE) {
                f.x = x->next, f.entered = false;
                enter(find_node(x));  // may reallocate the stack: `f` is not used after
            } else {
                f.ring = x->same_inst;
            }
            continue;
        }
        if (f.ring && f.ring != x) {
            Node* y = f.ring;
            f.ring = y->same_inst;
            enter(y);
            continue;
        }
        f.x = x->next, f.entered = false, f.ring = nullptr;
    }
}

std::string net_dump(const Net& net, const char* label) {
    std::string out;
    char buffer[64];
    if (label)
        std::snprintf(buffer, sizeof buffer, "NET:%s:(%d:%d): ", label, net.net_type(),
                      net.irreversible() ? 1 : 0);
    else
        std::snprintf(buffer, sizeof buffer, "NET:%p:(%d:%d): ", static_cast<const void*>(&net),
                      net.net_type(), net.irreversible() ? 1 : 0);
    out += buffer;
    out += "[";
    out += net.source && net.source->pin ? net.source->pin : "";
    out += "]: ";
    for (const Node* n = net.nodes; n; n = n->next) {
        if (on_cell(n, CELL_PORT)) {
            out += text_or_null(n->pin);
        } else {
            out += n->inst ? text_or_null(n->inst->name) : "";
            out += ".";
            out += text_or_null(n->pin);
        }
        std::snprintf(buffer, sizeof buffer, "(%d/%d) ", n->pol_a(), n->pol_b());
        out += buffer;
    }
    out += "\n";
    return out;
}

std::string dump_nets(const Module& m) {
    std::string out;
    int index = 0;
    for (const Net* net = m.nets; net; net = net->next)
        out += net_dump(*net, std::to_string(index++).c_str());
    return out;
}

void invert_net(Net& net) {
    for (Node* n = net.nodes; n; n = n->next) n->set_pols(-n->pol_a(), -n->pol_b());
}

}  // namespace vorp
