// A flat net cut back into the module hierarchy: one piece per module copy
// that the net touches or passes through, with boundary ports and instance
// pins where it crosses a module boundary.
#pragma once

#include "db/design.h"

namespace vorp {

struct NetPiece {
    NetPiece* up = nullptr;
    NetPiece* sibling = nullptr;
    NetPiece* children = nullptr;
    Module* module = nullptr;
    Node* nodes = nullptr;  // chained by `next`
    Node* driver = nullptr;
    bool visited = false;
    bool from_up = false;
    bool to_up = false;
    int direction = 0;
};

// The tree of the net's nodes by module copy; null for a net without nodes.
// The net's own list is consumed.
NetPiece* build_piece_tree(Design& d, Net* net);
void set_directions(NetPiece* root, int net_type);
void make_boundary_pins(Design& d, NetPiece* root);
void make_piece_nets(Design& d, NetPiece* root, int net_type);
// Give every piece its own constant cell (420 or 421) or supply port
// ("VDD" for 420, "VSS" for 421) instead of a boundary crossing.
void localize_constants(Design& d, NetPiece* root, int cell);
void localize_power(Design& d, NetPiece* root, int which);

// Every piece, depth first, each piece before its children, children in
// list order.
template <class F>
void for_each_piece(NetPiece* root, F&& f);

}  // namespace vorp

#include <algorithm>
#include <vector>

namespace vorp {

template <class F>
void for_each_piece(NetPiece* root, F&& f) {
    std::vector<NetPiece*> stack;
    if (root) stack.push_back(root);
    while (!stack.empty()) {
        NetPiece* p = stack.back();
        stack.pop_back();
        f(p);
        // Children go on the stack last first, so the first child comes next.
        const std::size_t mark = stack.size();
        for (NetPiece* c = p->children; c; c = c->sibling) stack.push_back(c);
        std::reverse(stack.begin() + static_cast<std::ptrdiff_t>(mark), stack.end());
    }
}

}  // namespace vorp
