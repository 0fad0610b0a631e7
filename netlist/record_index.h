// The reader's index of one file's port and instance names: a single
// open-addressing table in which each name holds the port and the instance
// that a walk of the module's lists would find first, with the name's text
// in the slot itself, so that resolving a connection costs one slot and its
// text rather than two tables and the records behind them.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "db/design.h"
#include "db/huge_pages.h"
#include "netlist/name_table.h"

namespace vorp {

class RecordIndex {
   public:
    struct Entry {
        uint32_t tag;
        uint32_t bound;    // nodes bound to `inst` since it was put
        const char* name;  // null: an empty slot
        Instance* port;    // the first port of the name in list order
        Instance* inst;    // the first instance of the name in list order
    };

    RecordIndex() { rebuild(16); }

    // Lists grow at the front: each record put hides the earlier one of its
    // name, as the list walk from the head would.
    // `name` is the record's name, `hash` its `hash_name`.
    void put_port(Instance* port, std::string_view name, uint64_t hash) {
        entry_for(name, hash).port = port;
    }
    void put_inst(Instance* inst, std::string_view name, uint64_t hash) {
        Entry& entry = entry_for(name, hash);
        entry.inst = inst;
        entry.bound = 0;
    }

    // `name` holds no zero byte; `hash` is `hash_name(name)`. Null when absent.
    Entry* find(std::string_view name, uint64_t hash) {
        Entry& entry = slot_of(name, tag_of(hash));
        return entry.name ? &entry : nullptr;
    }

    // Bring the slot where a search for the hash starts into the cache.
    void prefetch(uint64_t hash) const { __builtin_prefetch(&slots_[tag_of(hash) & mask_]); }
    // The first slot with the hash's tag, without comparing names: what
    // `find` will most likely return, to prefetch what it points to.
    const Entry* probe(uint64_t hash) const {
        const uint32_t tag = tag_of(hash);
        for (std::size_t i = tag & mask_;; i = (i + 1) & mask_) {
            const Entry& entry = slots_[i];
            if (!entry.name) return nullptr;
            if (entry.tag == tag) return &entry;
        }
    }

   private:
    static uint32_t tag_of(uint64_t hash) { return static_cast<uint32_t>(hash >> 32); }

    // The slot that holds the name, or the empty one where it would go.
    Entry& slot_of(std::string_view name, uint32_t tag) {
        for (std::size_t i = tag & mask_;; i = (i + 1) & mask_) {
            Entry& entry = slots_[i];
            if (!entry.name || (entry.tag == tag && same_name(entry.name, name))) return entry;
        }
    }
    Entry& entry_for(std::string_view text, uint64_t hash) {
        if (2 * (size_ + 1) > slots_.size()) rebuild(slots_.size() * 2);
        const uint32_t tag = tag_of(hash);
        Entry& entry = slot_of(text, tag);
        if (!entry.name) {
            entry = Entry{tag, 0, text.data(), nullptr, nullptr};
            ++size_;
        }
        return entry;
    }
    void rebuild(std::size_t capacity) {
        grow_table(slots_, capacity, mask_, [](const Entry& entry) { return entry.name; });
    }

    std::vector<Entry, HugePageAllocator<Entry>> slots_;
    std::size_t size_ = 0;
    std::size_t mask_ = 0;
};

}  // namespace vorp
