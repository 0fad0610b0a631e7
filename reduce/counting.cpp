// PLACEHOLDER until inverter counting lands.
#include "reduce/counting.h"
namespace vorp {
int count_inverters(Design&, Module&) { return 0; }
int count_kept_inverters(Design&, Module&) { return 0; }
}  // namespace vorp
