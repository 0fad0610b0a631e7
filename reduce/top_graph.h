// The top module as the reduction walks it: nets, nodes and group members
// numbered once per run and held in flat arrays, so that a pass over a
// group's pins reads a few dense arrays instead of chasing records.
//
// Nodes are numbered net by net in list order (the same numbers as `seq`),
// so a net's nodes are one range; the members of each group are numbered in
// chain order, group after group, each with the range of its ring's nodes.
// Only `pol_a` changes while reducing: the copy here follows every change
// made through the reduction.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "db/design.h"
#include "reduce/counting.h"

namespace vorp {

class TopGraph {
   public:
    static constexpr uint32_t NONE = UINT32_MAX;

    // Number the top module's nets (`work_id`) and nodes (`seq`) and the
    // members of its groups; linear in the nodes.
    void build(const Design& d, Module& top);

    // Nets by `work_id` - 1.
    std::size_t nets() const { return net_source_.size(); }
    uint32_t first_node(uint32_t net) const { return net_first_[net]; }
    uint32_t end_node(uint32_t net) const { return net_first_[net + 1]; }
    uint32_t node_count(uint32_t net) const { return end_node(net) - first_node(net); }
    uint32_t source(uint32_t net) const { return net_source_[net]; }
    // `net_type()` is NET_SIGNAL (edges of clusters).
    bool plain_signal(uint32_t net) const { return net_bits_[net] & PLAIN_SIGNAL; }
    // `is_signal_net` (counted in the measures).
    bool counted(uint32_t net) const { return net_bits_[net] & COUNTED; }
    DriverRule rule(uint32_t net) const { return static_cast<DriverRule>(net_rule_[net]); }
    Net* net_record(uint32_t net) const { return net_record_[net]; }

    // Nodes by `seq` - 1.
    uint32_t net_of(uint32_t node) const { return node_net_[node]; }
    // The member whose ring holds the node, or NONE. A node may name an
    // instance that does not hold it (a port joined to a second net): that
    // node has no member here, though its `inst` belongs to a group.
    uint32_t member_of(uint32_t node) const { return node_member_[node]; }
    bool input(uint32_t node) const { return node_bits_[node] & INPUT; }
    bool consumer(uint32_t node) const { return node_bits_[node] & CONSUMER; }
    int pol_a(uint32_t node) const { return pol_a_[node]; }
    void set_pol_a(const Node* n, int a) {
        if (n->seq && n->seq <= pol_a_.size()) pol_a_[n->seq - 1] = static_cast<int8_t>(a);
    }

    // Members of groups: the numbers of a group's members, in chain order.
    struct Range {
        uint32_t first = 0;
        uint32_t end = 0;
    };
    Range members_of(const Instance* leader) const;
    // Groups are numbered in the order of `Module::groups`.
    std::size_t groups() const { return group_leader_.size(); }
    uint32_t group_of(uint32_t m) const { return member_group_[m]; }
    // The number of the group a leader leads, or NONE.
    uint32_t group_number(const Instance* leader) const;
    // The group of the instance the net's source node names (its `group`),
    // whether or not that instance's ring holds the node; NONE when it has
    // none.
    uint32_t driver_group(uint32_t net) const;
    Instance* member(uint32_t m) const { return member_[m]; }
    int cell(uint32_t m) const { return member_cell_[m]; }
    // `is_flippable`, which the reduction never changes.
    bool flippable(uint32_t m) const { return member_bits_[m] & FLIPPABLE; }
    // Every node of the member's ring lies on a net of the top module.
    bool ring_complete(uint32_t m) const { return member_bits_[m] & COMPLETE; }
    // The member's nodes on the top module's nets, in ring order.
    std::span<const uint32_t> ring(uint32_t m) const {
        return {ring_.data() + ring_first_[m], ring_first_[m + 1] - ring_first_[m]};
    }
    // The rings of a range of members, one after the other, and where a
    // member's ring starts among them.
    std::span<const uint32_t> rings(Range r) const {
        return {ring_.data() + ring_first_[r.first], ring_first_[r.end] - ring_first_[r.first]};
    }
    uint32_t ring_start(uint32_t m) const { return ring_first_[m]; }
    // Passes over scattered nodes ask for them ahead of use.
    void prefetch_node(uint32_t node) const { __builtin_prefetch(&node_net_[node]); }
    void prefetch_net(uint32_t net) const {
        __builtin_prefetch(&net_first_[net]);
        __builtin_prefetch(&net_source_[net]);
        __builtin_prefetch(&net_bits_[net]);
        __builtin_prefetch(&net_rule_[net]);
    }
    // The first nodes of a net, once its own tables are at hand (a net
    // without nodes may start at the end).
    void prefetch_nodes(uint32_t net) const {
        const uint32_t first = net_first_[net];
        __builtin_prefetch(node_member_.data() + first);
        __builtin_prefetch(node_bits_.data() + first);
        __builtin_prefetch(pol_a_.data() + first);
    }

   private:
    enum : uint8_t { PLAIN_SIGNAL = 1, COUNTED = 2, IRREVERSIBLE = 4 };
    enum : uint8_t { INPUT = 1, CONSUMER = 2 };
    enum : uint8_t { FLIPPABLE = 1, COMPLETE = 2 };
    void number_nets(const Design& d, Module& top);
    void number_members(Module& top);
    // The node lies on a numbered net of the top module.
    bool numbered(const Node* n) const;

    std::vector<uint32_t> net_first_;
    std::vector<uint32_t> net_source_;
    std::vector<uint8_t> net_bits_;
    std::vector<uint8_t> net_rule_;
    std::vector<Net*> net_record_;

    std::vector<uint32_t> node_net_;
    std::vector<uint32_t> node_member_;
    std::vector<uint8_t> node_bits_;
    std::vector<int8_t> pol_a_;

    std::vector<Instance*> member_;
    std::vector<uint16_t> member_cell_;
    std::vector<uint8_t> member_bits_;
    std::vector<uint32_t> ring_first_;
    std::vector<uint32_t> ring_;
    std::vector<uint32_t> member_group_;
    std::vector<Range> group_members_;  // by group number
    std::vector<const Instance*> group_leader_;
    // Leaders with their group number, by address.
    std::vector<std::pair<const Instance*, uint32_t>> by_leader_;
};

}  // namespace vorp
