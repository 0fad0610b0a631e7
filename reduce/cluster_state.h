// The clusters of the group being reduced, kept alive from one cluster step
// to the next, one state per cell set, so that the two alternating cluster
// loops of a sweep do not rebuild each other.
//
// A cluster is a connected component of the straight edges (a signal net's
// driver to a consumer with `pol_a` +1, both in the set). Its leader, the
// member whose cluster survives every merge of `build_clusters`, depends only
// on its own edges taken in net-list order, so it is replayed only when the
// cluster would be taken. What flipping a cluster would change is a sum of
// per-net shares, each depending on the net's votes and on the cluster's own
// pins there; a share is recomputed only when its net's votes or the
// clusters on it change. The step then takes the accepted cluster with the
// latest leader in the group's chain, which is the first one the list walk
// of `find_cluster` would accept.
//
// Every polarity change made outside a quiet trial is logged per node with
// the value it had before; at the next step a node that ended as it began is
// dropped, the others turn into dirty nets and added or removed edges.
#pragma once

#include <algorithm>
#include <cstdint>
#include <set>
#include <span>
#include <unordered_map>
#include <vector>

#include "db/design.h"
#include "reduce/counting.h"
#include "reduce/reduction_path.h"
#include "reduce/top_graph.h"

namespace vorp {

struct Reduction;
enum class Mode;

// Whether each cluster step compares its kept state with a rebuild from
// nothing and with `build_clusters`: on for every group when a test asks,
// for groups of up to two thousand members in checked and debug builds.
void set_cluster_checks(bool on);
// How many steps were checked since the program started.
long cluster_checks_done();
// Nets with more nodes than this keep one share per cluster and update only
// the shares a change can move (tests lower it to reach every path).
// Returns the previous size.
std::size_t set_big_net_nodes(std::size_t nodes);
// Whether a split searches from the ends of the lost edges before it falls
// back on one pass over the whole cluster (tests turn the searches off to
// reach the pass). Returns the previous setting.
bool set_split_searches(bool on);

class ClusterState {
   public:
    explicit ClusterState(ClusterSet set) : set_(set) {}

    // Called before a node's `pol_a` changes; keeps the first old value.
    void note(const Node* n, int old_a) {
        if (!valid_ || !n->seq) return;
        const uint32_t s = n->seq - 1;
        if (s >= logged_.size()) logged_.resize(std::max<std::size_t>(s + 1, 2 * logged_.size()));
        if (logged_[s]) return;
        logged_[s] = true;
        log_.push_back({s, static_cast<int8_t>(old_a)});
    }
    // Changes were made without a log: rebuild at the next step.
    void drop() { valid_ = false; }
    // Bring the state up to date for group g at the present polarities,
    // then flip the gates of the cluster the mode takes and toggle their
    // `dual`; false when no cluster pays.
    bool step(Reduction& r, Instance* g, Mode mode);
    // Compare with a rebuild from nothing, with what flipping each cluster
    // does and with `build_clusters`; throws on a mismatch.
    void check(Reduction& r);
    // Give back the tables of the group (the next step rebuilds them).
    void release();

   private:
    static constexpr uint32_t NONE = UINT32_MAX;
    struct Logged {
        uint32_t node;  // in the graph
        int8_t old_a;
    };
    // A share's count is -1, 0 or 1 and its load no more than the net's
    // nodes, so both fit one word; nets of more nodes are kept as big nets.
    struct Share {
        static constexpr std::size_t kMaxNodes = std::size_t{1} << 28;
        uint32_t member;  // a gate of the cluster, on the net
        int32_t packed;   // load * 4 + count + 1
        static Share of(uint32_t member, int count, int load) {
            return {member, load * 4 + count + 1};
        }
        int count() const { return (packed & 3) - 1; }
        int load() const { return packed >> 2; }
    };
    struct Delta {
        int count = 0;
        int load = 0;
        bool operator==(const Delta&) const = default;
    };
    struct Acc {  // one cluster's pins on the net being recomputed
        uint32_t root = 0;
        uint32_t member = 0;
        int straight = 0;
        int inverted = 0;
        bool odd = false;
    };

