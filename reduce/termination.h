// Stops a group's passes when they would repeat for ever: at each checkpoint
// the key (call site, mode, whether the current sweep has changed anything,
// and every node's polarities) is remembered; meeting a key a second time
// within one group means the passes cycle.
//
// The polarities enter the key as two independent 64-bit Zobrist hashes,
// updated in constant time per polarity change. Each node's random values
// come from a sequence number given when the reduction starts (nets in list
// order, nodes in list order), through a fixed mixing function, so the keys
// do not depend on where the records lie in memory.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <unordered_set>

#include "db/design.h"

namespace vorp {

enum class Mode { STRICT, TIE_BREAK };
enum class CallSite { CLUSTER_ALL, CLUSTER_NO_XOR, GROUP };

struct PolarityHash {
    uint64_t h1 = 0, h2 = 0;
    bool operator==(const PolarityHash&) const = default;
};

class Termination {
   public:
    // With `enabled` false no checkpoint ever stops (the passes may then run
    // for ever on a design that cycles).
    explicit Termination(bool enabled = true) : enabled_(enabled) {}

    // Number the nodes of the module's nets and hash their polarities.
    // Linear in the nodes.
    void start(const Module& top);
    // Called before a node's polarities change from (old_a, old_b) to
    // (new_a, new_b). Constant time (one table look-up).
    void polarity_changed(const Node* n, int old_a, int old_b, int new_a, int new_b);
    // Forget the keys of the previous group.
    void start_group() {
        seen_.clear();
        stopped_ = false;
    }
    // False (and stopped() from then on) when this key was met before.
    bool checkpoint(CallSite site, Mode mode, bool sweep_changed);
    bool stopped() const { return stopped_; }

    // The hash as maintained, and the same hash recomputed from the records
    // (for cross-checks).
    PolarityHash hash() const { return hash_; }
    PolarityHash recompute(const Module& top);

   private:
    uint64_t sequence_of(const Node* n);
    static PolarityHash zobrist(uint64_t sequence, int a, int b);

    struct Key {
        PolarityHash pols;
        unsigned tag;
        bool operator==(const Key&) const = default;
    };
    struct KeyHash {
        std::size_t operator()(const Key& k) const {
            return static_cast<std::size_t>(k.pols.h1 ^ (k.pols.h2 * 31) ^ k.tag);
        }
    };

    bool enabled_;
    bool stopped_ = false;
    PolarityHash hash_;
    uint64_t numbered_ = 0;  // nodes numbered by `start` (their `seq`)
    std::unordered_map<const Node*, uint64_t> sequence_;
    std::unordered_set<Key, KeyHash> seen_;
};

}  // namespace vorp
