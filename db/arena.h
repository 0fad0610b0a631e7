// A bump allocator: every record and string of a run comes from here and
// stays until the run ends. Nothing is released one by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorp {

class Arena {
   public:
    // The alignment of every record block; records need no more.
    static constexpr std::size_t kRecordAlign = 8;

    Arena() = default;
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;
    ~Arena();

    // Records of one kind come from chunks of their own, so that a walk over
    // one kind (a module's nets, a net's nodes) touches few cache lines.
    enum Pool : unsigned {
        POOL_INSTANCES,
        POOL_NETS,
        POOL_NODES,
        POOL_MODULES,
        POOL_OTHER,
        kPools
    };
    // Instances, nets, nodes and modules lie in one address range shared by
    // every arena of the process, so that a record of these pools is named
    // by four bytes: its distance from the range's start in record units.
    static constexpr std::size_t kRangeBytes = (std::size_t{1} << 32) * kRecordAlign;
    static constexpr bool ranged(Pool pool) { return pool != POOL_OTHER; }

    // The ranged record at `index` (0: none), and back.
    static void* record_at(uint32_t index) {
        return index ? range_start_ + std::size_t{index} * kRecordAlign : nullptr;
    }
    static uint32_t index_of(const void* record);

    // A zero-filled block of `size` bytes aligned to `kRecordAlign`; null
    // when the system has no memory left. Constant time except when a new
    // chunk is needed.
    void* allocate(std::size_t size, Pool pool = POOL_OTHER);
    // A zero-filled block of `size` bytes for text, with no alignment, so
    // that strings lie packed; null when the system has no memory left.
    char* allocate_text(std::size_t size);
    std::size_t bytes_in_use() const { return in_use_; }

   private:
    struct Cursor {
        char* at = nullptr;
        std::size_t left = 0;
    };
    struct Chunk {
        char* start;
        std::size_t size;
        bool ranged;  // else from the heap
    };
    char* take(Cursor& cursor, std::size_t size, Pool pool);
    char* new_chunk(std::size_t size, Pool pool);

    static inline char* range_start_ = nullptr;

    // Chunks come zero-filled and are never reused while the arena lives,
    // so no block needs clearing when it is handed out.
    std::vector<Chunk> chunks_;
    Cursor records_[kPools];
    Cursor texts_;
    std::size_t in_use_ = 0;
};

// Hand the heap's free pages back to the system. Records come from the
// range, not the heap, so the pages a stage's tables leave free would
// otherwise stay resident beside the next stage's new records.
void return_free_pages();

}  // namespace vorp
