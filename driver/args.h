// The command line.
#pragma once

#include "db/design.h"

namespace vorp {

extern const char* const kUsage;

// Fill the top name, the directory lists and the options of `d` from the
// words after the program name. A malformed command line prints the usage
// (after the author credit for a lone "-author") and ends the run with
// status 1.
void parse_args(Design& d, int count, const char* const* words);

}  // namespace vorp
