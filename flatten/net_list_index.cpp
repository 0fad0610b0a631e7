#include "flatten/net_list_index.h"

#include "db/lists.h"

namespace vorp {

NetListIndex::NetListIndex(Module& module) : module_(module) {
    // A module of a million nets would otherwise copy its tables a dozen times.
    std::size_t count = 0;
    for (const Net* net = module.nets; net; net = net->next) ++count;
    nets_.reserve(count);
    before_.reserve(count);
    listed_.reserve(count);
    last_.reserve(count);
    Net* before = nullptr;
    for (Net* net = module.nets; net; net = net->next) {
        number(net, before);
        before = net;
    }
}

void NetListIndex::number(Net* net, Net* before) {
    nets_.push_back(net);
    before_.push_back(before);
    listed_.push_back(true);
    last_.push_back(nullptr);
    net->work_id = static_cast<uint32_t>(nets_.size());
}

void NetListIndex::push_front(Net* net) {
    number(net, nullptr);
    if (module_.nets) before_[module_.nets->work_id - 1] = net;
    net->next = module_.nets;
    module_.nets = net;
}

bool NetListIndex::unlink(Net* net) {
    const uint32_t id = net->work_id;
    if (!id || id > nets_.size() || nets_[id - 1] != net || !listed_[id - 1]) return false;
    Net* before = before_[id - 1];
    if (before)
        before->next = net->next;
    else
        module_.nets = net->next;
    if (net->next) before_[net->next->work_id - 1] = before;
    listed_[id - 1] = false;
    return true;
}

bool NetListIndex::numbers(const Net* net) const {
    const uint32_t id = net->work_id;
    return id && id <= nets_.size() && nets_[id - 1] == net;
}

Node* NetListIndex::last_node(Net* net) {
    if (!numbers(net)) return last_of(net->nodes);
    Node*& last = last_[net->work_id - 1];
    if (!last) last = last_of(net->nodes);
    return last;
}

void NetListIndex::appended(Net* net, Node* last) {
    if (numbers(net)) last_[net->work_id - 1] = last;
}

void NetListIndex::node_unlinked(Net* net, const Node* node, Node* before) {
    if (numbers(net) && last_[net->work_id - 1] == node) last_[net->work_id - 1] = before;
}

void push_listed_net(Design& d, Module& module, Net* net) {
    if (d.net_index && &d.net_index->module() == &module)
        d.net_index->push_front(net);
    else
        push_front(module.nets, net);
}

bool unlink_listed_net(Design& d, Module& module, Net* net) {
    if (d.net_index && &d.net_index->module() == &module) return d.net_index->unlink(net);
    return unlink_from(module.nets, net);
}

}  // namespace vorp
