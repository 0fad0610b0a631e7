// The inverter reduction driver: groups of connected instances, and the
// strict and tie-break passes over each group.
//
// Changes only node polarities, the `dual` and `complement` flags and the
// group and cluster work fields; never creates, removes or relinks records.
// Groups are visited once each, in list order. How the passes measure and
// walk is the path's (`ReductionPath`), chosen once per run: the literal one
// recounts the top module's nets at every whole-design trial and walks all
// of them for every group, the moves taken word for word; the fast one keeps
// measures and trial verdicts per polarity change and walks the group's own
// nets, which takes the same decisions in the same order.
#pragma once

#include "db/design.h"
#include "reduce/moves.h"
#include "reduce/params.h"

namespace vorp {

// 1 on success, 0 when a twisted irreversible net is met.
int red_inv(Design& d, const ReduceParams& params = {});

// Every instance that takes part a group of its own, pushed at the head of
// the list: kept top ports, then global ports of flattened sub-modules, then
// top instances other than inverters.
void make_groups(Module& top);
// Groups from the head: top instances in reverse list order, then global
// ports of flattened sub-modules, then kept top ports, before merging along
// signal nets. Near-linear in the nodes (union-find over the leaders).
void build_groups(Module& top);
bool group_step(Reduction& r, Instance* g, Mode mode);
void strict_pass(Reduction& r, Instance* g);
bool tie_break_pass(Reduction& r, Instance* g);

}  // namespace vorp
