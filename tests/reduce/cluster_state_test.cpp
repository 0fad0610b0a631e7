#include "reduce/cluster_state.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "reduce/fast_reduction.h"
#include "reduce/moves.h"
#include "reduce/reduction.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;

// Ten output ports on `out`, enough nodes that changed inputs are applied to
// the kept state rather than rebuilt; then the groups, the fast path and the
// termination guard start, with every cluster step checked.
void load_outputs_and_start(DesignBuilder& b, Net* out, FastReduction& fast, Reduction& r) {
    for (const char* y : {"y0", "y1", "y2", "y3", "y4", "y5", "y6", "y7", "y8", "y9"})
        b.load(out, b.port(y, KW_OUTPUT), y, 1);
    build_groups(*b.top);
    fast.start(r);
    r.termination.start(*b.top);
    set_cluster_checks(true);
}

// pa -> g1 -> n1 -> g2 -> n2 -> g3 -> n3 -> y0 .. y9, every load straight:
// one cluster {g1, g2, g3}. The outputs give the nets enough nodes that two
// changed inputs are applied to the kept state, not rebuilt.
struct StraightChain : ::testing::Test {
    DesignBuilder b;
    Instance* pa = b.port("pa", KW_INPUT);
    Instance* g1 = b.inst(CELL_AND, "g1");
    Instance* g2 = b.inst(CELL_NAND, "g2");
    Instance* g3 = b.inst(CELL_OR, "g3");
    Node* g2_in = nullptr;
    Node* g3_in = nullptr;
    FastReduction fast;
    Reduction r{b.d, *b.top, Termination(), fast};

    StraightChain() {
        Net* a = b.net();
        b.drive(a, pa, "pa", KW_INPUT);
        b.load(a, g1, "a", 1);
        Net* n1 = b.net();
        b.drive(n1, g1, "out");
        g2_in = b.load(n1, g2, "a", 1);
        Net* n2 = b.net();
        b.drive(n2, g2, "nout");
        g3_in = b.load(n2, g3, "a", 1);
        Net* n3 = b.net();
        b.drive(n3, g3, "out");
        load_outputs_and_start(b, n3, fast, r);
    }
    ~StraightChain() override { set_cluster_checks(false); }
};

TEST_F(StraightChain, LosingBothEdgesOfTheMiddleGateLeavesThreeClusters) {
    Instance* g = pa->group;
    const long checks = cluster_checks_done();
    EXPECT_FALSE(cluster_step(r, g, ClusterSet::ALL, Mode::STRICT));
    // g2 leaves with the first lost edge; g1 and g3 were joined only through
    // it and must part too.
    r.set_pols(g2_in, -1, -1);
    r.set_pols(g3_in, -1, -1);
    bool taken = false;
    EXPECT_NO_THROW(taken = cluster_step(r, g, ClusterSet::ALL, Mode::STRICT));
    EXPECT_EQ(cluster_checks_done(), checks + 2);
    // Flipping g2 alone makes both inputs straight again.
    EXPECT_TRUE(taken);
    EXPECT_FALSE(g1->dual());
    EXPECT_TRUE(g2->dual());
    EXPECT_FALSE(g3->dual());
    EXPECT_EQ(g2_in->pol_a(), 1);
    EXPECT_EQ(g3_in->pol_a(), 1);
}

// pa -> g0, which feeds two chains a1 .. a20 and b1 .. b20 that meet again in
// h, whose output drives y0 .. y9; every load straight: one cluster around a
// cycle of 42 gates. `in_a[k]` and `in_b[k]` are the inputs of a_k and b_k.
struct Ladder : ::testing::Test {
    static constexpr int kLength = 20;
    DesignBuilder b;
    Instance* pa = b.port("pa", KW_INPUT);
    Instance* g0 = b.inst(CELL_AND, "g0");
    Instance* h = b.inst(CELL_AND, "h");
    std::vector<Instance*> a, bs;
    std::vector<Node*> in_a, in_b;
    FastReduction fast;
    Reduction r{b.d, *b.top, Termination(), fast};

