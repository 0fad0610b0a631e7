// The in-memory design: modules, instances, nets, nodes and the run context.
//
// Invariants (checked by the consistency checker in test builds):
//  - every node on a net's `nodes` list has `net` pointing at that net, once;
//  - the nodes of one instance within a module form a closed `same_inst` ring;
//  - a port's `node`, when set, is a node of a net of the port's module (or a
//    node taken off its net by a merge, with `peer` set);
//  - a net's `source`, when set, is one of its nodes.
// Every record and string comes from the run's arena and lives until the
// Design is destroyed; removed records are unlinked and dropped, never freed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <type_traits>

#include "db/arena.h"
#include "db/codes.h"

namespace vorp {

struct Module;
struct Instance;
struct Net;
struct Node;
struct CellGroup;
class NetListIndex;

template <class T>
constexpr Arena::Pool pool_of() {
    if constexpr (std::is_same_v<T, Instance>) return Arena::POOL_INSTANCES;
    if constexpr (std::is_same_v<T, Net>) return Arena::POOL_NETS;
    if constexpr (std::is_same_v<T, Node>) return Arena::POOL_NODES;
    if constexpr (std::is_same_v<T, Module>) return Arena::POOL_MODULES;
    return Arena::POOL_OTHER;
}

// A link to an instance, net, node or module: four bytes naming the record in its
// pool's range, used like the pointer it stands for. Records linked so must
// come from a `Design` (`make`).
template <class T>
class Ref {
   public:
    Ref() = default;
    Ref(std::nullptr_t) {}
    Ref(T* record) : index_(Arena::index_of(record)) {
        static_assert(pool_of<T>() != Arena::POOL_OTHER);
    }
    Ref& operator=(T* record) {
        index_ = Arena::index_of(record);
        return *this;
    }
    operator T*() const { return static_cast<T*>(Arena::record_at(index_)); }
    T* operator->() const { return *this; }
    T& operator*() const { return *static_cast<T*>(*this); }

   private:
    uint32_t index_ = 0;
};

// Replace the bits [shift, shift+width) of a word, leaving the others alone.
template <class W>
constexpr W with_field(W word, unsigned shift, unsigned width, unsigned value) {
    const W mask = static_cast<W>(((1u << width) - 1u) << shift);
    return static_cast<W>((word & ~mask) | ((static_cast<W>(value) << shift) & mask));
}
template <class W>
constexpr unsigned field_of(W word, unsigned shift, unsigned width) {
    return (static_cast<unsigned>(word) >> shift) & ((1u << width) - 1u);
}
// Signed two-bit polarity stored in two bits: -1, 0 or +1.
constexpr int signed2(unsigned bits) {
    return bits & 2u ? static_cast<int>(bits) - 4 : static_cast<int>(bits);
}

struct Module {
    const char* name = nullptr;
    const char* inst_name = nullptr;  // top: its own name; copy: its instance's name (shared)
    Instance* ports = nullptr;        // port pseudo-instances (CELL_PORT)
    Instance* insts = nullptr;
    Net* nets = nullptr;
    Module* parent = nullptr;
    Module* next = nullptr;    // next in Design::modules
    Instance* inst = nullptr;  // the sub-module instance this copy belongs to
    uint16_t kind_word = 0;    // bits 0-9: origin (a ModuleKind)

    // Working lists of flattening, reduction and rewriting.
    Instance* flattened = nullptr;
    Instance* groups = nullptr;
    CellGroup* cell_groups = nullptr;

    int kind() const { return field_of(kind_word, 0, 10); }
    void set_kind(int code) { kind_word = with_field(kind_word, 0, 10, code); }
};

struct Instance {
    // Word 1: bits 0-9 cell code, bits 10-17 param (mod 256), bits 18-27 pin_type (ports).
    uint32_t cell_word = 0;
    // Word 2: bits 0-9 note (ports), bit 10 dual, bit 11 complement (read as
    // `inverted` on stickies), bit 12 kept, bit 13 on_clock.
    uint16_t flag_word = 0;

