// The run order: read, flatten, reduce, rewrite, write.
#pragma once

#include "db/design.h"
#include "reduce/params.h"

namespace vorp {

// One whole run over the words after the program name; returns the exit
// status. Every message goes to `*d.err`. `reduce` chooses how the
// reduction stage works (the written bytes are the same either way).
int run_vorp(Design& d, int count, const char* const* words, const ReduceParams& reduce = {});

}  // namespace vorp
