#include "reduce/counting.h"

#include <algorithm>

namespace vorp {

namespace {

struct Votes {
    int straight = 0;
    int inverted = 0;
};

Votes votes_of(const Net* net) {
    Votes v;
    for (const Node* n = net->nodes; n; n = n->next) {
        if (!is_consumer(n)) continue;
        if (n->pol_a() == 1) ++v.straight;
        if (n->pol_a() == -1) ++v.inverted;
    }
    return v;
}

}  // namespace

DriverRule driver_rule(const Design& d, const Net* net) {
    const Node* source = net->source;
    if (!source || !source->inst) return DriverRule::ONE_POLARITY;
    const int cell = source->inst->cell();
    switch (cell) {
        case CELL_AND:
        case CELL_NAND:
        case CELL_OR:
        case CELL_NOR:
            return d.opt_a && !net->irreversible() ? DriverRule::EITHER_POLARITY
                                                   : DriverRule::ONE_POLARITY;
        case CELL_EOR:
        case CELL_ENOR:
            return !net->irreversible() ? DriverRule::EITHER_POLARITY : DriverRule::ONE_POLARITY;
        case CELL_REG:
        case CELL_REGR:
        case CELL_REGS:
        case CELL_REG2:
        case CELL_REG3:
        case CELL_HIGH:
        case CELL_LOW:
            return DriverRule::NEVER;
        case CELL_SREG:
        case CELL_SRGR:
        case CELL_SRGS:
        case CELL_SREG2:
        case CELL_SREG3:
            return same_text(source->pin, "scan_out") ? DriverRule::ONE_POLARITY
                                                      : DriverRule::NEVER;
        case CELL_PORT:
            return same_text(source->inst->name, "VDD") || same_text(source->inst->name, "VSS")
                       ? DriverRule::NEVER
                       : DriverRule::ONE_POLARITY;
        default:
            return DriverRule::ONE_POLARITY;
    }
}

int rule_inverters(DriverRule rule, int straight, int inverted) {
    switch (rule) {
        case DriverRule::EITHER_POLARITY:
            return straight > 0 && inverted > 0 ? 1 : 0;
        case DriverRule::ONE_POLARITY:
            return inverted > 0 ? 1 : 0;
        case DriverRule::NEVER:
            return 0;
    }
    return 0;
}

int rule_inverted_load(DriverRule rule, int straight, int inverted) {
    switch (rule) {
        case DriverRule::EITHER_POLARITY:
            return std::min(straight, inverted);
        case DriverRule::ONE_POLARITY:
            return inverted;
        case DriverRule::NEVER:
            return 0;
    }
    return 0;
}

int net_inverters(const Design& d, const Net* net) {
    const Votes v = votes_of(net);
    return rule_inverters(driver_rule(d, net), v.straight, v.inverted);
}

int net_inverted_load(const Design& d, const Net* net) {
    const Votes v = votes_of(net);
    return rule_inverted_load(driver_rule(d, net), v.straight, v.inverted);
}

int count_inverters(Design& d, Module& m) {
    int count = 0;
    if (m.kind() == MOD_NLD) {
        for (const Net* net = m.nets; net; net = net->next)
            if (is_signal_net(net)) count += net_inverters(d, net);
    } else if (m.kind() == MOD_REFERENCE) {
        for (const Instance* i = m.insts; i; i = i->next) count += i->cell() == CELL_INV;
    }
    return count;
}

int count_kept_inverters(Design&, Module& m) {
    if (m.kind() != MOD_NLD) return 0;
    int count = 0;
    for (const Instance* i = m.insts; i; i = i->next)
        count += i->cell() == CELL_INV && i->node && i->node->net &&
                 i->node->net->net_type() == NET_CLOCK;
    return count;
}

int total_inverted_load(Design& d, const Module& top) {
    int load = 0;
    for (const Net* net = top.nets; net; net = net->next)
        if (is_signal_net(net)) load += net_inverted_load(d, net);
    return load;
}

}  // namespace vorp
