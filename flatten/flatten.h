// Turns the loaded hierarchy into one flat netlist held by the top module.
#pragma once

#include "db/design.h"

namespace vorp {

// 1 on success, 0 when the design cannot be handled (a message is printed).
int flat(Design& d);

}  // namespace vorp
