#include "reduce/group_nets.h"

namespace vorp {

namespace {

// The group number of the net's driver, for signal nets: the group of the
// instance the source node names, as settling finds it.
uint32_t group_of_driver(const TopGraph& graph, uint32_t net) {
    return graph.counted(net) ? graph.driver_group(net) : TopGraph::NONE;
}

}  // namespace

void GroupNets::build(const TopGraph& graph) {
    graph_ = &graph;
    // Count per group, then place each net at its group's next free slot,
    // walking the nets in list order so every group keeps that order.
    first_.assign(graph.groups() + 1, 0);
    for (uint32_t k = 0; k < graph.nets(); ++k)
        if (const uint32_t g = group_of_driver(graph, k); g != TopGraph::NONE) ++first_[g + 1];
    for (std::size_t g = 0; g < graph.groups(); ++g) first_[g + 1] += first_[g];
    nets_.resize(first_.back());
    std::vector<uint32_t> next(first_.begin(), first_.end() - 1);
    for (uint32_t k = 0; k < graph.nets(); ++k)
        if (const uint32_t g = group_of_driver(graph, k); g != TopGraph::NONE)
            nets_[next[g]++] = graph.net_record(k);
    built_ = true;
}

std::span<Net* const> GroupNets::of(const Instance* leader) const {
    const uint32_t g = graph_->group_number(leader);
    if (g == TopGraph::NONE) return {};
    return {nets_.data() + first_[g], first_[g + 1] - first_[g]};
}

}  // namespace vorp
