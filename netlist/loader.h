// Finds, reads and expands every module of the design.
#pragma once

#include "db/design.h"

namespace vorp {

// Read the top module and, breadth first, one module copy per sub-module
// instance; counts the inverters of the expanded design. Input faults end the
// run (Fatal{1}).
void load_design(Design& d, const char* top_name);

}  // namespace vorp
