// Copies of a module, built from a plan made once per module read: every
// copy of that module binds its nodes to the same records by name, so the
// lookups, the `same_inst` rings and the pin-count check are worked out
// once, on the source, and each copy only allocates and links records.
#pragma once

#include <cstdint>
#include <vector>

#include "db/design.h"

namespace vorp {

struct CopyPlan {
    static constexpr uint32_t kNone = UINT32_MAX;
    struct PlannedNode {
        const char* pin;  // for a node on a port, the port's name
        uint32_t target;  // index into `records`, or kNone: bound to nothing
        uint32_t ring;    // index of the next node on its instance's ring
        int pin_type;
    };

    const Module* source = nullptr;
    // The source's ports, then its instances, in list order.
    std::vector<const Instance*> records;
    std::size_t port_count = 0;
    std::vector<uint32_t> net_sizes;   // nodes per net, nets in list order
    std::vector<PlannedNode> nodes;    // every net's nodes, in list order
    std::vector<uint32_t> last_bound;  // per record: the last node bound to it
    // The first instance, in the order the pin-count check walks, that is
    // connected more often than its cell has pins; kNone when none is.
    uint32_t refused = kNone;
    int refused_count = 0;
};

// Linear in the source's records (name lookups through hash tables).
CopyPlan plan_copy(const Module& source);

// A deep copy of the plan's source: ports, instances, nets and nodes in the
// same order, each node bound by name to the first port or instance of the
// copy with that name, and the `same_inst` rings built as the pin-count check
// builds them. Texts are shared with the source. Linear in the plan.
Module* copy_module(Design& d, const CopyPlan& plan);

}  // namespace vorp
