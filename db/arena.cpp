#include "db/arena.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace vorp {

namespace {
constexpr std::size_t kAlign = alignof(std::max_align_t);
// Chunks grow from 64 KiB to 1 MiB: small runs (and the many short runs of
// the fuzzers) touch little memory, large designs still take few chunks.
constexpr std::size_t kFirstChunk = std::size_t{1} << 16;
constexpr std::size_t kChunk = std::size_t{1} << 20;
}  // namespace

void Arena::Release::operator()(char* block) const {
    std::free(block);
}

void* Arena::allocate(std::size_t size) {
    size = (size + kAlign - 1) & ~(kAlign - 1);
    if (size > left_) {
        const std::size_t grown =
            std::min(kChunk, kFirstChunk << std::min<std::size_t>(chunks_.size(), 4));
        const std::size_t chunk = size > grown / 4 ? size : grown;
        std::unique_ptr<char, Release> block(static_cast<char*>(std::calloc(chunk, 1)));
        if (!block) return nullptr;
        cursor_ = block.get();
        left_ = chunk;
        chunks_.push_back(std::move(block));
        if (chunk == size) {  // a large block of its own; keep the cursor for the next chunk
            left_ = 0;
        }
    }
    char* out = cursor_;
    if (left_) {
        cursor_ += size;
        left_ -= size;
    }
    in_use_ += size;
    return out;
}

}  // namespace vorp
