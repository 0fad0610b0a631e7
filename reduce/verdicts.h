// What the group-level trials of the group being reduced would gain, kept
// from one walk to the next instead of being tried again.
//
// A trial's outcome depends only on the consumer votes of a fixed set of
// nets: a gate's dual flip on the nets of its pins, an output complement on
// its output net, a tristate flip on the bus and the "in" nets of the
// buffers that drive it, the whole-group flip on every net its gates touch.
// So each member keeps the gain of its trials, computed without flipping,
// and is evaluated again only after a `pol_a` on one of those nets changed
// (it is then dirty). A walk in chain order visits only the dirty members
// and those whose kept gain the mode accepts: every other member would have
// been tried and undone with no trace. The whole-group flip keeps one share
// per net, so its gain is a sum kept up to date.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "db/design.h"
#include "reduce/top_graph.h"

namespace vorp {

struct Reduction;
enum class Mode;

// What a trial would save: inverters and inverted load, before minus after.
struct Gain {
    int count = 0;
    int load = 0;
    bool operator==(const Gain&) const = default;
};
bool accepts(Mode mode, const Gain& gain);

// A kept verdict differs from the same trial made again.
struct StateCheckFailed : std::logic_error {
    using std::logic_error::logic_error;
};

// One bit per group member, by chain position.
class MemberBits {
   public:
    static constexpr uint32_t NONE = UINT32_MAX;
    void assign(std::size_t size) { words_.assign((size + 63) / 64, 0); }
    void set(uint32_t p) { words_[p / 64] |= uint64_t{1} << (p % 64); }
    void reset(uint32_t p) { words_[p / 64] &= ~(uint64_t{1} << (p % 64)); }
    void put(uint32_t p, bool on) { on ? set(p) : reset(p); }
    bool test(uint32_t p) const { return words_[p / 64] >> (p % 64) & 1; }
    // The first position at or after `from` set in a or in b.
    static uint32_t next_in_either(const MemberBits& a, const MemberBits& b, uint32_t from);

   private:
    std::vector<uint64_t> words_;
};

class GroupVerdicts {
   public:
    // Keep the verdicts of group g's members. Linear in the group's pins,
    // plus the nodes of each tristate bus once per buffer on it.
    void start(Reduction& r, Instance* g);
    // Forget the group (in time proportional to it).
    void finish();
    bool covers(const Instance* g) const { return group_ == g; }

    // Called before a node's `pol_a` changes.
    void pol_a_changed(const Node* n, int old_a, int new_a);

    // The group-level moves on the kept verdicts: the same decisions as
    // `try_flip_group`, `flip_instances` and `complement_outputs`.
    bool try_flip_group(Reduction& r, Mode mode);
    bool flip_instances(Reduction& r, Mode mode);
    bool complement_outputs(Reduction& r, Mode mode);

    // Every kept verdict that is not dirty against the trial made again
    // (with nothing logged); empty when they agree, else the first
    // difference.
    std::string check(Reduction& r);

   private:
    enum class Kind : uint8_t { NONE, GATE, TRISTATE };
    // The group's members are the graph's members from `first_` on, in
    // chain order: a member's position is its number less `first_`.
    struct Member {
        Kind kind = Kind::NONE;
        bool complementable = false;
        // A trial that counts a net without a vote slot is made as the
        // literal walk makes it.
        bool flip_untracked = false;
        bool complement_untracked = false;
        Gain flip;
    };
    struct NetState {
        uint32_t net = 0;  // in the graph
        // Into `dependents_`; they end where the next slot's begin.
        uint32_t first_dependent = 0;
        int straight = 0;  // votes of the group gates' input pins
        int inverted = 0;
        Gain share;  // what the whole-group flip changes here
    };
    // By net slot.
    enum : uint8_t {
        GROUP_NET = 1,  // touched by a gate of the group
        CHANGED = 2,
        ODD = 4,  // parity of the group gates' non-input pins
    };
    struct Walk {
        MemberBits dirty;
        MemberBits strict;     // kept gain accepted in strict mode
        MemberBits tie_break;  // ... in tie-break mode
        const MemberBits& accepted(Mode mode) const;
        void keep(uint32_t p, const Gain& gain);
    };

    using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;  // net slot, member
    uint32_t id_of(const Member& m) const {
        return first_ + static_cast<uint32_t>(&m - members_.data());
    }
    Instance* instance_of(const Member& m) const { return graph_->member(id_of(m)); }
    uint32_t slot_of(uint32_t net);
    void add_dependency(uint32_t p, const Net* net, Pairs& pairs);
    Member member_of(Reduction& r, uint32_t id, Pairs& pairs);
    void index_dependents(const Pairs& pairs);
    void reset_walks();
    void add_group_pin(const TopGraph& graph, uint32_t n);
    void flush(Reduction& r);
    Gain share_of(const Reduction& r, uint32_t slot) const;
    Gain flip_gain(const Reduction& r, const Member& m) const;
    Gain tristate_gain(const Reduction& r, const Member& m) const;
    Gain complement_gain(const Reduction& r, uint32_t p) const;
    uint32_t next(Reduction& r, const Walk& walk, Mode mode, uint32_t from);
    template <class Move>
    bool walk_members(Reduction& r, const Walk& walk, Mode mode, Move&& move);
    bool try_member_flip(Reduction& r, uint32_t p, Mode mode);
    bool try_member_complement(Reduction& r, uint32_t p, Mode mode);

    const Instance* group_ = nullptr;
    const TopGraph* graph_ = nullptr;
    bool group_flippable_ = false;
    bool muted_ = false;
    Gain group_gain_;
    uint32_t first_ = 0;
    std::vector<Member> members_;
    std::vector<Gain> complement_;  // by position, with -a only
    // By position, with -a only: the output net a complement negates, kept
    // so that a trial does not walk the member's ring again.
    std::vector<Ref<Net>> complement_net_;
    std::vector<NetState> nets_;
    std::vector<uint8_t> net_flags_;
    std::vector<uint32_t> net_slot_;  // by the tally's net number, 0 = none
    std::vector<uint32_t> dependents_;
    std::vector<uint32_t> changed_;
    Walk flips_;
    Walk complements_;
    mutable std::vector<const Node*> scratch_;
};

}  // namespace vorp