    const char* module_name = nullptr;  // sub-module instances: the referenced module's name
    const char* name = nullptr;         // instance name; for a port the pin name
    Ref<Module> sub;                    // sub-module instances: this instance's own module copy
    Ref<Module> owner;
    Ref<Instance> next;
    Ref<Node> node;  // port: its one node; component: the last node attached

    // Working fields of the reduction.
    Ref<Instance> group;
    Ref<Instance> next_group;
    Ref<Instance> next_in_group;

    int cell() const { return field_of(cell_word, 0, 10); }
    void set_cell(int code) { cell_word = with_field(cell_word, 0, 10, code); }
    int param() const { return field_of(cell_word, 10, 8); }
    void set_param(unsigned long long value) {
        cell_word = with_field(cell_word, 10, 8, value % 256);
    }
    int pin_type() const { return field_of(cell_word, 18, 10); }
    void set_pin_type(int code) { cell_word = with_field(cell_word, 18, 10, code); }

    int note() const { return field_of(flag_word, 0, 10); }
    void set_note(int code) { flag_word = with_field(flag_word, 0, 10, code); }
    bool dual() const { return field_of(flag_word, 10, 1); }
    void set_dual(bool on) { flag_word = with_field(flag_word, 10, 1, on); }
    void toggle_dual() { set_dual(!dual()); }
    bool complement() const { return field_of(flag_word, 11, 1); }
    void set_complement(bool on) { flag_word = with_field(flag_word, 11, 1, on); }
    void toggle_complement() { set_complement(!complement()); }
    // On sticky cells the complement bit records that the reduction inverted it.
    bool inverted() const { return complement(); }
    void set_inverted(bool on) { set_complement(on); }
    void toggle_inverted() { toggle_complement(); }
    bool kept() const { return field_of(flag_word, 12, 1); }
    void set_kept(bool on) { flag_word = with_field(flag_word, 12, 1, on); }
    bool on_clock() const { return field_of(flag_word, 13, 1); }
    void set_on_clock(bool on) { flag_word = with_field(flag_word, 13, 1, on); }
};

struct Node {
    // Bits 0-9 pin_type, 10-11 pol_a, 12-13 pol_b (signed), bit 14 pinned,
    // bits 15-24 port_note.
    uint32_t word = 0;
    // The reduction's number for this node plus one (0: not numbered); it
    // keeps the repeat guard's keys independent of memory layout.
    uint32_t seq = 0;

    const char* pin = nullptr;  // a port's node shares the port's name
    Ref<Instance> inst;
    Ref<Node> next;       // next node of the same net
    Ref<Node> same_inst;  // ring through the nodes of one instance
    Ref<Node> peer;       // partner across a module boundary
    Ref<Net> net;

    int pin_type() const { return field_of(word, 0, 10); }
    void set_pin_type(int code) { word = with_field(word, 0, 10, code); }
    int pol_a() const { return signed2(field_of(word, 10, 2)); }
    void set_pol_a(int v) { word = with_field(word, 10, 2, static_cast<unsigned>(v) & 3u); }
    int pol_b() const { return signed2(field_of(word, 12, 2)); }
    void set_pol_b(int v) { word = with_field(word, 12, 2, static_cast<unsigned>(v) & 3u); }
    void set_pols(int a, int b) { set_pol_a(a), set_pol_b(b); }
    bool pinned() const { return field_of(word, 14, 1); }
    void set_pinned(bool on) { word = with_field(word, 14, 1, on); }
    int port_note() const { return field_of(word, 15, 10); }
    void set_port_note(int code) { word = with_field(word, 15, 10, code); }
};

// Eight-byte aligned so that nets lie one after the other in their pool.
struct alignas(Arena::kRecordAlign) Net {
    Ref<Node> nodes;
    Ref<Node> source;
    Ref<Net> next;
    uint16_t type_word = 0;  // bits 0-9 net_type, bit 10 irreversible
    // Index of the net in the side tables of the stage at work, plus one
    // (0: none); each stage that numbers nets numbers them afresh.
    uint32_t work_id = 0;

