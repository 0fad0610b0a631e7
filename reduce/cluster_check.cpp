// The kept cluster state against three independent answers: a state rebuilt
// from nothing at the present polarities, the counts after really flipping
// each cluster, and the leaders of `build_clusters`.
#include <stdexcept>
#include <string>

#include "reduce/cluster_state.h"
#include "reduce/kept_state.h"
#include "reduce/literal_reduction.h"
#include "reduce/moves.h"

namespace vorp {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::logic_error("kept clusters differ from a rebuild: " + what);
}

}  // namespace

void ClusterState::check(Reduction& r) {
    Instance* g = const_cast<Instance*>(group_);
    ClusterState fresh(set_);
    fresh.use(*scratch_);
    fresh.build(r, g);
    if (fresh.member_id_ != member_id_) fail("members");
    const auto count = static_cast<uint32_t>(member_id_.size());
    std::vector<uint32_t> to_fresh(count, NONE), to_kept(count, NONE);
    for (uint32_t p = 0; p < count; ++p) {
        const uint32_t a = label_[p], b = fresh.label_[p];
        if (to_fresh[a] == NONE && to_kept[b] == NONE) to_fresh[a] = b, to_kept[b] = a;
        if (to_fresh[a] != b || to_kept[b] != a) fail("partition at member " + std::to_string(p));
    }
    const Reduction::Measure before{r.kept->tally.count(), r.kept->tally.load()};
    for (uint32_t a = 0; a < count; ++a) {
        if (!alive_[a]) continue;
        const uint32_t b = to_fresh[a];
        if (size_[a] != fresh.size_[b] || bad_[a] != fresh.bad_[b])
            fail("size or unflippable gates of cluster " + std::to_string(a));
        if (!(delta_[a] == fresh.delta_[b]))
            fail("delta of cluster " + std::to_string(a) + ": kept " +
                 std::to_string(delta_[a].count) + "/" + std::to_string(delta_[a].load) +
                 ", rebuilt " + std::to_string(fresh.delta_[b].count) + "/" +
                 std::to_string(fresh.delta_[b].load));
        if (leader_[a] != NONE && leader_[a] != fresh.replay(b))
            fail("leader of cluster " + std::to_string(a));
        r.quiet = true;
        for (uint32_t x : members_of(a))
            if (gate_[x]) flip_instance(r, graph_->member(member_id_[x]));
        const Delta flipped{r.kept->tally.count() - before.count,
                            r.kept->tally.load() - before.load};
        for (uint32_t x : members_of(a))
            if (gate_[x]) flip_instance(r, graph_->member(member_id_[x]));
        r.quiet = false;
        if (!(flipped == delta_[a])) fail("delta against a flip of cluster " + std::to_string(a));
    }
    if (strict_ != fresh.strict_ || tie_ != fresh.tie_) fail("accepted clusters");
    std::vector<uint32_t> leader(count, NONE);
    for (uint32_t a = 0; a < count; ++a)
        if (alive_[a]) leader[a] = leader_[a] != NONE ? leader_[a] : replay(a);
    build_clusters(r, g, set_);
    for (uint32_t p = 0; p < count; ++p) {
        if (r.clusters.cluster(graph_->member(member_id_[p])) !=
            graph_->member(member_id_[leader[label_[p]]]))
            fail("leader of member " + std::to_string(p) + " against build_clusters");
    }
}

}  // namespace vorp
