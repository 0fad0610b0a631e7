// Constant-time removal from one module's net list, with the answers of the
// walk from the head: a net is removed where it stands, and a net that is
// not on the list is reported as missing. Valid while nets leave the list
// and join it only through it. It also keeps the last node of each net it
// numbers, so that merges append to a net of many nodes without walking it;
// valid while nodes leave those nets through `unlink_node` and join them
// through `merge_net` or `append_net`.
#pragma once

#include <vector>

#include "db/design.h"

namespace vorp {

class NetListIndex {
   public:
    // Numbers the module's nets (`work_id`). Linear.
    explicit NetListIndex(Module& module);
    Module& module() const { return module_; }
    // True when the net was on the list (and is now off it).
    bool unlink(Net* net);
    void push_front(Net* net);
    // The net's last node, walked for once and then kept; null for an empty
    // net. Nets it does not number are walked every time.
    Node* last_node(Net* net);
    // Nodes were appended to the net; `last` is its last node now.
    void appended(Net* net, Node* last);
    // `node` left the net; `before` stood before it (none at the head).
    void node_unlinked(Net* net, const Node* node, Node* before);

   private:
    bool numbers(const Net* net) const;
    void number(Net* net, Net* before);
    Module& module_;
    std::vector<Net*> nets_;    // by number
    std::vector<Net*> before_;  // the net before each one, none at the head
    std::vector<bool> listed_;
    std::vector<Node*> last_;  // by number; null until walked for
};

// Installs an index on the run for the scope of one stage step.
class ScopedNetListIndex {
   public:
    ScopedNetListIndex(Design& d, Module& module) : d_(d), index_(module) { d.net_index = &index_; }
    ~ScopedNetListIndex() { d_.net_index = nullptr; }
    ScopedNetListIndex(const ScopedNetListIndex&) = delete;
    ScopedNetListIndex& operator=(const ScopedNetListIndex&) = delete;

   private:
    Design& d_;
    NetListIndex index_;
};

// Remove a net from a module's list: through the run's index when it covers
// the module, else by walking from the head.
bool unlink_listed_net(Design& d, Module& module, Net* net);
// Push a net at the head of a module's list, through the run's index when it
// covers the module.
void push_listed_net(Design& d, Module& module, Net* net);

}  // namespace vorp
