// The reduction's state: every polarity change goes through `set_pols`,
// which keeps the measures, the settle log, the cluster states' node logs
// and the group verdicts up to date.

#include "reduce/counting.h"
#include "reduce/moves.h"

namespace vorp {

void Reduction::index() {
    tally.start(d, top);
    group_nets.build(top);
    net_marks.assign(tally.nets(), 0);
}

void Reduction::set_pols(Node* n, int a, int b) {
    termination.polarity_changed(n, n->pol_a(), n->pol_b(), a, b);
    if (tally.started()) {
        tally.pol_a_changed(n, n->pol_a(), a);
        if (!quiet) clusters.pol_a_changed(n, n->pol_a(), a);
        if (!quiet && (a != n->pol_a() || b != n->pol_b()) && n->net) mark_changed(n->net);
    }
    verdicts.pol_a_changed(n, n->pol_a(), a);
    n->set_pols(a, b);
}

void Reduction::mark_changed(Net* net) {
    if (!net->work_id) return;
    uint8_t& marks = net_marks[net->work_id - 1];
    if (settle_log_on && !(marks & UNSETTLED)) {
        marks |= UNSETTLED;
        unsettled.push_back(net);
    }
}

void Reduction::start_settle_log() {
    if (!indexed()) return;
    for (Net* net : unsettled) net_marks[net->work_id - 1] &= ~UNSETTLED;
    unsettled.clear();
    settle_log_on = true;
}

Reduction::Measure Reduction::measure(Mode mode) {
    Measure m;
    if (tally.started()) {
        m.count = tally.count();
        if (mode == Mode::TIE_BREAK) m.load = tally.load();
        return m;
    }
    m.count = count_inverters(d, top);
    if (mode == Mode::TIE_BREAK) m.load = total_inverted_load(d, top);
    return m;
}

int Reduction::net_count(const Net* net) const {
    return tally.started() ? tally.net_inverters(d, net) : net_inverters(d, net);
}

int Reduction::net_load(const Net* net) const {
    return tally.started() ? tally.net_inverted_load(d, net) : net_inverted_load(d, net);
}

bool Reduction::accepts(Mode mode, const Measure& before, const Measure& after) {
    if (after.count < before.count) return true;
    return mode == Mode::TIE_BREAK && after.count == before.count && after.load < before.load;
}

void negate_node(Reduction& r, Node* n) {
    r.set_pols(n, -n->pol_a(), -n->pol_b());
}

void negate_net(Reduction& r, Net* net) {
    for (Node* n = net->nodes; n; n = n->next) negate_node(r, n);
}

}  // namespace vorp
