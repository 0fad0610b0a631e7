// The clusters of the group being reduced, kept from one cluster step to the
// next instead of being rebuilt from nothing, and the verdicts of the trial
// flips that were undone.
//
// Only nets whose polarities changed can change clusters: an instance whose
// nets all stayed as they were keeps its cluster, its leader (the merges of a
// cluster depend only on its own nets, taken in net-list order) and the
// outcome of flipping it. So a step recomputes the clusters that touch a
// changed net, with their nets in list order, and tries again only those;
// the first accepted candidate in list order is the same as when every
// cluster is rebuilt and tried.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <unordered_map>
#include <vector>

#include "db/design.h"

namespace vorp {

struct Reduction;
enum class ClusterSet { ALL, NO_XOR };
enum class Mode;

struct ClusterIndex {
    const Instance* group = nullptr;
    ClusterSet set = ClusterSet::ALL;
    bool valid = false;
    std::vector<Instance*> members;                     // the group's chain
    std::unordered_map<const Instance*, uint32_t> pos;  // place in the chain
    // Candidate leaders by place in the chain, from the list head (the
    // latest member) on: not tried since their cluster last changed, and
    // tried with an equal count and a lower load (taken in tie-break mode).
    std::set<uint32_t, std::greater<>> untried;
    std::set<uint32_t, std::greater<>> tie_wins;
    std::vector<uint8_t> taken;  // scratch of an update, by place
    std::vector<Net*> nets;      // scratch of a trial
};

// `build_clusters` over the group's own nets (see `GroupNets`).
void build_clusters_indexed(Reduction& r, Instance* g, ClusterSet set);
// Bring the index up to date for group g and set; true when it is valid.
void sync_clusters(Reduction& r, Instance* g, ClusterSet set);
// `find_cluster` on the index: the same leader, left flipped.
Instance* find_indexed_cluster(Reduction& r, ClusterSet set, Mode mode);

}  // namespace vorp
