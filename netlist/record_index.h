// The reader's index of one file's port and instance names: a single
// open-addressing table in which each name holds the port and the instance
// that a walk of the module's lists would find first. A slot is one cache
// line that holds all a connection needs: the name's first bytes, the
// instance's cell and pin limit, and the first and last node bound to it, so
// that binding a connection reads one slot and writes the node bound before
// it, without reading the instance record or the name's text. The instances'
// `node` fields are written when the file is done (`flush`).
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "db/design.h"
#include "db/huge_pages.h"
#include "netlist/name_table.h"

namespace vorp {

class RecordIndex {
   public:
    static constexpr std::size_t kHead = 16;
    struct Entry {
        uint32_t tag;
        uint32_t cell : 10;      // the cell of `inst`
        uint32_t long_name : 1;  // the name has more than `kHead` bytes
        uint32_t limit : 9;      // the pin limit of `inst`, 0 for none
        uint32_t bound : 9;      // nodes bound to `inst`, counted up to one over `limit`
        const char* name;        // null: an empty slot
        Instance* port;          // the first port of the name in list order
        Instance* inst;          // the first instance of the name in list order
        Node* first;             // the first and last node bound to `inst`
        Node* last;
        unsigned char head[kHead];  // the name's first bytes, zero after its end
    };
    static_assert(sizeof(Entry) == 64, "a slot is one cache line");

    // Room for `expected` names without growing.
    explicit RecordIndex(std::size_t expected) {
        std::size_t capacity = 16;
        while (capacity < 2 * expected) capacity *= 2;
        rebuild(capacity);
    }

    // Lists grow at the front: each record put hides the earlier one of its
    // name, as the list walk from the head would.
    // `name` is the record's name, `hash` its `hash_name`.
    void put_port(Instance* port, std::string_view name, uint64_t hash) {
        entry_for(name, hash).port = port;
    }
    // `limit` is the instance's pin limit (at most 256), 0 for none.
    void put_inst(Instance* inst, std::string_view name, uint64_t hash, int limit) {
        Entry& entry = entry_for(name, hash);
        hand_over(entry);
        entry.inst = inst;
        entry.cell = static_cast<uint32_t>(inst->cell());
        entry.limit = static_cast<uint32_t>(limit);
        entry.bound = 0;
        entry.first = entry.last = nullptr;
    }

    // `name` holds no zero byte; `hash` is `hash_name(name)`. Null when absent.
    Entry* find(std::string_view name, uint64_t hash) {
        Entry& entry = slot_of(name, head_of(name), tag_of(hash));
        return entry.name ? &entry : nullptr;
    }

    // Put `node` on the entry's instance's ring after the node bound last,
    // so that the ring runs in binding order; true when the instance now has
    // more nodes than its cell has pins.
    static bool bind(Entry& entry, Node* node) {
        if (entry.last) {
            node->same_inst = entry.first;
            entry.last->same_inst = node;
        } else {
            entry.first = node;
        }
        entry.last = node;
        if (entry.limit == 0 || entry.bound > entry.limit) return false;
        return ++entry.bound > entry.limit;
    }

    // Give every instance the last node bound to it. Linear in the slots.
    void flush() {
        for (Entry& entry : slots_) hand_over(entry);
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
    struct Head {
        unsigned char bytes[kHead];
    };
    static uint32_t tag_of(uint64_t hash) { return static_cast<uint32_t>(hash >> 32); }
    static Head head_of(std::string_view name) {
        Head head{};
        std::memcpy(head.bytes, name.data(), std::min(name.size(), kHead));
        return head;
    }
    static bool same_key(const Entry& entry, std::string_view name, const Head& head) {
        if (std::memcmp(entry.head, head.bytes, kHead) != 0) return false;
        if (!entry.long_name) return name.size() <= kHead;
        return name.size() > kHead && same_name(entry.name + kHead, name.substr(kHead));
    }
    // The instance keeps the node bound last when the entry leaves it.
    static void hand_over(Entry& entry) {
        if (entry.inst && entry.last) entry.inst->node = entry.last;
        entry.last = nullptr;
    }

    // The slot that holds the name, or the empty one where it would go.
    Entry& slot_of(std::string_view name, const Head& head, uint32_t tag) {
        for (std::size_t i = tag & mask_;; i = (i + 1) & mask_) {
            Entry& entry = slots_[i];
            if (!entry.name || (entry.tag == tag && same_key(entry, name, head))) return entry;
        }
    }
    Entry& entry_for(std::string_view text, uint64_t hash) {
        if (2 * (size_ + 1) > slots_.size()) rebuild(slots_.size() * 2);
        const uint32_t tag = tag_of(hash);
        const Head head = head_of(text);
        Entry& entry = slot_of(text, head, tag);
        if (!entry.name) {
            entry = Entry{};
            entry.tag = tag;
            entry.long_name = text.size() > kHead;
            entry.name = text.data();
            std::memcpy(entry.head, head.bytes, kHead);
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
