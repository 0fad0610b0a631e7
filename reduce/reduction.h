// The inverter reduction driver.
#pragma once

#include "db/design.h"

namespace vorp {

// 1 on success, 0 when a twisted irreversible net is met.
int red_inv(Design& d);

}  // namespace vorp
