// The literal reduction, the reference the fast path is checked against:
// every measure is a full recount of the top module, every walk of a group's
// nets goes over all nets of the module, groups are joined by `merge_groups`
// and clusters are built from nothing by `build_clusters` at every step:
// each move made the plain way, with nothing kept from one trial to the
// next. Slow on large designs; its worth is that it is plainly right.
#pragma once

#include "db/design.h"
#include "reduce/moves.h"
#include "reduce/reduction_path.h"

namespace vorp {

class LiteralReduction final : public ReductionPath {
   public:
    void build_groups(Module& top) override;
    void start(Reduction&) override {}
    Measure measure(Reduction& r, Mode mode) override;
    int net_count(const Reduction& r, const Net* net) const override;
    int net_load(const Reduction& r, const Net* net) const override;
    void settle_group_nets(Reduction& r, Instance* g) override;
    void all_settled(Reduction&) override {}
    bool take_cluster(Reduction& r, Instance* g, ClusterSet set, Mode mode) override;
    void start_group(Reduction&, Instance*) override {}
    void finish_group() override {}
    bool try_flip_group(Reduction& r, Instance* g, Mode mode) override;
    bool flip_instances(Reduction& r, Instance* g, Mode mode) override;
    bool complement_outputs(Reduction& r, Instance* g, Mode mode) override;
    // Nothing is kept, so there is nothing to check.
    void check_group_step(Reduction&) override {}
};

// The groups by `merge_groups`: each merge walks the leader list and the
// surviving chain.
void build_groups_literal(Module& top);
// A port-led group survives a merge; otherwise the first argument's group.
Instance* merge_groups(Module& top, Instance* a, Instance* b);

bool try_flip_group(Reduction& r, Instance* g, Mode mode);
bool flip_instances(Reduction& r, Instance* g, Mode mode);
bool complement_outputs(Reduction& r, Instance* g, Mode mode);

void build_clusters(Reduction& r, Instance* g, ClusterSet set);
Instance* merge_clusters(Reduction& r, Instance* a, Instance* b);
Instance* find_cluster(Reduction& r, ClusterSet set, Mode mode);

}  // namespace vorp
