// A bump allocator: every record and string of a run comes from here and
// stays until the run ends. Nothing is released one by one.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace vorp {

class Arena {
   public:
    Arena() = default;
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    // A zero-filled block of `size` bytes aligned for any record; null when
    // the system has no memory left. Constant time except when a new chunk
    // is needed.
    void* allocate(std::size_t size);
    std::size_t bytes_in_use() const { return in_use_; }

   private:
    struct Release {
        void operator()(char* block) const;
    };
    // Chunks come zero-filled from the system and are never reused, so no
    // block needs clearing when it is handed out.
    std::vector<std::unique_ptr<char, Release>> chunks_;
    char* cursor_ = nullptr;
    std::size_t left_ = 0;
    std::size_t in_use_ = 0;
};

}  // namespace vorp
