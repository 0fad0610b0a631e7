// Turns the reduction's flags and polarities into netlist material in the
// top module: new gate cells and output pins, consumers of constants, supply
// ports and register outputs moved to the opposite polarity's net.
#pragma once

#include "db/design.h"
#include "db/queries.h"

namespace vorp {

void apply_polarities(Design& d);

void rename_inverted_outputs(Design& d);
void split_constant_nets(Design& d);
void split_power_nets(Design& d);
void split_register_outputs(Design& d, Instance* reg);
// Take a node out of its instance's ring; the ring's predecessor becomes the
// instance's `node`.
void detach_node(Node* node);
int dual_cell(const Instance& inst);
int complement_cell(const Instance& inst);

}  // namespace vorp
