#include "reduce/verdicts.h"

#include <gtest/gtest.h>

#include "reduce/fast_reduction.h"
#include "reduce/moves.h"
#include "reduce/reduction.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;

TEST(MemberBits, NextSetBitOfEitherCrossesWords) {
    MemberBits a, b;
    a.assign(200);
    b.assign(200);
    a.set(3);
    b.set(70);
    a.set(199);
    EXPECT_EQ(MemberBits::next_in_either(a, b, 0), 3u);
    EXPECT_EQ(MemberBits::next_in_either(a, b, 4), 70u);
    EXPECT_EQ(MemberBits::next_in_either(a, b, 71), 199u);
    EXPECT_EQ(MemberBits::next_in_either(a, b, 200), MemberBits::NONE);
    a.reset(199);
    EXPECT_EQ(MemberBits::next_in_either(a, b, 71), MemberBits::NONE);
}

// pa -> g.a, g.b (both +1); g.nout -> y (+1). Flipping g would invert both
// inputs and y: the walk rejects it and keeps the verdict.
struct StraightGate {
    DesignBuilder b;
    Instance* pa = b.port("pa", KW_INPUT);
    Instance* y = b.port("y", KW_OUTPUT);
    Instance* g = b.inst(CELL_NAND, "g");
    Net* a = b.net();
    Net* out = b.net();
    Node* input = nullptr;
    StraightGate() {
        b.drive(a, pa, "pa", KW_INPUT);
        input = b.load(a, g, "a", 1);
        b.load(a, g, "b", 1);
        b.drive(out, g, "nout");
        b.load(out, y, "y", 1);
        build_groups(*b.top);
    }
};

TEST(GroupVerdicts, CheckFindsAVerdictThatMissedAChange) {
    StraightGate t;
    FastReduction fast;
    Reduction r{t.b.d, *t.b.top, Termination(), fast};
    fast.start(r);
    r.termination.start(*t.b.top);
    fast.kept.verdicts.start(r, t.g->group);
    EXPECT_FALSE(fast.flip_instances(r, t.g->group, Mode::STRICT));
    EXPECT_EQ(fast.kept.verdicts.check(r), "");
    // A polarity change the kept verdicts are not told of.
    fast.kept.tally.pol_a_changed(t.input, 1, -1);
    t.input->set_pols(-1, -1);
    EXPECT_EQ(fast.kept.verdicts.check(r), "dual flip of g: kept -3/-5, tried -1/-1");
    // Told of it, the gate is evaluated again before its verdict is used.
    fast.kept.verdicts.pol_a_changed(t.input, 1, -1);
    EXPECT_EQ(fast.kept.verdicts.check(r), "");
}

TEST(GroupVerdicts, WalkTakesTheFlipThatPays) {
    StraightGate t;
    t.input->set_pols(-1, -1);
    t.a->nodes->next->next->set_pols(-1, -1);  // both inputs inverted
    FastReduction fast;
    Reduction r{t.b.d, *t.b.top, Termination(), fast};
    fast.start(r);
    r.termination.start(*t.b.top);
    fast.kept.verdicts.start(r, t.g->group);
    EXPECT_TRUE(fast.flip_instances(r, t.g->group, Mode::STRICT));
    EXPECT_TRUE(t.g->dual());
    EXPECT_EQ(t.input->pol_a(), 1);
    EXPECT_EQ(fast.kept.verdicts.check(r), "");
}

}  // namespace
}  // namespace vorp
