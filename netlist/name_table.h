// Hashing of names and an open-addressing table from a name to the record
// that a walk of a list would find first.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "db/huge_pages.h"

namespace vorp {

// A 64-bit hash of a name's bytes, eight at a time.
inline uint64_t hash_name(const char* text, std::size_t size) {
    constexpr uint64_t kMul = 0x9e3779b97f4a7c15ull;
    uint64_t h = size * kMul;
    for (; size >= 8; text += 8, size -= 8) {
        uint64_t word;
        std::memcpy(&word, text, 8);
        h = (h ^ word) * 0xff51afd7ed558ccdull;
        h ^= h >> 32;
    }
    if (size > 0) {
        // The last bytes as a little-endian word, without a call to copy them.
        uint64_t word = 0;
        for (std::size_t i = 0; i < size; ++i)
            word |= static_cast<uint64_t>(static_cast<unsigned char>(text[i])) << (8 * i);
        h = (h ^ word) * 0xc4ceb9fe1a85ec53ull;
    }
    h ^= h >> 33;
    h *= kMul;
    return h ^ (h >> 29);
}

inline uint64_t hash_name(std::string_view name) {
    return hash_name(name.data(), name.size());
}

// Whether the zero-terminated `stored` is `name`, which holds no zero byte.
// A byte loop: names are short, and a shorter `stored` ends at its zero,
// which `name` cannot match.
inline bool same_name(const char* stored, std::string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i)
        if (stored[i] != name[i]) return false;
    return stored[name.size()] == '\0';
}

// Grow an open-addressing table with linear probing to `capacity` slots (a
// power of two). The tag alone places a slot, so growing needs no name again.
template <class Slot, class Alloc, class Occupied>
void grow_table(std::vector<Slot, Alloc>& slots, std::size_t capacity, std::size_t& mask,
                Occupied occupied) {
    std::vector<Slot, Alloc> old(capacity, Slot{});
    old.swap(slots);
    mask = capacity - 1;
    for (const Slot& slot : old) {
        if (!occupied(slot)) continue;
        std::size_t i = slot.tag & mask;
        while (occupied(slots[i])) i = (i + 1) & mask;
        slots[i] = slot;
    }
}

// Name -> record, for records with a zero-terminated `name`. Putting a
// record whose name is already there replaces the earlier one: lists that
// grow at the front put each record as it is prepended, so the table answers
// what the list walk from the head would. Linear probing over slots of a
// 32-bit hash tag and the record; at most half full.
template <class Record>
class NameTable {
   public:
    explicit NameTable(std::size_t expected = 0) { rebuild(capacity_for(expected)); }

    // A slot of the table: the record a name finds and a number kept for it
    // (zero when the record is put), for the caller's own use.
    struct Slot {
        uint32_t tag;
        uint32_t value;
        Record* record;  // null: empty
    };

    void put(Record* record, uint64_t hash, uint32_t value = 0) {
        if (!record->name) return;
        if (2 * (size_ + 1) > slots_.size()) rebuild(slots_.size() * 2);
        const uint32_t tag = tag_of(hash);
        const std::string_view name(record->name);
        for (std::size_t i = tag & mask_;; i = (i + 1) & mask_) {
            Slot& slot = slots_[i];
            if (!slot.record) {
                slot = {tag, value, record};
                ++size_;
                return;
            }
            if (slot.tag == tag && same_name(slot.record->name, name)) {
                slot.record = record;
                slot.value = value;
                return;
            }
        }
    }
    void put(Record* record, uint32_t value = 0) {
        if (record->name) put(record, hash_name(record->name, std::strlen(record->name)), value);
    }

    // `name` holds no zero byte; `hash` is `hash_name(name)`. Null when absent.
    Slot* find_slot(std::string_view name, uint64_t hash) {
        const std::size_t i = locate(name, hash);
        return i == kAbsent ? nullptr : &slots_[i];
    }
    const Slot* find_slot(const char* name) const {
        if (!name) return nullptr;
        const std::string_view text(name);
        const std::size_t i = locate(text, hash_name(text));
        return i == kAbsent ? nullptr : &slots_[i];
    }
    Record* find(std::string_view name, uint64_t hash) const {
        const std::size_t i = locate(name, hash);
        return i == kAbsent ? nullptr : slots_[i].record;
    }
    Record* find(const char* name) const {
        const Slot* slot = find_slot(name);
        return slot ? slot->record : nullptr;
    }

    // Bring the slot where a search for the hash starts into the cache.
    void prefetch(uint64_t hash) const { __builtin_prefetch(&slots_[tag_of(hash) & mask_]); }
    // The record of the first slot with the hash's tag, without comparing
    // names: what `find` will most likely compare, to prefetch it.
    Record* probe(uint64_t hash) const {
        const uint32_t tag = tag_of(hash);
        for (std::size_t i = tag & mask_;; i = (i + 1) & mask_) {
            const Slot& slot = slots_[i];
            if (!slot.record || slot.tag == tag) return slot.record;
        }
    }

   private:
    static constexpr std::size_t kAbsent = SIZE_MAX;

    std::size_t locate(std::string_view name, uint64_t hash) const {
        const uint32_t tag = tag_of(hash);
        for (std::size_t i = tag & mask_;; i = (i + 1) & mask_) {
            const Slot& slot = slots_[i];
            if (!slot.record) return kAbsent;
            if (slot.tag == tag && same_name(slot.record->name, name)) return i;
        }
    }
    static uint32_t tag_of(uint64_t hash) { return static_cast<uint32_t>(hash >> 32); }
    static std::size_t capacity_for(std::size_t entries) {
        std::size_t capacity = 16;
        while (capacity < 2 * entries) capacity *= 2;
        return capacity;
    }
    void rebuild(std::size_t capacity) {
        grow_table(slots_, capacity, mask_, [](const Slot& slot) { return slot.record; });
    }

    std::vector<Slot, HugePageAllocator<Slot>> slots_;
    std::size_t size_ = 0;
    std::size_t mask_ = 0;
};

}  // namespace vorp
