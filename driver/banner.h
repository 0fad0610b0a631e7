// The start-up banner.
#pragma once

#include <iosfwd>

namespace vorp {

// Print the banner to `out` (nothing when there is no stream). Missing
// arguments take the defaults "(anonymous)", "2.4.1" and "2001/12/03".
void print_banner(std::ostream* out, const char* name, const char* version = nullptr,
                  const char* date = nullptr);

}  // namespace vorp
