#include "rewrite/piece_tree.h"

#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "db/lists.h"
#include "db/queries.h"
#include "rewrite/inverter_insertion.h"

namespace vorp {

namespace {

NetPiece* new_piece(Design& d, Module* m, Node* node = nullptr) {
    NetPiece* p = d.make<NetPiece>();
    p->module = m;
    if (node) push_front(p->nodes, node);
    return p;
}

// One tree being built. A net has at most one piece per module copy, and
// every child piece's module is a direct sub-module of its parent piece's
// module (the levels between are filled in), so the pieces by module find
// where a node belongs without walking the children of each level.
struct TreeBuild {
    Design& d;
    std::unordered_map<const Module*, NetPiece*> piece_of;

    NetPiece* make(Module* m, Node* node = nullptr) {
        NetPiece* p = new_piece(d, m, node);
        piece_of[m] = p;
        return p;
    }

    // Hang K below P with a fresh empty piece for every module strictly
    // between them; a piece of P's own module merges into P.
    void attach(NetPiece* parent, NetPiece* k) {
        if (k->module == parent->module) {
            while (Node* n = k->nodes) {
                k->nodes = n->next;
                push_front(parent->nodes, n);
            }
            piece_of[parent->module] = parent;
            return;
        }
        NetPiece* below = k;
        for (Module* m = k->module->parent; m && m != parent->module; m = m->parent) {
            NetPiece* between = make(m);
            below->up = between;
            between->children = below;
            below = between;
        }
        below->up = parent;
        below->sibling = parent->children;
        parent->children = below;
    }

    // A node below the root: walking down from the root through the children
    // that contain the node's module ends at the deepest piece of the
    // module's ancestors; the node joins the module's own piece there, or a
    // new piece is attached below it. Cost: the depth of the module.
    void add_below(NetPiece* root, Node* node, Module* m) {
        Module* a = m;
        auto found = piece_of.find(a);
        while (found == piece_of.end() && a->parent) {
            a = a->parent;
            found = piece_of.find(a);
        }
        NetPiece* at = found == piece_of.end() ? root : found->second;
        if (at->module == m) {
            push_front(at->nodes, node);
            return;
        }
        attach(at, make(m, node));
    }

    NetPiece* add_node(NetPiece* root, Node* node) {
        Module* m = owner_of(node);
        if (!root) return make(m, node);
        Module* c = common_module(root->module, m);
        if (c == m && m == root->module) {
            push_front(root->nodes, node);
            return root;
        }
        if (c == m) {
            NetPiece* top = make(m, node);
            attach(top, root);
            return top;
        }
        if (c == root->module) {
            add_below(root, node, m);
            return root;
        }
        NetPiece* top = make(c);
        attach(top, root);
        attach(top, make(m, node));
        return top;
    }
};

bool only_node_is(const NetPiece* p, bool (*match)(const Node*, int), int arg) {
    return p->nodes && !p->nodes->next && match(p->nodes, arg);
}

bool on_global_port(const Node* n, int) {
    return on_cell(n, CELL_PORT) && n->pin_type() == KW_GLOBAL;
}

bool any_node(const NetPiece* p, bool (*match)(const Node*, int), int arg) {
    for (const Node* n = p->nodes; n; n = n->next)
        if (match(n, arg)) return true;
    return false;
}

}  // namespace

NetPiece* build_piece_tree(Design& d, Net* net) {
    TreeBuild build{d, {}};
    NetPiece* root = nullptr;
    Node* n = net->nodes;
    net->nodes = nullptr;
    while (n) {
        Node* next = n->next;
        n->next = nullptr;
        root = build.add_node(root, n);
        n = next;
    }
    return root;
}

void set_directions(NetPiece* root, int net_type) {
    std::vector<NetPiece*> order;  // parents before children
    for_each_piece(root, [&order](NetPiece* p) {
        p->driver = nullptr;
        for (Node* n = p->nodes; n && !p->driver; n = n->next)
            if (may_drive(n)) p->driver = n;
        p->from_up = p->to_up = false;
        p->drivers_below = p->driver ? 1 : 0;
        p->input_below = false;
        for (Node* n = p->nodes; n && !p->input_below; n = n->next)
            p->input_below = is_input_type(n->pin_type());
        order.push_back(p);
    });
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
        NetPiece* p = *it;
        if (!p->up) continue;
        p->up->drivers_below += p->drivers_below;
        p->up->input_below = p->up->input_below || p->input_below;
    }
    // Marking from a driver visits the driver's piece and its ancestors,
    // which send to their parents (the root has none), and reaches every
    // other piece from its parent. So a piece sends up when a driver lies at
    // or below it, and receives from above when a driver lies elsewhere.
    const int drivers = root ? root->drivers_below : 0;
    for (NetPiece* p : order) {
        p->to_up = p->up && p->drivers_below > 0;
        p->from_up = drivers > p->drivers_below;
        if (!p->from_up)
            p->direction = net_type == NET_SIGNAL ? KW_OUTPUT : KW_TRISTATE;
        else if (!p->to_up)
            p->direction = KW_INPUT;
        else
            p->direction = p->input_below ? KW_BIDIRECT : KW_TRISTATE;
    }
}