   public:
    // Scratch by member: a union-find, piece numbers and search stamps; and
    // per-net sums. Only one state works at a time, so the states share it.
    struct Scratch {
        std::vector<uint32_t> uf;
        std::vector<uint32_t> piece;
        std::vector<uint32_t> seen;  // by member: `stamp` when searched
        std::vector<uint8_t> seen_group;
        uint32_t stamp = 0;
        std::vector<Acc> acc;  // the clusters on the net being recomputed
        // Room for `count` members; what is there stays valid.
        void fit(std::size_t count);
    };
    // The scratch the next steps use.
    void use(Scratch& scratch) { scratch_ = &scratch; }

   private:
    // A cluster's pins on a big net: its consumer inputs by polarity, the
    // parity of its other pins, and its share while `held` in the delta.
    struct Entry {
        int straight = 0;
        int inverted = 0;
        int count = 0;
        int load = 0;
        int level = 0;  // while held and even: see `level_of`
        bool odd = false;
        bool held = false;
    };
    // A net of many nodes. While the votes stay clear of the levels of the
    // even clusters' own pins, those clusters' shares do not move with the
    // votes: only the entries that changed and the odd ones are computed
    // again.
    struct BigNet {
        int base_s = 0, base_i = 0;  // the votes the held shares were computed with
        int cur_s = 0, cur_i = 0;
        std::multiset<int> levels;    // of the even held entries
        std::vector<uint32_t> roots;  // with an entry (may repeat or have died)
        std::vector<uint32_t> redo;   // entries to compute again
        std::vector<uint32_t> odd;    // entries that were odd
        uint32_t local = 0;           // in `nets_`
        bool pending = false;
    };
    struct LocalNet {
        uint32_t net = 0;        // in the graph
        uint32_t driver = NONE;  // the member driving it, for edge nets
        uint32_t big = NONE;     // in `bigs_`
        uint32_t first = 0;      // its shares in `shares_`
        uint32_t shares = 0;
        static constexpr DriverRule UNSET = static_cast<DriverRule>(UINT8_MAX);
        DriverRule rule = UNSET;
        bool edge = false;   // straight consumers join its driver's cluster
        bool share = false;  // flips change its count or load
        bool dirty = false;
    };

    void sync(Reduction& r, Instance* g);
    void build(Reduction& r, Instance* g);
    void clear_indexes();
    void index_members(Instance* g);
    void index_nets();
    uint32_t member_of(uint32_t node) const;
    template <class F>
    void for_each_pin(bool nets_too, F&& f);
    template <class F>
    void for_each_local_net(F&& f);
    LocalNet* local_of(uint32_t net);
    template <class F>
    void for_each_straight(const LocalNet& q, F&& f) const;

