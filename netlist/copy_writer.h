// Copies input netlist files into the write directory byte for byte.
#pragma once

#include "db/design.h"

namespace vorp {

// Write the input netlists unchanged (the fallback of every run that does
// not rewrite). A failed open ends the run (Fatal{1}).
void write_unchanged_design(Design& d);

}  // namespace vorp
