// Structure-aware edits of a small design for the run fuzzer: connections
// dropped, duplicated or moved, cells renamed, inverters inserted, gates,
// ports and sub-module instances added, switches and file placements
// changed. Each edit keeps the text in the regular form, so the runs reach
// flattening and reduction far more often than byte edits would.
#pragma once

#include <cstdint>

#include "tests/fuzz/design_text.h"

namespace vorp::fuzz {

struct FuzzRng {
    uint64_t state;
    uint64_t next() {
        uint64_t z = (state += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    }
    // Uniform below n; 0 when n is 0.
    std::size_t below(std::size_t n) { return n == 0 ? 0 : static_cast<std::size_t>(next() % n); }
};

// Apply one to four random edits. Cost: linear in the design per edit.
void mutate_design(DesignText& design, FuzzRng& rng);

}  // namespace vorp::fuzz
