// Chains of gates for the tests of deep structures: the netlist text and the
// inverter counts that its construction calls for.
#pragma once

#include <string>

namespace vorp::test {

// " <stem><from> ... <stem><to - 1>".
std::string numbered_names(const char* stem, long from, long to);

// a -> (two inverters) -> g0 -> g1 -> ... -> y, each NAND with both inputs
// on the previous output; `every` > 0 puts an inverter after every
// `every`-th gate (after g0, g<every>, ...), which the reduction must then
// weigh gate by gate.
std::string gate_chain(long gates, long every);
// The inv- cells of `gate_chain`.
long gate_chain_inverters(long gates, long every);
// The inverters left once the reduction has moved every inversion it can:
// each gate keeps its polarity or takes its dual, and an inverter between two
// gates falls away when exactly one of them is flipped (a plain net, when
// both or neither are). The first gate sees the input straight, so stays;
// the output needs one inverter when the last gate ends up flipped.
long gate_chain_inverters_left(long gates, long every);

}  // namespace vorp::test