    int net_type() const { return field_of(type_word, 0, 10); }
    void set_net_type(int code) { type_word = with_field(type_word, 0, 10, code); }
    bool irreversible() const { return field_of(type_word, 10, 1); }
    void set_irreversible(bool on) { type_word = with_field(type_word, 10, 1, on); }
};

struct DirEntry {
    const char* dir = nullptr;
    DirEntry* next = nullptr;
};

// One group of a module's surviving instances, as the text writer prints them.
struct CellGroup {
    Instance* first = nullptr;
    CellGroup* next = nullptr;
    CellGroup* left = nullptr;
    CellGroup* right = nullptr;
};

// A fault that ends the run with the given exit status; its message, if any,
// has already been written to the run's error stream.
struct Fatal {
    int status;
};

constexpr int kTokenSize = 4096;

// The run context: options, directory lists, the module list and the state
// of the reader. Passed by reference to every stage.
struct Design {
    explicit Design(std::ostream& err_stream);
    Design(const Design&) = delete;
    Design& operator=(const Design&) = delete;

    Arena arena;
    std::ostream* err;  // every message of the run goes here

    // Options: set from the command line, read by every stage.
    const char* top_name = nullptr;    // the top module's name
    DirEntry* read_dirs = nullptr;     // positional directories, in command-line order
    DirEntry* ref_dirs = nullptr;      // -r directories, in command-line order
    DirEntry* write_dirs = nullptr;    // holds the one -w directory
    int opt_a = 0;                     // -a: and/or gates may complement their outputs
    int write_mode = WRITE_HIERARCHY;  // WRITE_FLAT with -f

    // Reader state: where the reader is in the file it reads.
    const char* cur_path = nullptr;  // path of the file being (or last) read
    int line = 1;                    // line number in that file
    int depth = 1;                   // parenthesis depth in that file
    char token[kTokenSize] = {};     // text of the last name token
    int pins_over_limit = 0;         // the file read connects an instance too often
    // The number of a def-comp cell name, saturated at the largest value, and
    // its exact value modulo 256 (what an instance's `param` keeps).
    unsigned long long cell_param = 0;
    unsigned cell_param_low = 0;

    // Run facts: what loading found, read by the later stages.
    Module* modules = nullptr;  // the top module first, then one copy per instance
    int inverter_count = 0;     // inv- cells of the expanded design
    int has_registers = 0;      // a register cell was read
    int has_xor = 0;            // an eor- or enor- cell was read

    // Stage scratch: working state of one stage, meaningless outside it.
    int sticky_count = 0;       // numbers the stickies of a protection pass
    char sticky_name[32] = {};  // where a sticky's name is formatted
    // While set (ScopedNetListIndex), every removal from and push onto that
    // module's net list (unlink_net, merge_net, append_net, push_listed_net)
    // goes through it in constant time instead of walking the list.
    NetListIndex* net_index = nullptr;

    Module* top() const { return modules; }

    // Record and string allocation; "memory full" ends the run.
    template <class T>
    T* make() {
        static_assert(alignof(T) <= Arena::kRecordAlign);
        return new (alloc_or_die(sizeof(T), pool_of<T>())) T();
    }
    void* alloc_or_die(std::size_t size, Arena::Pool pool = Arena::POOL_OTHER);
    char* copy_string(const char* text);  // none for none
    char* copy_string(const char* text, std::size_t length);

    // Print "memory full" and end the run with status 1.
    [[noreturn]] void memory_full();

    // Reset to the start values of a run (the arena keeps its blocks).
    void reset();
};

// Text for "%s": a missing text prints as "(null)".
inline const char* text_or_null(const char* text) {
    return text ? text : "(null)";
}

}  // namespace vorp
