#include "db/arena.h"

#include <algorithm>
#include <cstdlib>

namespace vorp {

namespace {
// Chunks grow from 64 KiB to 4 MiB: small runs (and the many short runs of
// the fuzzers) touch little memory, large designs still take few chunks.
constexpr std::size_t kFirstChunk = std::size_t{1} << 16;
constexpr std::size_t kLastChunk = std::size_t{1} << 22;
}  // namespace

Arena::~Arena() {
    for (char* chunk : chunks_) std::free(chunk);
}

void* Arena::allocate(std::size_t size, Pool pool) {
    return take(records_[pool], (size + kRecordAlign - 1) & ~(kRecordAlign - 1));
}

char* Arena::allocate_text(std::size_t size) {
    return take(texts_, size);
}

char* Arena::take(Cursor& cursor, std::size_t size) {
    if (size > cursor.left) {
        const std::size_t grown =
            std::min(kLastChunk, kFirstChunk << std::min<std::size_t>(chunks_.size(), 6));
        if (size > grown / 4) {  // a large block of its own; the cursor stays where it is
            char* block = new_chunk(size);
            if (block) in_use_ += size;
            return block;
        }
        char* block = new_chunk(grown);
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
char* Arena::new_chunk(std::size_t size) {
    char* block = static_cast<char*>(std::calloc(size, 1));
    if (block) chunks_.push_back(block);
    return block;
}

}  // namespace vorp
