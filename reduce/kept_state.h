// What the fast reduction keeps up to date as polarities change: the
// measures, the nets of every group, the clusters and the group-level
// verdicts of the group being reduced, and the nets to settle again.
#pragma once

#include <cstdint>
#include <vector>

#include "db/design.h"
#include "reduce/cluster_state.h"
#include "reduce/group_nets.h"
#include "reduce/tally.h"
#include "reduce/verdicts.h"

namespace vorp {

struct Reduction;

struct KeptState {
    Tally tally = {};
    GroupNets group_nets = {};
    ClusterStates clusters = {};
    GroupVerdicts verdicts = {};

    // Nets whose polarities changed since they were last settled, once
    // every net has been settled.
    enum : uint8_t { UNSETTLED = 1 };
    std::vector<uint8_t> net_marks = {};
    std::vector<Net*> unsettled = {};
    bool settle_log_on = false;

    // Numbers the top module's nets; call after the groups are built.
    void start(const Design& d, Module& top);

    // Called before a node's polarities change to (a, b), once per node.
    // Changes made while `quiet` are undone before anything reads the logs.
    void polarity_changed(Node* n, int a, int b, bool quiet) {
        tally.pol_a_changed(n, n->pol_a(), a);
        if (!quiet) clusters.pol_a_changed(n, n->pol_a(), a);
        if (!quiet && (a != n->pol_a() || b != n->pol_b()) && n->net) mark_changed(n->net);
        verdicts.pol_a_changed(n, n->pol_a(), a);
    }
    void mark_changed(Net* net);
    // Every net settled: from now on only logged nets need settling.
    void start_settle_log();
    // settle_net on the logged nets whose driver belongs to group g.
    void settle_logged_nets(Reduction& r, Instance* g);
};

}  // namespace vorp
