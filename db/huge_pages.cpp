#include "db/huge_pages.h"

#include <sys/mman.h>

#include <cstdlib>

namespace vorp {

namespace {
constexpr std::size_t kHugePage = std::size_t{1} << 21;
}

void* allocate_table(std::size_t bytes) {
    if (bytes < kHugePage) {
        if (void* block = std::malloc(bytes ? bytes : 1)) return block;
        throw std::bad_alloc();
    }
    const std::size_t rounded = (bytes + kHugePage - 1) & ~(kHugePage - 1);
    void* block = std::aligned_alloc(kHugePage, rounded);
    if (!block) throw std::bad_alloc();
    ::madvise(block, rounded, MADV_HUGEPAGE);
    return block;
}

void free_table(void* block, std::size_t) {
    std::free(block);
}

}  // namespace vorp
