// Protection of irreversible nets: a two-pin sticky cell between such a net
// and every inverter or boundary pin on it, resolved after the reduction.
#pragma once

#include "db/design.h"

namespace vorp {

// Put a sticky (cell 426 or 427) between `net` and `node`: dir 1 when the
// node drives, 0 when it is driven. The sticky and its own net are pushed at
// the front of the node's module.
int insert_sticky(Design& d, Net* net, Node* node, int cell, int dir);
int protect_net(Design& d, Net* net);
// Protect every irreversible net of every module; names run "sticky-0", ...
int protect_irreversible_nets(Design& d);

// Turn a sticky into an inverter, a buffer, or nothing (its nets joined).
int resolve_sticky(Design& d, Instance* sticky);
// Resolve every sticky of every module.
int unprotect_irreversible_nets(Design& d);

}  // namespace vorp
