// Inverter counting: how many inverters a polarity assignment needs.
#pragma once

#include "db/design.h"

namespace vorp {

int count_inverters(Design& d, Module& m);
int count_kept_inverters(Design& d, Module& m);

}  // namespace vorp
