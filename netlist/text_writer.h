// Writes the reduced design as NLD text.
#pragma once

#include "db/design.h"

namespace vorp {

void write_reduced_design(Design& d);

}  // namespace vorp
