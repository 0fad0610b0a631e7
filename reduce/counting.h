// Inverter counting: how many inverters a polarity assignment needs, and the
// inverted load that breaks ties. Full walks of the nets; no caching.
#pragma once

#include "db/design.h"
#include "db/queries.h"

namespace vorp {

// Inverters a module needs: per signal net for flattened modules, the inv-
// cells of reference modules, nothing for black boxes.
int count_inverters(Design& d, Module& m);
// inv- cells left on clock nets by flattening.
int count_kept_inverters(Design& d, Module& m);
// Tie-break measure over the top module's signal nets.
int total_inverted_load(Design& d, const Module& top);

// 0 or 1: whether the net needs an inverter, by its driver's kind.
int net_inverters(const Design& d, const Net* net);
// How many consumers see the inverted signal, by the same rules.
int net_inverted_load(const Design& d, const Net* net);

// Exclusive-or gates absorb inversions: their pins are nobody's consumers.
inline bool is_consumer(const Node* n) {
    return !n->inst || !is_xor(n->inst->cell());
}

// How a net's driver can serve inverted consumers; fixed while reducing,
// since the reduction changes polarities and flags, never cells or nets.
enum class DriverRule : uint8_t { EITHER_POLARITY, ONE_POLARITY, NEVER };
DriverRule driver_rule(const Design& d, const Net* net);
// The two measures of a net from its consumer votes: the number of
// consumers that want the straight and the inverted signal.
int rule_inverters(DriverRule rule, int straight, int inverted);
int rule_inverted_load(DriverRule rule, int straight, int inverted);

}  // namespace vorp