    bool apply_log();
    void withdraw(LocalNet& q);
    void recompute(LocalNet& q);
    // Big nets.
    static uint64_t entry_key(uint32_t big, uint32_t root) {
        return static_cast<uint64_t>(big) << 32 | root;
    }
    Entry* entry(uint32_t big, uint32_t root);
    Entry& entry_at(uint32_t big, uint32_t root);
    void unhold(uint32_t big, Entry& e, uint32_t root);
    void hold(const LocalNet& q, Entry& e, uint32_t root, int straight, int inverted);
    void redo(uint32_t big, uint32_t root);
    void add_pin(uint32_t big, uint32_t root, uint32_t node, int sign);
    void vote_changed(const LocalNet& q, uint32_t node, int old_a);
    void move_entry(uint32_t big, uint32_t from, uint32_t to);
    void settle_big(const LocalNet& q);
    void recompute_big(const LocalNet& q);
    bool clear_of_entries(const LocalNet& q, int straight, int inverted) const;
    static int level_of(const LocalNet& q, const Entry& e);
    template <class F>
    std::size_t for_each_neighbour(uint32_t root, uint32_t x, F&& f);
    bool small_pieces(uint32_t root, const std::vector<uint32_t>& ends,
                      std::vector<std::vector<uint32_t>>& small);
    void all_pieces(uint32_t root, std::vector<std::vector<uint32_t>>& small);
    void split(uint32_t root, const std::vector<uint32_t>& ends);
    void detach(uint32_t root, const std::vector<std::vector<uint32_t>>& small);
    void unite(uint32_t a, uint32_t b);
    void make_root(uint32_t root, std::span<const uint32_t> members);
    uint32_t new_root();
    void touch(uint32_t root);
    void unkey(uint32_t root);
    void refresh(uint32_t root);
    uint32_t replay(uint32_t root);
    uint32_t find(uint32_t p) const;
    std::vector<uint32_t> members_of(uint32_t root) const;

    ClusterSet set_;
    bool valid_ = false;
    const Instance* group_ = nullptr;

    const TopGraph* graph_ = nullptr;
    TopGraph::Range range_;             // the group's members in the graph
    std::vector<uint32_t> member_id_;   // the set's members in chain order: numbers in the graph
    std::vector<uint32_t> local_;       // per group member: its member here, or NONE
    std::vector<uint32_t> label_;       // per member: its root
    std::vector<uint32_t> ring_;        // per member: next in its cluster (circular)
    std::vector<uint32_t> prev_;        // per member: previous in its cluster
    std::vector<uint8_t> alive_;        // per root
    std::vector<uint32_t> head_;        // per root: a member
    std::vector<uint32_t> free_;        // roots not in use
    std::vector<uint8_t> gate_;         // per member: flipped with its cluster
    std::vector<uint8_t> unflippable_;  // per member
    std::vector<uint32_t> size_;        // per root
    std::vector<uint32_t> bad_;         // per root: unflippable gates
    std::vector<Delta> delta_;          // per root
    std::vector<uint32_t> leader_;      // per root, NONE until replayed
    std::vector<uint32_t> key_;         // per root: its key in the sets, or NONE
    std::vector<uint8_t> touched_;      // per root: status to refresh
    std::vector<uint32_t> touched_list_;
    std::set<uint32_t> strict_, tie_;  // leaders of accepted candidates

    std::vector<LocalNet> nets_;
    std::vector<Share> shares_;
    std::vector<uint32_t> dirty_;
    std::vector<BigNet> bigs_;
    std::vector<uint32_t> pending_;  // big nets to settle
    std::unordered_map<uint64_t, Entry> entries_;
    std::size_t nodes_ = 0;  // nodes on the local nets

    // By graph net, filled for the present group only.
    std::vector<uint32_t> net_local_;  // local net + 1

    std::vector<Logged> log_;
    std::vector<bool> logged_;  // by node sequence

    Scratch* scratch_ = nullptr;
};

// Frees the vector's storage.
template <class T>
void release_vector(std::vector<T>& v) {
    std::vector<T>().swap(v);
}

struct ClusterStates {
    ClusterState all{ClusterSet::ALL};
    ClusterState no_xor{ClusterSet::NO_XOR};
    ClusterState::Scratch scratch;
    ClusterState& of(ClusterSet set) {
        ClusterState& state = set == ClusterSet::ALL ? all : no_xor;
        state.use(scratch);
        return state;
    }
    // The group is done: its tables are given back.
    void release() {
        all.release();
        no_xor.release();
        scratch = {};
    }
    void pol_a_changed(const Node* n, int old_a, int new_a) {
        if (old_a == new_a) return;
        all.note(n, old_a);
        no_xor.note(n, old_a);
    }
    void drop() {
        all.drop();
        no_xor.drop();
    }
};

}  // namespace vorp
