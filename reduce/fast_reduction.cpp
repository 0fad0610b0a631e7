#include "reduce/fast_reduction.h"

#include <string>

#include "reduce/moves.h"
#include "reduce/reduction.h"

namespace vorp {

void KeptState::start(const Design& d, Module& top) {
    tally.start(d, top);
    group_nets.build(tally.graph());
    net_marks.assign(tally.nets(), 0);
}

void KeptState::mark_changed(Net* net) {
    if (!net->work_id) return;
    uint8_t& marks = net_marks[net->work_id - 1];
    if (settle_log_on && !(marks & UNSETTLED)) {
        marks |= UNSETTLED;
        unsettled.push_back(net);
    }
}

void KeptState::start_settle_log() {
    for (Net* net : unsettled) net_marks[net->work_id - 1] &= ~UNSETTLED;
    unsettled.clear();
    settle_log_on = true;
}

// Settling is idempotent and touches nothing but the net's own nodes (and
// toggles of flags that no decision reads), so a net that has not changed
// since it was last settled would not change now, and nets may be settled in
// any order.
void KeptState::settle_logged_nets(Reduction& r, Instance* g) {
    std::vector<Net*> logged;
    logged.swap(unsettled);
    for (Net* net : logged) {
        uint8_t& marks = net_marks[net->work_id - 1];
        if (!(marks & UNSETTLED)) continue;
        const Instance* driver = net->source ? net->source->inst : nullptr;
        if (!is_signal_net(net) || !driver || !driver->group) {
            marks &= ~UNSETTLED;  // no group ever settles it
        } else if (driver->group == g) {
            settle_net(r, net);
            marks &= ~UNSETTLED;
        } else {
            unsettled.push_back(net);
        }
    }
}

void FastReduction::build_groups(Module& top) {
    vorp::build_groups(top);
}

void FastReduction::start(Reduction& r) {
    kept.start(r.d, r.top);
    r.kept = &kept;
}

Measure FastReduction::measure(Reduction&, Mode mode) {
    return {kept.tally.count(), mode == Mode::TIE_BREAK ? kept.tally.load() : 0};
}

int FastReduction::net_count(const Reduction& r, const Net* net) const {
    return kept.tally.net_inverters(r.d, net);
}

int FastReduction::net_load(const Reduction& r, const Net* net) const {
    return kept.tally.net_inverted_load(r.d, net);
}

void FastReduction::settle_group_nets(Reduction& r, Instance* g) {
    if (kept.settle_log_on) return kept.settle_logged_nets(r, g);
    for (Net* net : kept.group_nets.of(g)) settle_net(r, net);
}

void FastReduction::all_settled(Reduction&) {
    kept.start_settle_log();
}

bool FastReduction::take_cluster(Reduction& r, Instance* g, ClusterSet set, Mode mode) {
    return kept.clusters.of(set).step(r, g, mode);
}

void FastReduction::start_group(Reduction& r, Instance* g) {
    kept.verdicts.start(r, g);
}

void FastReduction::finish_group() {
    kept.verdicts.finish();
    kept.clusters.release();
}

bool FastReduction::try_flip_group(Reduction& r, Instance*, Mode mode) {
    return kept.verdicts.try_flip_group(r, mode);
}

bool FastReduction::flip_instances(Reduction& r, Instance*, Mode mode) {
    return kept.verdicts.flip_instances(r, mode);
}

bool FastReduction::complement_outputs(Reduction& r, Instance*, Mode mode) {
    return kept.verdicts.complement_outputs(r, mode);
}

void FastReduction::check_group_step(Reduction& r) {
    if (!check_state_) return;
    if (const std::string fault = kept.verdicts.check(r); !fault.empty())
        throw StateCheckFailed(fault);
}

}  // namespace vorp
