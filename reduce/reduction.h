// The inverter reduction driver: groups of connected instances, and the
// strict and tie-break passes over each group.
//
// Changes only node polarities, the `dual` and `complement` flags and the
// group and cluster work fields; never creates, removes or relinks records.
// Groups are visited once each, in list order. With `Design::literal_reduction`
// every whole-design trial recounts the top module's nets and every group
// walk goes over all of them, as the moves are defined; otherwise measures
// are kept per polarity change and walks cover the group's own nets, which
// takes the same decisions in the same order.
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
// signal nets. Near-linear in the nodes (union-find over the leaders).
void build_groups(Module& top);
// The same groups by `merge_groups`, as they are defined: each merge walks
// the leader list and the surviving chain.
void build_groups_literal(Module& top);
// A port-led group survives a merge; otherwise the first argument's group.
Instance* merge_groups(Module& top, Instance* a, Instance* b);
bool group_step(Reduction& r, Instance* g, Mode mode);
void strict_pass(Reduction& r, Instance* g);
bool tie_break_pass(Reduction& r, Instance* g);

}  // namespace vorp
