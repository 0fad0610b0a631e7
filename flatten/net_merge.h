// Joining the two nets that meet at a pair of nodes, with the polarity
// adjustment that keeps every remaining load's logical value.
#pragma once

#include "db/design.h"

namespace vorp {

// Join y's net into x's net and take the pair x, y out of them; one net may
// be inverted first (never an irreversible one). `module` holds y's net,
// which leaves its list through the run's net-list index when one covers
// it, else by a walk. `x_before`, from a caller walking x's net, is the node
// before x (see `unlink_node`).
// Returns the node from which a walk over x's net goes on: x's former
// successor, else the first node that came from y's net; either now stands
// behind x's former predecessor. Null on failure.
[[nodiscard]] Node* merge_net(Design& d, Node* x, Node* y, Module& module,
                              Node* x_before = nullptr);

}  // namespace vorp
