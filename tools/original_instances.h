// Finds, for the gates of a reduced design, the gates of the design it was
// reduced from that they still are. vorp renames every gate it writes, so
// names do not tell; the surroundings do: a gate whose cell is the same and
// whose every pin lies on a net with the same named neighbours (ports,
// registers, sub-modules, constants, and gates matched before) is the same
// gate. Matching repeats until no gate is added; only gates whose
// surroundings are unique on both sides are matched.
//
// A wrong match could only give a gate another drive strength of its own
// function, never another function: the caller checks cell and pins.
//
// Cost: per round, linear in the pins of the unmatched gates times the size
// of their nets; rounds are bounded by the logic depth.
#pragma once

#include <map>
#include <string>

#include "db/design.h"

namespace vorp::tools {

// Original instance name of each matched gate of `reduced`.
std::map<const Instance*, std::string> match_gates(const Module& reduced, const Module& original);

}  // namespace vorp::tools
