#include "reduce/group_nets.h"

#include "reduce/counting.h"

namespace vorp {

namespace {

const Instance* group_of_driver(const Net* net) {
    if (!is_signal_net(net) || !net->source || !net->source->inst) return nullptr;
    return net->source->inst->group;
}

}  // namespace

void GroupNets::build(const Module& top) {
    range_.clear();
    nets_.clear();
    // Count per group, then place each net at its group's next free slot,
    // walking the nets in list order so every group keeps that order.
    for (const Net* net = top.nets; net; net = net->next)
        if (const Instance* g = group_of_driver(net)) ++range_[g].second;
    uint32_t start = 0;
    for (auto& [g, r] : range_) {
        r.first = start;
        start += r.second;
        r.second = r.first;
    }
    nets_.resize(start);
    for (Net* net = top.nets; net; net = net->next)
        if (const Instance* g = group_of_driver(net)) nets_[range_[g].second++] = net;
    built_ = true;
}

std::span<Net* const> GroupNets::of(const Instance* leader) const {
    const auto it = range_.find(leader);
    if (it == range_.end()) return {};
    // After placing, `second` is the end of the group's slots.
    const auto [begin, end] = it->second;
    return {nets_.data() + begin, end - begin};
}

}  // namespace vorp
