// One way of reducing, chosen by `red_inv` when it starts: the literal one
// (literal_reduction.h), the reference the fast one (fast_reduction.h) is
// checked against. The sweeps and the moves ask it for measures, the nets of
// a group, cluster steps and the group-level moves, and never ask which one
// it is. Its calls are made per trial or per step, never per node.
#pragma once

#include "db/design.h"

namespace vorp {

struct Reduction;
enum class Mode;
// The cells a cluster may hold: all cluster cells, or all but the
// exclusive-or gates.
enum class ClusterSet { ALL, NO_XOR };

// Inverter count and inverted load of the top module; the load only in
// tie-break mode.
struct Measure {
    int count = 0;
    int load = 0;
};

class ReductionPath {
   public:
    virtual ~ReductionPath() = default;

    // Fills the top module's groups.
    virtual void build_groups(Module& top) = 0;
    // Once the groups are built, before the first polarity change.
    virtual void start(Reduction& r) = 0;

    virtual Measure measure(Reduction& r, Mode mode) = 0;
    // One net's `net_inverters` and `net_inverted_load`.
    virtual int net_count(const Reduction& r, const Net* net) const = 0;
    virtual int net_load(const Reduction& r, const Net* net) const = 0;

    // `settle_net` on the signal nets whose driver belongs to group g (the
    // ones that cannot have changed since they were settled may be passed
    // over).
    virtual void settle_group_nets(Reduction& r, Instance* g) = 0;
    // Every group's nets have just been settled.
    virtual void all_settled(Reduction& r) = 0;

    // Flips the cluster of group g whose flip `find_cluster` would take and
    // toggles its gates' `dual`; false when no cluster pays.
    virtual bool take_cluster(Reduction& r, Instance* g, ClusterSet set, Mode mode) = 0;

    // Group g's passes start and end.
    virtual void start_group(Reduction& r, Instance* g) = 0;
    virtual void finish_group() = 0;
    // The group-level moves of `group_step`, on the group started last.
    virtual bool try_flip_group(Reduction& r, Instance* g, Mode mode) = 0;
    virtual bool flip_instances(Reduction& r, Instance* g, Mode mode) = 0;
    virtual bool complement_outputs(Reduction& r, Instance* g, Mode mode) = 0;
    // After each group step: throws `StateCheckFailed` when what the path
    // keeps about the group differs from the trials made again.
    virtual void check_group_step(Reduction& r) = 0;
};

}  // namespace vorp
