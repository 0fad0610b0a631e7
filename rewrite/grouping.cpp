#include "rewrite/grouping.h"

#include <array>
#include <string_view>

#include "db/lists.h"

namespace vorp {

namespace {

bool is_tree_cell(int cell) {
    return is_gate(cell) && !is_xor(cell);
}

CellGroup* new_group(Design& d, Instance* first) {
    CellGroup* g = d.make<CellGroup>();
    g->first = first;
    return g;
}

}  // namespace

void build_cell_groups(Design& d, Module& m) {
    m.cell_groups = nullptr;
    // The first group of a cell in list order is the one made last: an index
    // by cell code finds it without walking the list. Sub-module instances of
    // a flattened module always get a group of their own.
    std::array<CellGroup*, 1024> by_cell{};
    Instance* inst = m.insts;
    while (inst) {
        Instance* next = inst->next;
        inst->next = nullptr;
        if (inst->kept()) {
            const int cell = inst->cell();
            CellGroup* g = nullptr;
            if (cell != CELL_SUBMODULE) {
                g = by_cell[cell];
            } else if (!inst->owner || inst->owner->kind() != MOD_NLD) {
                for (CellGroup* c = m.cell_groups; c && !g; c = c->next)
                    if (c->first->cell() == CELL_SUBMODULE && c->first->module_name &&
                        inst->module_name &&
                        std::string_view(c->first->module_name) == inst->module_name)
                        g = c;
            }
            if (g) {
                push_front(g->first, inst);
            } else {
                g = new_group(d, inst);
                push_front(m.cell_groups, g);
                if (cell != CELL_SUBMODULE) by_cell[cell] = g;
            }
        }
        inst = next;
    }
    sort_gate_groups(d, m);
}

void sort_gate_groups(Design& d, Module& m) {
    for (CellGroup* g = m.cell_groups; g; g = g->next) {
        if (!is_tree_cell(g->first->cell())) continue;
        Instance* inst = g->first;
        g->first = nullptr;
        while (inst) {
            Instance* next = inst->next;
            tree_insert(d, inst, g);
            inst = next;
        }
    }
}

CellGroup* tree_insert(Design& d, Instance* inst, CellGroup* g) {
    inst->next = nullptr;
    CellGroup* root = g;
    CellGroup** slot = &root;
    for (;;) {
        CellGroup* at = *slot;
        if (!at) {
            *slot = new_group(d, inst);
            return root;
        }
        if (!at->first) {
            at->first = inst;
            return root;
        }
        const int here = at->first->param();
        if (inst->param() == here) {
            push_front(at->first, inst);
            return root;
        }
        slot = inst->param() > here ? &at->right : &at->left;
    }
}

}  // namespace vorp
