// The reduction's state: every polarity change goes through `set_pols`,
// which keeps the termination guard and whatever the path keeps up to date.

#include "reduce/kept_state.h"
#include "reduce/moves.h"

namespace vorp {

void Reduction::set_pols(Node* n, int a, int b) {
    termination.polarity_changed(n, n->pol_a(), n->pol_b(), a, b);
    if (kept) kept->polarity_changed(n, a, b, quiet);
    n->set_pols(a, b);
}

bool Reduction::accepts(Mode mode, const Measure& before, const Measure& after) {
    if (after.count < before.count) return true;
    return mode == Mode::TIE_BREAK && after.count == before.count && after.load < before.load;
}

// Applies to any node; the driver's 0 stays 0.
void negate_node(Reduction& r, Node* n) {
    r.set_pols(n, -n->pol_a(), -n->pol_b());
}

// Applies to any net: every node of it is negated.
void negate_net(Reduction& r, Net* net) {
    for (Node* n = net->nodes; n; n = n->next) negate_node(r, n);
}

}  // namespace vorp
