#include "netlist/module_copy.h"

#include "db/lists.h"
#include "netlist/name_table.h"
#include "netlist/reader.h"

namespace vorp {

namespace {

using Index = NameTable<const Instance>;

// Name -> the first record of that name among `records[from, to)`, with its
// index as the slot's value.
Index first_by_name(const CopyPlan& plan, std::size_t from, std::size_t to) {
    Index index(to - from);
    for (std::size_t k = to; k-- > from;) index.put(plan.records[k], static_cast<uint32_t>(k));
    return index;
}

uint32_t target_of(const Index& index, const char* name) {
    const Index::Slot* slot = index.find_slot(name);
    return slot ? slot->value : CopyPlan::kNone;
}

void plan_records(CopyPlan& plan, const Module& source) {
    for (const Instance* p = source.ports; p; p = p->next) plan.records.push_back(p);
    plan.port_count = plan.records.size();
    for (const Instance* i = source.insts; i; i = i->next) plan.records.push_back(i);
}

// Each node bound as a copy binds it: a node on a port by its pin name, any
// other by its instance's name.
void plan_nodes(CopyPlan& plan, const Module& source) {
    const Index ports = first_by_name(plan, 0, plan.port_count);
    const Index insts = first_by_name(plan, plan.port_count, plan.records.size());
    for (const Net* n = source.nets; n; n = n->next) {
        uint32_t size = 0;
        for (const Node* s = n->nodes; s; s = s->next, ++size) {
            CopyPlan::PlannedNode node{s->pin, CopyPlan::kNone, 0, s->pin_type()};
            if (s->inst && s->inst->cell() == CELL_PORT) {
                node.target = target_of(ports, s->pin);
                node.pin =
                    node.target == CopyPlan::kNone ? nullptr : plan.records[node.target]->name;
            } else if (s->inst) {
                node.target = target_of(insts, s->inst->name);
            }
            plan.nodes.push_back(node);
        }
        plan.net_sizes.push_back(size);
    }
}

// The pin-count check passes over nodes on ports and nodes bound to nothing.
bool on_instance(const CopyPlan& plan, uint32_t target) {
    return target != CopyPlan::kNone && plan.records[target]->cell() != CELL_PORT;
}

// The rings as the pin-count check builds them: each instance's first node
// in list order collects the later ones right after itself.
void plan_rings(CopyPlan& plan, std::vector<uint32_t>& first, std::vector<int>& bound) {
    for (uint32_t k = 0; k < plan.nodes.size(); ++k) {
        CopyPlan::PlannedNode& node = plan.nodes[k];
        node.ring = k;
        if (node.target != CopyPlan::kNone) plan.last_bound[node.target] = k;
        if (!on_instance(plan, node.target)) continue;
        ++bound[node.target];
        uint32_t& head = first[node.target];
        if (head == CopyPlan::kNone) {
            head = k;
            continue;
        }
        node.ring = plan.nodes[head].ring;
        plan.nodes[head].ring = k;
    }
}

void plan_pin_counts(CopyPlan& plan, const std::vector<uint32_t>& first,
                     const std::vector<int>& bound) {
    for (uint32_t k = 0; k < plan.nodes.size(); ++k) {
        const uint32_t target = plan.nodes[k].target;
        if (!on_instance(plan, target) || first[target] != k) continue;
        const int limit = pin_limit(*plan.records[target]);
        if (limit == 0 || bound[target] <= limit) continue;
        plan.refused = target;
        plan.refused_count = bound[target];
        return;
    }
}

Instance* copy_instance(Design& d, const Instance& source, Module* owner) {
    Instance* copy = d.make<Instance>();
    copy->set_cell(source.cell());
    copy->set_param(static_cast<unsigned>(source.param()));
    copy->set_pin_type(source.pin_type());
    copy->set_note(source.note());
    copy->name = source.name;
    copy->module_name = source.cell() == CELL_SUBMODULE ? source.module_name : nullptr;
    copy->owner = owner;
    if (source.cell() == CELL_INV) ++d.inverter_count;
    return copy;
}

}  // namespace

CopyPlan plan_copy(const Module& source) {
    CopyPlan plan;
    plan.source = &source;
    plan_records(plan, source);
    plan_nodes(plan, source);
    plan.last_bound.assign(plan.records.size(), CopyPlan::kNone);
    std::vector<uint32_t> first(plan.records.size(), CopyPlan::kNone);
    std::vector<int> bound(plan.records.size(), 0);
    plan_rings(plan, first, bound);
    plan_pin_counts(plan, first, bound);
    return plan;
}

Module* copy_module(Design& d, const CopyPlan& plan) {
    Module* m = d.make<Module>();
    m->name = plan.source->name;
    m->set_kind(plan.source->kind());
    std::vector<Instance*> copies;
    copies.reserve(plan.records.size());
    Tail<Instance> ports(m->ports);
    Tail<Instance> insts(m->insts);
    for (const Instance* record : plan.records) {
        copies.push_back(copy_instance(d, *record, m));
        (copies.size() <= plan.port_count ? ports : insts).append(copies.back());
    }
    std::vector<Node*> nodes;
    nodes.reserve(plan.nodes.size());
    Tail<Net> nets(m->nets);
    for (const uint32_t size : plan.net_sizes) {
        Net* net = d.make<Net>();
        nets.append(net);
        Tail<Node> list(net->nodes);
        for (uint32_t k = 0; k < size; ++k) {
            const CopyPlan::PlannedNode& planned = plan.nodes[nodes.size()];
            Node* node = d.make<Node>();
            node->set_pin_type(planned.pin_type);
            node->net = net;
            node->inst = planned.target == CopyPlan::kNone ? nullptr : copies[planned.target];
            node->pin = planned.pin;
            list.append(node);
            nodes.push_back(node);
        }
    }
    for (std::size_t k = 0; k < nodes.size(); ++k) nodes[k]->same_inst = nodes[plan.nodes[k].ring];
    for (std::size_t r = 0; r < copies.size(); ++r)
        if (plan.last_bound[r] != CopyPlan::kNone) copies[r]->node = nodes[plan.last_bound[r]];
    return m;
}

}  // namespace vorp
