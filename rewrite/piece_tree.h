// A flat net cut back into the module hierarchy: one piece per module copy
// that the net touches or passes through, with boundary ports and instance
// pins where it crosses a module boundary.
#pragma once

#include <string_view>
#include <unordered_map>

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
    // Working counts of `set_directions`: driving pieces at or below this
    // one, and whether an input pin lies at or below it.
    int drivers_below = 0;
    bool input_below = false;
};

// The tree of the net's nodes by module copy; null for a net without nodes.
// The net's own list is consumed.
NetPiece* build_piece_tree(Design& d, Net* net);
void set_directions(NetPiece* root, int net_type);

// The first instance of each name in a module's list, as `find_inst` finds
// it, kept for a whole pass: each module is indexed on its first look, and
// instances pushed at the head of its list since the last look are taken in
// on the next one, so the answer stays that of a walk from the head as long
// as the pass only pushes instances at the head (it never removes any).
class FirstInstanceByName {
   public:
    Instance* find(const char* name, const Module& m);

   private:
    struct Seen {
        const Instance* head = nullptr;
        std::unordered_map<std::string_view, Instance*> first;
    };
    std::unordered_map<const Module*, Seen> modules_;
};

// A port in the child's module and a pin on the instance of that copy in
// the parent's, for every parent and child piece of the tree.
void make_boundary_pins(Design& d, NetPiece* root);
void make_boundary_pins(Design& d, NetPiece* root, FirstInstanceByName& index);
void make_piece_nets(Design& d, NetPiece* root, int net_type);
// Give every piece its own constant cell (CELL_HIGH or CELL_LOW) or supply
// port ("VDD" for CELL_HIGH, "VSS" for CELL_LOW) instead of a boundary
// crossing.
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
