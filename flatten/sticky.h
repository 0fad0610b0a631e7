// Protection of irreversible nets: a two-pin sticky cell between such a net
// and every inverter or boundary pin on it, resolved after the reduction.
#pragma once

#include "db/design.h"

namespace vorp {

// Put a sticky (CELL_STICKY, or CELL_STICKY_TS on a tristate pin) between
// `net` and `node`: dir 1 when the node drives, 0 when it is driven. The
// sticky and its own net are pushed at the front of the node's module. False
// when the node is not on its net (the sticky and its net stay, pinless).
[[nodiscard]] bool insert_sticky(Design& d, Net* net, Node* node, int cell, int dir);
// False, with a message, on a pin that cannot be protected.
[[nodiscard]] bool protect_net(Design& d, Net* net);
// Protect every irreversible net of every module; names run "sticky-0", ...
[[nodiscard]] bool protect_irreversible_nets(Design& d);

// Turn a sticky into an inverter, a buffer, or nothing (its nets joined).
// False, silently, when its pins are not one input and one output.
[[nodiscard]] bool resolve_sticky(Design& d, Instance* sticky);
// Resolve every sticky of every module; the first failure ends the pass.
[[nodiscard]] bool unprotect_irreversible_nets(Design& d);

}  // namespace vorp
