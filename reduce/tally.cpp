#include "reduce/tally.h"

namespace vorp {

void Tally::start(const Design& d, Module& top) {
    slots_.clear();
    count_ = load_ = 0;
    for (Net* net = top.nets; net; net = net->next) {
        Slot s;
        s.rule = driver_rule(d, net);
        s.signal = is_signal_net(net);
        for (const Node* n = net->nodes; n; n = n->next)
            if (is_consumer(n)) vote(s, n->pol_a(), +1);
        if (s.signal) add(s);
        slots_.push_back(s);
        net->work_id = static_cast<uint32_t>(slots_.size());
    }
    started_ = true;
}

int Tally::net_inverters(const Design& d, const Net* net) const {
    if (!net->work_id) return vorp::net_inverters(d, net);
    const Slot& s = slots_[net->work_id - 1];
    return rule_inverters(s.rule, s.straight, s.inverted);
}

int Tally::net_inverted_load(const Design& d, const Net* net) const {
    if (!net->work_id) return vorp::net_inverted_load(d, net);
    const Slot& s = slots_[net->work_id - 1];
    return rule_inverted_load(s.rule, s.straight, s.inverted);
}

}  // namespace vorp
