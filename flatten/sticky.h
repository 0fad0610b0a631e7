// Protection of irreversible nets by sticky cells, and their resolution.
#pragma once

#include "db/design.h"

namespace vorp {

int protect_irreversible_nets(Design& d);
// After a successful reduction: every sticky becomes an inverter, a buffer or
// disappears. 0 when a sticky cannot be resolved.
int unprotect_irreversible_nets(Design& d);

}  // namespace vorp
