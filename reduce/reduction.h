// The inverter reduction driver: groups of connected instances, and the
// strict and tie-break passes over each group.
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

void build_groups(Module& top);
Instance* merge_groups(Module& top, Instance* a, Instance* b);
bool group_step(Reduction& r, Instance* g, Mode mode);
void strict_pass(Reduction& r, Instance* g);
bool tie_break_pass(Reduction& r, Instance* g);

}  // namespace vorp
