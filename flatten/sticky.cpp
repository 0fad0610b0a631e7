// PLACEHOLDER until sticky handling lands.
#include "flatten/sticky.h"
namespace vorp {
int protect_irreversible_nets(Design&) { return 0; }
int unprotect_irreversible_nets(Design&) { return 0; }
}  // namespace vorp
