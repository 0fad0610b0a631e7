#include "reduce/termination.h"

namespace vorp {

namespace {

constexpr uint64_t kSeed1 = 0x9e3779b97f4a7c15ull;
constexpr uint64_t kSeed2 = 0xc2b2ae3d27d4eb4full;

// A fixed 64-bit finaliser: nearby inputs give unrelated outputs.
uint64_t mix(uint64_t x) {
    x ^= x >> 30;
    x *= 0xbf58476d1ce4e5b9ull;
    x ^= x >> 27;
    x *= 0x94d049bb133111ebull;
    x ^= x >> 31;
    return x;
}

}  // namespace

PolarityHash Termination::zobrist(uint64_t sequence, int a, int b) {
    // Nine polarity pairs per node.
    const uint64_t slot = sequence * 9 + static_cast<uint64_t>((a + 1) * 3 + (b + 1));
    return {mix(mix(slot) ^ kSeed1), mix(mix(slot + kSeed2) ^ kSeed2)};
}

uint64_t Termination::sequence_of(const Node* n) {
    if (n->seq) return n->seq - 1;
    // Nodes off the numbered nets (none in a consistent design) are numbered
    // when first met, which is deterministic too.
    const auto [it, added] = sequence_.try_emplace(n, numbered_ + sequence_.size());
    (void)added;
    return it->second;
}

void Termination::start(const Module& top) {
    sequence_.clear();
    numbered_ = 0;
    hash_ = {};
    for (const Net* net = top.nets; net; net = net->next)
        for (Node* n = net->nodes; n; n = n->next) {
            n->seq = static_cast<uint32_t>(++numbered_);
            const PolarityHash z = zobrist(numbered_ - 1, n->pol_a(), n->pol_b());
            hash_.h1 ^= z.h1;
            hash_.h2 ^= z.h2;
        }
}

PolarityHash Termination::recompute(const Module& top) {
    PolarityHash h;
    for (const Net* net = top.nets; net; net = net->next) {
        for (const Node* n = net->nodes; n; n = n->next) {
            const PolarityHash z = zobrist(sequence_of(n), n->pol_a(), n->pol_b());
            h.h1 ^= z.h1;
            h.h2 ^= z.h2;
        }
    }
    return h;
}

void Termination::polarity_changed(const Node* n, int old_a, int old_b, int new_a, int new_b) {
    const uint64_t s = sequence_of(n);
    const PolarityHash before = zobrist(s, old_a, old_b);
    const PolarityHash after = zobrist(s, new_a, new_b);
    hash_.h1 ^= before.h1 ^ after.h1;
    hash_.h2 ^= before.h2 ^ after.h2;
}

bool Termination::checkpoint(CallSite site, Mode mode, bool sweep_changed) {
    if (stopped_) return false;
    if (!enabled_) return true;
    const unsigned tag =
        static_cast<unsigned>(site) * 4 + static_cast<unsigned>(mode) * 2 + (sweep_changed ? 1 : 0);
    if (!seen_.insert(Key{hash_, tag}).second) stopped_ = true;
    return !stopped_;
}

}  // namespace vorp
