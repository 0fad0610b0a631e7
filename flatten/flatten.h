// Turns the loaded hierarchy into one flat netlist held by the top module.
#pragma once

#include "db/design.h"

namespace vorp {

// False when the design cannot be handled (a message is printed); the
// records are then left half-flattened.
[[nodiscard]] bool flat(Design& d);

}  // namespace vorp
