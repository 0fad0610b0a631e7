// Inverter insertion and the push-down of flat nets into module copies.
#pragma once

#include "db/design.h"

namespace vorp {

// Put back the needed inverters, cut nets back into the hierarchy, then
// group and name the surviving instances for the writer.
void finish_modules(Design& d);

}  // namespace vorp
