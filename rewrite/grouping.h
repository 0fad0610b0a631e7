// Gathering each module's surviving instances into cell groups for the
// writer: one group per cell, gate groups sorted into trees by size.
#pragma once

#include "db/design.h"

namespace vorp {

// Fill `m.cell_groups` from the kept instances of `m.insts`; the instances'
// `next` fields chain the groups from then on. Groups come out in reverse
// order of their first member, each chain in reverse order of `insts`.
void build_cell_groups(Design& d, Module& m);
// Turn the groups of and-, nand-, or-, nor-, aoi- and oai- cells into trees
// by `param`.
void sort_gate_groups(Design& d, Module& m);
// Insert an instance into the tree rooted at `g`; returns the root.
CellGroup* tree_insert(Design& d, Instance* inst, CellGroup* g);

}  // namespace vorp
