// A walk over a module's nets and their nodes reads each node's instance,
// which lies anywhere in memory: in a module of a million cells every such
// read misses the cache. A fetcher runs a few nodes ahead of the walk and
// starts those reads early, so that several are under way at once. It only
// reads records; when the walk changes the lists it may fetch the wrong
// instances, which costs time, never a result.
#pragma once

#include "db/design.h"

namespace vorp {

class InstanceFetch {
   public:
    explicit InstanceFetch(Net* nets) { restart(nets, nets ? nets->nodes : nullptr); }
    // The walk goes on from `node` of `net`, not where it was going (the
    // lists changed under it): fetch ahead from there.
    void restart(Net* net, Node* node) {
        net_ = net;
        node_ = node;
        for (int k = 0; k < kAhead; ++k) step();
    }
    // The walk takes one node: fetch the instance of the node `kAhead`
    // further on.
    void step() {
        // A few empty nets at most are passed over per step.
        for (int hops = 0; !node_ && net_ && hops < kHops; ++hops) {
            net_ = net_->next;
            node_ = net_ ? net_->nodes : nullptr;
        }
        if (!node_) return;
        __builtin_prefetch(node_->inst);
        node_ = node_->next;
    }

   private:
    static constexpr int kAhead = 12;
    static constexpr int kHops = 8;
    Net* net_ = nullptr;
    Node* node_ = nullptr;
};

// For a walk that may stop early on a net: runs a few nets ahead of it and
// fetches the instances of every node of the net it reaches. Nets must not
// leave the list during the walk.
class NetInstanceFetch {
   public:
    explicit NetInstanceFetch(Net* nets) : net_(nets) {
        for (int k = 0; k < kAhead && net_; ++k) step();
    }
    // The walk takes one net.
    void step() {
        if (!net_) return;
        for (const Node* n = net_->nodes; n; n = n->next) __builtin_prefetch(n->inst);
        net_ = net_->next;
    }

   private:
    static constexpr int kAhead = 4;
    Net* net_;
};

}  // namespace vorp
