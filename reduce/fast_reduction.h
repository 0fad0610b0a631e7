// The fast reduction: measures kept up to date per polarity change, walks of
// a group's own nets, settling of the nets that changed only, clusters kept
// alive from one step to the next and group-level verdicts computed without
// flipping. It takes the decisions of the literal reduction, in the same
// order, at a cost in proportion to what changed.
#pragma once

#include "reduce/kept_state.h"
#include "reduce/params.h"
#include "reduce/reduction_path.h"

namespace vorp {

class FastReduction final : public ReductionPath {
   public:
    // With `check_state`, every group step compares the kept verdicts with
    // the trials made again.
    explicit FastReduction(bool check_state = kCheckedBuild) : check_state_(check_state) {}

    void build_groups(Module& top) override;
    void start(Reduction& r) override;
    Measure measure(Reduction& r, Mode mode) override;
    int net_count(const Reduction& r, const Net* net) const override;
    int net_load(const Reduction& r, const Net* net) const override;
    void settle_group_nets(Reduction& r, Instance* g) override;
    void all_settled(Reduction& r) override;
    bool take_cluster(Reduction& r, Instance* g, ClusterSet set, Mode mode) override;
    void start_group(Reduction& r, Instance* g) override;
    void finish_group() override;
    bool try_flip_group(Reduction& r, Instance* g, Mode mode) override;
    bool flip_instances(Reduction& r, Instance* g, Mode mode) override;
    bool complement_outputs(Reduction& r, Instance* g, Mode mode) override;
    void check_group_step(Reduction& r) override;

    KeptState kept;

   private:
    bool check_state_;
};

}  // namespace vorp
