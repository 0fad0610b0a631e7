// For every group leader, the signal nets whose driver belongs to the group,
// in the order of the top module's net list: what `settle_group_nets` and
// `build_clusters` would find by walking every net of the module, at the
// cost of the group's own nets. Groups do not change after they are built.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "db/design.h"
#include "reduce/top_graph.h"

namespace vorp {

class GroupNets {
   public:
    // Linear in the nets and the groups.
    void build(const TopGraph& graph);
    bool built() const { return built_; }
    std::span<Net* const> of(const Instance* leader) const;

   private:
    const TopGraph* graph_ = nullptr;
    std::vector<uint32_t> first_;  // by group number, and one past the last
    std::vector<Net*> nets_;
    bool built_ = false;
};

}  // namespace vorp
