// Inverter insertion and the push-down of flat nets into module copies.
#pragma once

#include "db/design.h"

namespace vorp {

// Put the inverters still needed back as cells and, by default, hand every
// flat net back to the module copies it came from.
void push_down_nets(Design& d);

// Put back the needed inverters, cut nets back into the hierarchy, then
// group and name the surviving instances for the writer.
void finish_modules(Design& d);

}  // namespace vorp
