// Turns the reduction's flags and polarities into cells, constants and ports.
#pragma once

#include "db/design.h"

namespace vorp {

void apply_polarities(Design& d);

}  // namespace vorp
