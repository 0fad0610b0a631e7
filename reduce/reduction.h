// The inverter reduction driver: groups of connected instances, and the
// strict and tie-break passes over each group.
//
// Changes only node polarities, the `dual` and `complement` flags and the
// group and cluster work fields; never creates, removes or relinks records.
// Every whole-design trial recounts the top module's nets, so a group costs
// (trials x nodes); groups are visited once each, in list order.
#pragma once

#include "db/design.h"
#include "reduce/moves.h"

namespace vorp {

// 1 on success, 0 when a twisted irreversible net is met.
int red_inv(Design& d);
// The same with the repeat guard switched off or on: without it, a group whose
// passes cycle is processed for ever (used to compare runs that end by
// themselves).
enum class RepeatGuard { ON, OFF };
int red_inv(Design& d, RepeatGuard guard);

// Groups from the head: top instances in reverse list order, then global
// ports of flattened sub-modules, then kept top ports, before merging along
// signal nets. Linear in the nodes plus the walks of merges.
void build_groups(Module& top);
// A port-led group survives a merge; otherwise the first argument's group.
Instance* merge_groups(Module& top, Instance* a, Instance* b);
bool group_step(Reduction& r, Instance* g, Mode mode);
void strict_pass(Reduction& r, Instance* g);
bool tie_break_pass(Reduction& r, Instance* g);

}  // namespace vorp
