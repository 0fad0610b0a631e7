// Small, strict list operations on nets, nodes and instances, and the
// classification of nets by their pins. Each operation checks the linkage it
// relies on and reports an inconsistency instead of corrupting the lists.
#pragma once

#include <string>

#include "db/design.h"

namespace vorp {

// "m_clock", "s_clock", "b_clock", "scan_clock", "p_reset".
bool is_clock_pin_name(const char* name);

// Take a node off its net's list. `before`, when the caller walking the net
// knows it, is the node before it; otherwise (or when it is not) the node is
// searched from the head. The node keeps its own `next` and `net`: callers
// continue walks from the stale `next`.
[[nodiscard]] bool unlink_node(Design& d, Node* node, Node* before = nullptr);
// Link the list `from` behind the last node of `net`; every node of it takes
// `net` as its net. Constant time for the last node of a net that the run's
// net-list index numbers.
void append_nodes(Design& d, Net* net, Node* from);
// Take a net off a module's list; the net keeps its own `next`. Constant
// time while the run's net-list index covers the module, else a walk from
// the head; the answer is the same.
[[nodiscard]] bool unlink_net(Design& d, Net* net, Module& module);
// Take an instance off its owner's list; no message on failure.
[[nodiscard]] bool unlink_instance(Instance* inst);
// Join `drop` into `keep` (keep's nodes first) without drop's source pin, and
// remove `drop` from the top module (through the net-list index, if any).
[[nodiscard]] bool append_net(Design& d, Net* keep, Net* drop);
// The same, for a run of appends to one net: `keep_last` is its last node,
// or null to find it, and is left at the last node after the append.
[[nodiscard]] bool append_net(Design& d, Net* keep, Net* drop, Node*& keep_last);

// The node on the other side of a module boundary, or null.
[[nodiscard]] Node* find_node(Node* node);
// Set the net's driver: the first definite source, else the last
// bidirectional candidate. Prints the net dump and fails when there is none.
[[nodiscard]] bool find_source(Design& d, Net* net);
// Kind, source and irreversibility of every net from its pins.
void classify_nets(Module& m);
// Mark every net reached from a clock pin, through combinational cells and
// module boundaries, as a clock net. Iterative: deep clock trees are fine.
void mark_clock_nets(Module& m);
void mark_clock_net(Node* node);

// One line: the net's address, kind, irreversibility, source pin and nodes
// with their polarities. `label`, when given, stands in place of the address
// (tests want output that does not change from run to run).
std::string net_dump(const Net& net, const char* label = nullptr);

// The dump of every net of a module, in list order, labelled 0, 1, ...
std::string dump_nets(const Module& m);

// Invert a net: negate both polarities of every node on it.
void invert_net(Net& net);

}  // namespace vorp
