#include "reduce/tally.h"

namespace vorp {

void Tally::start(const Design& d, Module& top) {
    slots_.clear();
    count_ = load_ = 0;
    graph_.build(d, top);
    slots_.resize(graph_.nets());
    for (uint32_t k = 0; k < graph_.nets(); ++k) {
        Slot& s = slots_[k];
        for (uint32_t n = graph_.first_node(k); n < graph_.end_node(k); ++n)
            if (graph_.consumer(n)) vote(s, graph_.pol_a(n), +1);
        if (graph_.counted(k)) add(k);
    }
    started_ = true;
}

int Tally::net_inverters(const Design& d, const Net* net) const {
    if (!net->work_id) return vorp::net_inverters(d, net);
    const Slot& s = slots_[net->work_id - 1];
    return rule_inverters(graph_.rule(net->work_id - 1), s.straight, s.inverted);
}

int Tally::net_inverted_load(const Design& d, const Net* net) const {
    if (!net->work_id) return vorp::net_inverted_load(d, net);
    const Slot& s = slots_[net->work_id - 1];
    return rule_inverted_load(graph_.rule(net->work_id - 1), s.straight, s.inverted);
}

}  // namespace vorp
