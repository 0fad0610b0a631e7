// The run order: read, flatten, reduce, rewrite, write.
#pragma once

#include "db/design.h"

namespace vorp {

// One whole run over the words after the program name; returns the exit
// status. Every message goes to `*d.err`.
int run_vorp(Design& d, int count, const char* const* words);

}  // namespace vorp
