// Stops a group's passes when they would repeat for ever: at each checkpoint
// the key (call site, mode, whether the current sweep has changed anything,
// and every node's polarities) is remembered; meeting a key a second time
// within one group means the passes cycle.
#pragma once

#include <cstdint>
#include <unordered_set>

#include "db/design.h"

namespace vorp {

enum class Mode { STRICT, TIE_BREAK };
enum class CallSite { CLUSTER_ALL, CLUSTER_NO_XOR, GROUP };

class Termination {
   public:
    // Polarities are folded into two independent 64-bit hashes, updated in
    // constant time per change; only differences from the group's start
    // matter, so the hashes start at zero.
    void polarity_changed(const Node* n, int old_a, int old_b, int new_a, int new_b) {
        h1_ ^= zobrist(n, old_a, old_b, kSeed1) ^ zobrist(n, new_a, new_b, kSeed1);
        h2_ ^= zobrist(n, old_a, old_b, kSeed2) ^ zobrist(n, new_a, new_b, kSeed2);
    }
    // Forget the keys of the previous group.
    void start_group() {
        seen_.clear();
        stopped_ = false;
    }
    // False (and stopped() from then on) when this key was met before.
    bool checkpoint(CallSite site, Mode mode, bool sweep_changed);
    bool stopped() const { return stopped_; }

   private:
    static constexpr uint64_t kSeed1 = 0x9e3779b97f4a7c15ull;
    static constexpr uint64_t kSeed2 = 0xc2b2ae3d27d4eb4full;
    static uint64_t mix(uint64_t x) {
        x ^= x >> 30;
        x *= 0xbf58476d1ce4e5b9ull;
        x ^= x >> 27;
        x *= 0x94d049bb133111ebull;
        x ^= x >> 31;
        return x;
    }
    static uint64_t zobrist(const Node* n, int a, int b, uint64_t seed) {
        const uint64_t state = static_cast<uint64_t>((a + 1) * 3 + (b + 1));
        return mix(reinterpret_cast<uintptr_t>(n) * 16 + state + seed);
    }
    struct Key {
        uint64_t h1, h2;
        unsigned tag;
        bool operator==(const Key&) const = default;
    };
    struct KeyHash {
        std::size_t operator()(const Key& k) const {
            return static_cast<std::size_t>(k.h1 ^ (k.h2 * 31) ^ k.tag);
        }
    };
    uint64_t h1_ = 0, h2_ = 0;
    bool stopped_ = false;
    std::unordered_set<Key, KeyHash> seen_;
};

}  // namespace vorp
