#include "reduce/cluster_state.h"

#include <gtest/gtest.h>

#include <vector>

#include "reduce/fast_reduction.h"
#include "reduce/moves.h"
#include "reduce/reduction.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;

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
        for (const char* y : {"y0", "y1", "y2", "y3", "y4", "y5", "y6", "y7", "y8", "y9"})
            b.load(n3, b.port(y, KW_OUTPUT), y, 1);
        build_groups(*b.top);
        fast.start(r);
        r.termination.start(*b.top);
        set_cluster_checks(true);
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

}  // namespace
}  // namespace vorp
