// A consistency checker for the design records, run after every stage in
// checked builds (VORP_CHECKS) and by tests; never in the release hot path.
#pragma once

#include <string>

#include "db/design.h"

namespace vorp {

// Empty when the design holds together, else a description of the first
// broken invariant found:
//  - every list (modules, ports, instances, nets, nodes) ends;
//  - every node on a net's list points back at that net and is on no other
//    list, once;
//  - every `same_inst` ring of a listed node closes without leaving the
//    node's instance;
//  - every listed node of a port belongs to a port whose `node` is a node
//    of that same port (a port named twice keeps its last connection);
//  - every net's `source`, when set, is one of its nodes, or a node on no
//    listed net (a dissolved sticky's pin stays named as a source).
// Linear in the size of the design (one hash set of the listed nodes).
std::string check_design(const Design& d);

// In checked builds: run check_design and abort the process with the
// description if it fails. Does nothing otherwise.
void check_after(const Design& d, const char* stage);

}  // namespace vorp
