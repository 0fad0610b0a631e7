// The inverter count and the inverted load of the top module, kept up to
// date as polarities change, so that a trial move costs time in proportion
// to the nodes it touches instead of a walk of the whole module.
//
// Each net of the top module gets a slot holding its consumer votes (how
// many consumers want the straight and how many the inverted signal) and its
// driver rule, which the reduction never changes. The totals equal, at every
// moment, what `count_inverters` and `total_inverted_load` would recount.
#pragma once

#include <cstdint>
#include <vector>

#include "db/design.h"
#include "reduce/counting.h"
#include "reduce/top_graph.h"

namespace vorp {

class Tally {
   public:
    // Number the top module's nets (`work_id`), nodes and group members
    // (call after the groups are built) and count every vote. Linear.
    void start(const Design& d, Module& top);
    bool started() const { return started_; }
    const TopGraph& graph() const { return graph_; }
    std::size_t nets() const { return slots_.size(); }

    // Called before a node's `pol_a` changes from old_a to new_a.
    void pol_a_changed(const Node* n, int old_a, int new_a) {
        graph_.set_pol_a(n, new_a);
        if (old_a == new_a || !n->net || !n->net->work_id || !is_consumer(n)) return;
        const uint32_t k = n->net->work_id - 1;
        Slot& s = slots_[k];
        const bool signal = graph_.counted(k);
        if (signal) withdraw(k);
        vote(s, old_a, -1);
        vote(s, new_a, +1);
        if (signal) add(k);
    }

    // A tracked net's consumer votes, and its measures with other votes
    // whatever its type (as a local measure counts it).
    int straight(const Net* net) const { return slots_[net->work_id - 1].straight; }
    int inverted(const Net* net) const { return slots_[net->work_id - 1].inverted; }
    int local_inverters(const Net* net, int straight, int inverted) const {
        return vorp::rule_inverters(graph_.rule(net->work_id - 1), straight, inverted);
    }
    int local_inverted_load(const Net* net, int straight, int inverted) const {
        return vorp::rule_inverted_load(graph_.rule(net->work_id - 1), straight, inverted);
    }

    // The same by the graph's net number.
    int straight(uint32_t net) const { return slots_[net].straight; }
    int inverted(uint32_t net) const { return slots_[net].inverted; }
    DriverRule rule(uint32_t net) const { return graph_.rule(net); }
    bool counted(uint32_t net) const { return graph_.counted(net); }

    int count() const { return count_; }
    int load() const { return load_; }
    // The same values as `net_inverters` and `net_inverted_load`, from the
    // votes; nets off the top module are counted by walking them.
    int net_inverters(const Design& d, const Net* net) const;
    int net_inverted_load(const Design& d, const Net* net) const;

   private:
    // The net's rule and whether it is counted in the totals are the graph's.
    struct Slot {
        int straight = 0;
        int inverted = 0;
    };
    static void vote(Slot& s, int pol_a, int weight) {
        if (pol_a == 1) s.straight += weight;
        if (pol_a == -1) s.inverted += weight;
    }
    void withdraw(uint32_t k) {
        const Slot& s = slots_[k];
        count_ -= rule_inverters(graph_.rule(k), s.straight, s.inverted);
        load_ -= rule_inverted_load(graph_.rule(k), s.straight, s.inverted);
    }
    void add(uint32_t k) {
        const Slot& s = slots_[k];
        count_ += rule_inverters(graph_.rule(k), s.straight, s.inverted);
        load_ += rule_inverted_load(graph_.rule(k), s.straight, s.inverted);
    }

    std::vector<Slot> slots_;
    TopGraph graph_;
    int count_ = 0;
    int load_ = 0;
    bool started_ = false;
};

}  // namespace vorp