    Ladder() {
        Net* in = b.net();
        b.drive(in, pa, "pa", KW_INPUT);
        b.load(in, g0, "a", 1);
        Net* from_a = b.net();
        b.drive(from_a, g0, "out");
        Net* from_b = from_a;
        a.push_back(g0), bs.push_back(g0);
        in_a.push_back(nullptr), in_b.push_back(nullptr);
        for (int k = 1; k <= kLength; ++k) {
            const std::string name = std::to_string(k);
            a.push_back(b.inst(CELL_AND, ("a" + name).c_str()));
            bs.push_back(b.inst(CELL_OR, ("b" + name).c_str()));
            in_a.push_back(b.load(from_a, a.back(), "a", 1));
            in_b.push_back(b.load(from_b, bs.back(), "a", 1));
            from_a = b.net();
            b.drive(from_a, a.back(), "out");
            from_b = b.net();
            b.drive(from_b, bs.back(), "out");
        }
        b.load(from_a, h, "a", 1);
        b.load(from_b, h, "b", 1);
        Net* out = b.net();
        b.drive(out, h, "out");
        load_outputs_and_start(b, out, fast, r);
    }
    ~Ladder() override {
        set_cluster_checks(false);
        set_split_searches(true);
    }

    // Steps once with the check of the kept clusters against a rebuild.
    bool checked_step() {
        const long checks = cluster_checks_done();
        bool taken = false;
        EXPECT_NO_THROW(taken = cluster_step(r, pa->group, ClusterSet::ALL, Mode::STRICT));
        EXPECT_EQ(cluster_checks_done(), checks + 1);
        return taken;
    }
    // a5 .. a14 is cut off on both sides; b5 cuts the cycle open. Every
    // step taken on the three pieces lowers the count.
    void lose_three_and_reduce() {
        EXPECT_FALSE(checked_step());
        r.set_pols(in_a[5], -1, -1);
        r.set_pols(in_a[15], -1, -1);
        r.set_pols(in_b[5], -1, -1);
        long count = r.kept->tally.count();
        int steps = 0;
        while (checked_step()) {
            EXPECT_LT(r.kept->tally.count(), count);
            count = r.kept->tally.count();
            ++steps;
        }
        EXPECT_GE(steps, 1);
        EXPECT_FALSE(duals().empty());
    }
    std::vector<Instance*> duals() const {
        std::vector<Instance*> flipped;
        for (Instance* i : {g0, h})
            if (i->dual()) flipped.push_back(i);
        for (int k = 1; k <= kLength; ++k) {
            if (a[k]->dual()) flipped.push_back(a[k]);
            if (bs[k]->dual()) flipped.push_back(bs[k]);
        }
        return flipped;
    }
};

TEST_F(Ladder, LosingAnEdgeOfTheCycleKeepsOneClusterFoundByALongSearch) {
    EXPECT_FALSE(checked_step());
    // The two ends of the lost edge meet again only around the whole cycle.
    r.set_pols(in_a[10], -1, -1);
    // Flipping the whole ladder would make the far side of pa inverted and
    // every output inverted: nothing pays.
    EXPECT_FALSE(checked_step());
    EXPECT_TRUE(duals().empty());
}

TEST_F(Ladder, LosingOneEdgeOnEachSideCutsTheCycleInTwo) {
    EXPECT_FALSE(checked_step());
    r.set_pols(in_a[10], -1, -1);
    r.set_pols(in_b[10], -1, -1);
    // Either half straightens both lost edges for one inverted pin where it
    // meets the rest (g0's input, or the outputs past h); the half with the
    // later leader is taken.
    EXPECT_TRUE(checked_step());
    std::vector<Instance*> expected{h};
    for (int k = 10; k <= kLength; ++k) expected.push_back(a[k]), expected.push_back(bs[k]);
    EXPECT_EQ(duals(), expected);
    EXPECT_EQ(in_a[10]->pol_a(), 1);
    EXPECT_EQ(in_b[10]->pol_a(), 1);
    EXPECT_FALSE(checked_step());
}

TEST_F(Ladder, ThreeLossesAtOnceLeaveThreePieces) {
    lose_three_and_reduce();
}

TEST_F(Ladder, ThreeLossesAtOnceLeaveThreePiecesFoundByOnePass) {
    set_split_searches(false);
    lose_three_and_reduce();
}

}  // namespace
}  // namespace vorp
