// An allocator for large tables that are read at random (name tables, side
// arrays indexed by record): a block of 2 MiB or more is aligned to 2 MiB
// and asks the kernel for huge pages, so that a lookup misses the cache
// without also missing the address translation.
#pragma once

#include <cstddef>
#include <new>

namespace vorp {

void* allocate_table(std::size_t bytes);
void free_table(void* block, std::size_t bytes);

template <class T>
struct HugePageAllocator {
    using value_type = T;
    HugePageAllocator() = default;
    template <class U>
    HugePageAllocator(const HugePageAllocator<U>&) {}
    T* allocate(std::size_t n) { return static_cast<T*>(allocate_table(n * sizeof(T))); }
    void deallocate(T* p, std::size_t n) { free_table(p, n * sizeof(T)); }
    template <class U>
    bool operator==(const HugePageAllocator<U>&) const {
        return true;
    }
};

}  // namespace vorp
