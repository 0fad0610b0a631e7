// Real inverters for the consumers that still need an inverted signal,
// placed in the deepest module copy that holds them all and their driver.
#pragma once

#include "db/design.h"

namespace vorp {

// The deepest module containing both (through `parent`); a missing one
// gives the other.
Module* common_module(Module* a, Module* b);

// Move every consumer of N with pol_a -1 behind one new inverter on a new
// net, left in N's `next`; N's list is rebuilt in reverse order. Returns N.
Net* insert_inverter(Design& d, Net* net);

}  // namespace vorp
