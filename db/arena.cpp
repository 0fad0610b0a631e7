#include "db/arena.h"

#include <sys/mman.h>
#include <sys/resource.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace vorp {

namespace {
// Chunks grow from 64 KiB to 4 MiB: small runs (and the many short runs of
// the fuzzers) touch little memory, large designs still take few chunks.
constexpr std::size_t kFirstChunk = std::size_t{1} << 16;
constexpr std::size_t kLastChunk = std::size_t{1} << 22;

// The address range of the ranged pools: reserved once, filled from the
// start; chunks an arena gives back go to the next arena that asks for a
// chunk of the same size. The first record unit is never handed out, so
// that index 0 names no record.
struct Range {
    std::mutex lock;
    char* start = nullptr;
    std::size_t size = 0;
    std::size_t used = 0;
    std::vector<std::pair<char*, std::size_t>> spare;
    bool reserved = false;
};

Range& range() {
    static Range* r = new Range();  // outlives every arena, even static ones
    return *r;
}

// Under a limit of address space the range takes half of it, leaving the
// rest to the heap; where even that cannot be had, less.
std::size_t first_range_size() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return Arena::kRangeBytes;
    return std::min<std::size_t>(Arena::kRangeBytes, limit.rlim_cur / 2);
}

void reserve(Range& r) {
    r.reserved = true;
    constexpr std::size_t kSmallest = std::size_t{1} << 20;
    for (std::size_t size = first_range_size(); size >= kSmallest; size /= 2) {
        void* start = ::mmap(nullptr, size, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (start == MAP_FAILED) continue;
        r.start = static_cast<char*>(start);
        r.size = size;
        r.used = 64;
        return;
    }
}

}  // namespace

uint32_t Arena::index_of(const void* record) {
    if (!record) return 0;
    const std::size_t at =
        static_cast<std::size_t>(static_cast<const char*>(record) - range_start_);
    // A record that is not in the range cannot be named.
    if (!range_start_ || at >= kRangeBytes || at % kRecordAlign) std::abort();
    return static_cast<uint32_t>(at / kRecordAlign);
}

Arena::~Arena() {
    Range& r = range();
    for (const Chunk& chunk : chunks_) {
        if (!chunk.ranged) {
            std::free(chunk.start);
            continue;
        }
        // Dropped pages read back as zeros when the chunk is used again.
        ::madvise(chunk.start, chunk.size, MADV_DONTNEED);
        const std::lock_guard<std::mutex> hold(r.lock);
        r.spare.emplace_back(chunk.start, chunk.size);
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
    if (!ranged(pool)) {
        block = static_cast<char*>(std::calloc(size, 1));
    } else {
        Range& r = range();
        const std::lock_guard<std::mutex> hold(r.lock);
        if (!r.reserved) reserve(r);
        range_start_ = r.start;
        const auto same = std::find_if(r.spare.begin(), r.spare.end(),
                                       [size](const auto& s) { return s.second == size; });
        if (same != r.spare.end()) {
            block = same->first;
            *same = r.spare.back();
            r.spare.pop_back();
        } else if (r.start && size <= r.size - r.used) {
            block = r.start + r.used;
            r.used += size;
        }
    }
    if (block) chunks_.push_back({block, size, ranged(pool)});
    return block;
}

void return_free_pages() {
#ifdef __GLIBC__
    ::malloc_trim(0);
#endif
}

}  // namespace vorp
