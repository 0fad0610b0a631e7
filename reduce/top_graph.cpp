#include "reduce/top_graph.h"

#include <algorithm>

#include "db/lists.h"
#include "db/queries.h"

namespace vorp {

// Every table is sized before it is filled: growing them would leave freed
// blocks behind for the rest of the run.
void TopGraph::number_nets(const Design& d, Module& top) {
    std::size_t nets = 0, all_nodes = 0;
    for (const Net* net = top.nets; net; net = net->next, ++nets)
        for (const Node* n = net->nodes; n; n = n->next) ++all_nodes;
    net_record_.reserve(nets);
    net_first_.reserve(nets + 1);
    net_source_.reserve(nets);
    net_bits_.reserve(nets);
    net_rule_.reserve(nets);
    node_net_.reserve(all_nodes);
    node_bits_.reserve(all_nodes);
    pol_a_.reserve(all_nodes);
    uint32_t nodes = 0;
    for (Net* net = top.nets; net; net = net->next) {
        const auto k = static_cast<uint32_t>(net_record_.size());
        net->work_id = k + 1;
        net_record_.push_back(net);
        net_first_.push_back(nodes);
        net_source_.push_back(NONE);
        net_bits_.push_back(static_cast<uint8_t>(
            (net->net_type() == NET_SIGNAL ? PLAIN_SIGNAL : 0) |
            (is_signal_net(net) ? COUNTED : 0) | (net->irreversible() ? IRREVERSIBLE : 0)));
        net_rule_.push_back(static_cast<uint8_t>(driver_rule(d, net)));
        for (Node* n = net->nodes; n; n = n->next) {
            n->seq = ++nodes;
            if (net->source == n) net_source_.back() = nodes - 1;
            node_net_.push_back(k);
            node_bits_.push_back(static_cast<uint8_t>((n->pin_type() == KW_INPUT ? INPUT : 0) |
                                                      (is_consumer(n) ? CONSUMER : 0)));
            pol_a_.push_back(static_cast<int8_t>(n->pol_a()));
        }
    }
    net_first_.push_back(nodes);
    node_member_.assign(nodes, NONE);
}

bool TopGraph::numbered(const Node* n) const {
    return n->seq && n->seq <= node_net_.size() && net_record_[node_net_[n->seq - 1]] == n->net;
}

// A node lies in one ring at most, so the rings take no more room than the
// nodes: counting them exactly would walk every ring twice.
void TopGraph::number_members(Module& top) {
    std::size_t groups = 0, members = 0;
    for (Instance* g = top.groups; g; g = g->next_group, ++groups)
        for (Instance* m = g; m; m = m->next_in_group) ++members;
    const std::size_t ring_nodes = node_net_.size();
    member_.reserve(members);
    member_group_.reserve(members);
    member_cell_.reserve(members);
    member_bits_.reserve(members);
    ring_first_.reserve(members + 1);
    ring_.reserve(ring_nodes);
    group_members_.reserve(groups);
    group_leader_.reserve(groups);
    by_leader_.reserve(groups);
    ring_first_.push_back(0);
    for (Instance* g = top.groups; g; g = g->next_group) {
        const auto group = static_cast<uint32_t>(group_leader_.size());
        Range range{static_cast<uint32_t>(member_.size()), 0};
        for (Instance* m = g; m; m = m->next_in_group) {
            const auto p = static_cast<uint32_t>(member_.size());
            member_.push_back(m);
            member_group_.push_back(group);
            member_cell_.push_back(static_cast<uint16_t>(m->cell()));
            uint8_t bits = FLIPPABLE | COMPLETE;
            // The records lie scattered: the next member and the next pin
            // are fetched while the present pin is looked up.
            __builtin_prefetch(m->next_in_group);
            for_each_in_ring(m->node, [&](const Node* n) {
                __builtin_prefetch(n->same_inst);
                const bool on_graph = numbered(n);
                // A numbered node's net bits spare a visit to the net.
                const bool irreversible = on_graph ? net_bits_[node_net_[n->seq - 1]] & IRREVERSIBLE
                                                   : n->net && n->net->irreversible();
                if (irreversible && n->pin_type() != KW_INPUT) bits &= ~FLIPPABLE;
                if (!on_graph) {
                    bits &= ~COMPLETE;
                    return;
                }
                node_member_[n->seq - 1] = p;
                ring_.push_back(n->seq - 1);
            });
            member_bits_.push_back(bits);
            ring_first_.push_back(static_cast<uint32_t>(ring_.size()));
        }
        range.end = static_cast<uint32_t>(member_.size());
        group_members_.push_back(range);
        group_leader_.push_back(g);
        by_leader_.emplace_back(g, group);
    }
    std::sort(by_leader_.begin(), by_leader_.end(),
              [](const auto& a, const auto& b) { return std::less<>()(a.first, b.first); });
}

void TopGraph::build(const Design& d, Module& top) {
    *this = {};
    number_nets(d, top);
    number_members(top);
}

uint32_t TopGraph::group_number(const Instance* leader) const {
    const auto it = std::lower_bound(
        by_leader_.begin(), by_leader_.end(), leader,
        [](const auto& entry, const Instance* key) { return std::less<>()(entry.first, key); });
    if (it == by_leader_.end() || it->first != leader) return NONE;
    return it->second;
}

uint32_t TopGraph::driver_group(uint32_t net) const {
    const Node* source = net_record_[net]->source;
    if (!source || !source->inst) return NONE;
    // Most sources lie in their instance's ring, whose member knows its group.
    const uint32_t node = net_source_[net];
    const uint32_t m = node == NONE ? NONE : node_member_[node];
    if (m != NONE && member_[m] == source->inst) return member_group_[m];
    return source->inst->group ? group_number(source->inst->group) : NONE;
}

TopGraph::Range TopGraph::members_of(const Instance* leader) const {
    const uint32_t group = group_number(leader);
    return group == NONE ? Range{} : group_members_[group];
}

}  // namespace vorp