Instance* FirstInstanceByName::find(const char* name, const Module& m) {
    if (!name) return nullptr;
    Seen& seen = modules_[&m];
    if (seen.head != m.insts) {
        // Take in what was pushed at the head since the last look (the whole
        // list the first time); the one nearest the head wins.
        std::unordered_set<std::string_view> fresh;
        for (Instance* i = m.insts; i && i != seen.head; i = i->next)
            if (i->name && fresh.insert(i->name).second) seen.first[i->name] = i;
        seen.head = m.insts;
    }
    const auto it = seen.first.find(name);
    return it == seen.first.end() ? nullptr : it->second;
}

void make_boundary_pins(Design& d, NetPiece* root) {
    FirstInstanceByName index;
    make_boundary_pins(d, root, index);
}

void make_boundary_pins(Design& d, NetPiece* root, FirstInstanceByName& index) {
    for_each_piece(root, [&d, &index](NetPiece* p) {
        for (NetPiece* k = p->children; k; k = k->sibling) {
            Module* inner = k->module;
            Instance* port = d.make<Instance>();
            port->set_cell(CELL_PORT);
            port->set_pin_type(k->direction);
            port->owner = inner;
            push_front(inner->ports, port);
            Node* inside = d.make<Node>();
            inside->set_pin_type(k->direction);
            inside->inst = port;
            inside->same_inst = inside;
            port->node = inside;
            push_front(k->nodes, inside);

            Instance* x = index.find(inner->inst_name, *p->module);
            if (!x) continue;
            Node* outside = d.make<Node>();
            outside->inst = x;
            if (x->node) {
                outside->same_inst = x->node->same_inst;
                x->node->same_inst = outside;
            } else {
                outside->same_inst = outside;
            }
            x->node = outside;
            push_front(p->nodes, outside);
            inside->peer = outside;
            outside->peer = inside;
        }
    });
}

void make_piece_nets(Design& d, NetPiece* root, int net_type) {
    for_each_piece(root, [&d, net_type](NetPiece* p) {
        if (!p->nodes) return;
        Net* net = d.make<Net>();
        net->nodes = p->nodes;
        net->source = p->driver;
        net->set_net_type(net_type);
        push_front(p->module->nets, net);
        for (Node* n = net->nodes; n; n = n->next) n->net = net;
    });
}

void localize_constants(Design& d, NetPiece* root, int cell) {
    for_each_piece(root, [&d, cell](NetPiece* p) {
        if (only_node_is(p, on_cell, cell)) {
            p->nodes = nullptr;
            return;
        }
        if (any_node(p, on_cell, cell)) return;
        Node* out = make_constant_cell(d, *p->module, cell);
        push_front(p->nodes, out);
        p->driver = out;
    });
}

void localize_power(Design& d, NetPiece* root, int which) {
    for_each_piece(root, [&d, which](NetPiece* p) {
        if (only_node_is(p, on_global_port, 0)) {
            p->nodes = nullptr;
            return;
        }
        if (any_node(p, on_global_port, 0)) return;
        Instance* port = make_supply_port(d, *p->module, which == CELL_HIGH ? "VDD" : "VSS");
        push_front(p->module->ports, port);
        push_front<Node>(p->nodes, port->node);
        p->driver = port->node;
    });
}

}  // namespace vorp
