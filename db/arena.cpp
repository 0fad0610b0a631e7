#include "db/arena.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace vorp {

namespace {
// Chunks grow from 64 KiB to 4 MiB: small runs (and the many short runs of
// the fuzzers) touch little memory, large designs still take few chunks.
constexpr std::size_t kFirstChunk = std::size_t{1} << 16;
constexpr std::size_t kLastChunk = std::size_t{1} << 22;

// The address ranges of the instance, net and node pools: reserved once,
// filled from the start; chunks an arena gives back go to the next arena
// that asks for a chunk of the same size. The first record unit of a range
// is never handed out, so that index 0 names no record.
struct Ranges {
    std::mutex lock;
    char* start[Arena::kRanges] = {};
    std::size_t used[Arena::kRanges] = {};
    std::vector<std::pair<char*, std::size_t>> spare[Arena::kRanges];
    bool failed = false;
};

Ranges& ranges() {
    static Ranges* r = new Ranges();  // outlives every arena, even static ones
    return *r;
}

bool reserve(Ranges& r) {
    if (r.start[0] || r.failed) return !r.failed;
    void* all = ::mmap(nullptr, Arena::kRangeBytes * Arena::kRanges, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (all == MAP_FAILED) {
        r.failed = true;
        return false;
    }
    for (unsigned p = 0; p < Arena::kRanges; ++p) {
        r.start[p] = static_cast<char*>(all) + p * Arena::kRangeBytes;
        r.used[p] = 64;
    }
    return true;
}

}  // namespace

uint32_t Arena::index_of(Pool pool, const void* record) {
    if (!record) return 0;
    const std::size_t at =
        static_cast<std::size_t>(static_cast<const char*>(record) - range_start_[pool]);
    // A record that is not in its pool's range cannot be named.
    if (!range_start_[pool] || at >= kRangeBytes || at % kRecordAlign) std::abort();
    return static_cast<uint32_t>(at / kRecordAlign);
}

Arena::~Arena() {
    Ranges& r = ranges();
    for (const Chunk& chunk : chunks_) {
        if (chunk.pool == POOL_OTHER) {
            std::free(chunk.start);
            continue;
        }
        // Dropped pages read back as zeros when the chunk is used again.
        ::madvise(chunk.start, chunk.size, MADV_DONTNEED);
        const std::lock_guard<std::mutex> hold(r.lock);
        r.spare[chunk.pool].emplace_back(chunk.start, chunk.size);
    }
}

void* Arena::allocate(std::size_t size, Pool pool) {
    return take(records_[pool], (size + kRecordAlign - 1) & ~(kRecordAlign - 1), pool);
}

char* Arena::allocate_text(std::size_t size) {
    return take(texts_, size, POOL_OTHER);
}

char* Arena::take(Cursor& cursor, std::size_t size, Pool pool) {
    if (size > cursor.left) {
        const std::size_t grown =
            std::min(kLastChunk, kFirstChunk << std::min<std::size_t>(chunks_.size(), 6));
        if (size > grown / 4) {  // a large block of its own; the cursor stays where it is
            char* block = new_chunk(size, pool);
            if (block) in_use_ += size;
            return block;
        }
        char* block = new_chunk(grown, pool);
        if (!block) return nullptr;
        cursor.at = block;
        cursor.left = grown;
    }
    char* out = cursor.at;
    cursor.at += size;
    cursor.left -= size;
    in_use_ += size;
    return out;
}

// Huge pages were tried for the large chunks: fewer faults, but the time
// the kernel spends finding and clearing 2 MiB pages cost more than it saved.
char* Arena::new_chunk(std::size_t size, Pool pool) {
    char* block = nullptr;
    if (pool == POOL_OTHER) {
        block = static_cast<char*>(std::calloc(size, 1));
    } else {
        Ranges& r = ranges();
        const std::lock_guard<std::mutex> hold(r.lock);
        if (!reserve(r)) return nullptr;
        range_start_[pool] = r.start[pool];
        auto& spare = r.spare[pool];
        const auto same = std::find_if(spare.begin(), spare.end(),
                                       [size](const auto& s) { return s.second == size; });
        if (same != spare.end()) {
            block = same->first;
            *same = spare.back();
            spare.pop_back();
        } else if (size <= kRangeBytes - r.used[pool]) {
            block = r.start[pool] + r.used[pool];
            r.used[pool] += size;
        }
    }
    if (block) chunks_.push_back({block, size, pool});
    return block;
}

}  // namespace vorp
