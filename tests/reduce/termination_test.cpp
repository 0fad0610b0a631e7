#include "reduce/termination.h"

#include <gtest/gtest.h>

#include <string>

#include "flatten/flatten.h"
#include "reduce/counting.h"
#include "reduce/literal_reduction.h"
#include "reduce/moves.h"
#include "reduce/reduction.h"
#include "tests/support/design_builder.h"
#include "tests/support/fixture.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::dump_state;
using test::TestDesign;

// p -> g.a, g.b, g.c (all -1); q -> g.d (+1); g.nout -> y (+1).
// Flipping g alone pays locally (net p counts once per pin: 3 -> 2) but raises
// the whole count from 1 to 2; the whole-group flip then takes it back.
struct ThreeInputsOnOneNet {
    DesignBuilder b;
    Instance* g = b.inst(CELL_NAND, "g");
    Net* p = b.net();
    Net* q = b.net();
    Net* out = b.net();
    ThreeInputsOnOneNet() {
        b.drive(p, b.port("p", KW_INPUT), "p", KW_INPUT);
        for (const char* pin : {"a", "b", "c"}) b.load(p, g, pin, -1);
        b.drive(q, b.port("q", KW_INPUT), "q", KW_INPUT);
        b.load(q, g, "d", 1);
        b.drive(out, g, "nout");
        b.load(out, b.port("y", KW_OUTPUT), "y", 1);
    }
};

TEST(RepeatGuard, CyclingGroupStopsAtTheRepeatedCheckpoint) {
    ThreeInputsOnOneNet t;
    EXPECT_EQ(count_inverters(t.b.d, *t.b.top), 1);
    EXPECT_EQ(red_inv(t.b.d), 1);
    // Stopped in the state after the single-gate flip: its dual toggled
    // three times (flip, group flip back, flip again).
    EXPECT_TRUE(t.g->dual());
    EXPECT_EQ(count_inverters(t.b.d, *t.b.top), 2);
    for (Node* n = t.p->nodes->next; n; n = n->next) EXPECT_EQ(n->pol_a(), 1);
    EXPECT_EQ(t.out->nodes->next->pol_a(), -1);
    EXPECT_EQ(t.b.err.str(), "");
}

TEST(RepeatGuard, CyclingDesignLoadedFromText) {
    TestDesign t;
    t.load({{"top.nld",
             "(def-module top\n"
             " (def-pin p type input)\n"
             " (def-pin q type input)\n"
             " (def-pin y type output)\n"
             " (def-comp inv- i1)\n"
             " (def-comp nand--4 g)\n"
             " (def-net p i1.in)\n"
             " (def-net i1.nout g.a g.b g.c)\n"
             " (def-net q g.d)\n"
             " (def-net g.nout y))\n"}});
    ASSERT_EQ(t.d.inverter_count, 1);
    ASSERT_EQ(flat(t.d), 1);
    EXPECT_EQ(count_inverters(t.d, *t.d.top()), 1);
    EXPECT_EQ(red_inv(t.d), 1);
    EXPECT_EQ(count_inverters(t.d, *t.d.top()), 2);
}

TEST(RepeatGuard, KeyHoldsSiteModeAndSweepFlag) {
    DesignBuilder b;
    Termination guard;
    guard.start(*b.top);
    guard.start_group();
    EXPECT_TRUE(guard.checkpoint(CallSite::GROUP, Mode::STRICT, false));
    EXPECT_TRUE(guard.checkpoint(CallSite::GROUP, Mode::STRICT, true));
    EXPECT_TRUE(guard.checkpoint(CallSite::GROUP, Mode::TIE_BREAK, false));
    EXPECT_TRUE(guard.checkpoint(CallSite::CLUSTER_ALL, Mode::STRICT, false));
    EXPECT_TRUE(guard.checkpoint(CallSite::CLUSTER_NO_XOR, Mode::STRICT, false));
    EXPECT_FALSE(guard.stopped());
    EXPECT_FALSE(guard.checkpoint(CallSite::GROUP, Mode::STRICT, true));
    EXPECT_TRUE(guard.stopped());
    EXPECT_FALSE(guard.checkpoint(CallSite::GROUP, Mode::TIE_BREAK, true));  // stays stopped
    guard.start_group();  // the next group starts afresh
    EXPECT_FALSE(guard.stopped());
    EXPECT_TRUE(guard.checkpoint(CallSite::GROUP, Mode::STRICT, true));
}

TEST(RepeatGuard, KeyHoldsThePolarities) {
    ThreeInputsOnOneNet t;
    LiteralReduction literal;
    Reduction r{t.b.d, *t.b.top, Termination(), literal};
    r.termination.start(*t.b.top);
    r.termination.start_group();
    EXPECT_TRUE(r.termination.checkpoint(CallSite::GROUP, Mode::STRICT, true));
    flip_instance(r, t.g);
    EXPECT_TRUE(r.termination.checkpoint(CallSite::GROUP, Mode::STRICT, true));
    flip_instance(r, t.g);
    EXPECT_FALSE(r.termination.checkpoint(CallSite::GROUP, Mode::STRICT, true));
}

TEST(RepeatGuard, DisabledGuardNeverStops) {
    DesignBuilder b;
    Termination guard(false);
    guard.start(*b.top);
    guard.start_group();
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(guard.checkpoint(CallSite::GROUP, Mode::STRICT, true));
    EXPECT_FALSE(guard.stopped());
}

TEST(PolarityHash, IncrementalHashEqualsTheRecount) {
    ThreeInputsOnOneNet t;
    LiteralReduction literal;
    Reduction r{t.b.d, *t.b.top, Termination(), literal};
    r.termination.start(*t.b.top);
    const PolarityHash start = r.termination.hash();
    flip_instance(r, t.g);
    EXPECT_FALSE(r.termination.hash() == start);
    EXPECT_TRUE(r.termination.hash() == r.termination.recompute(*t.b.top));
    negate_net(r, t.q);
    absorb_xor_inputs(r, t.p);
    EXPECT_TRUE(r.termination.hash() == r.termination.recompute(*t.b.top));
    negate_net(r, t.q);
    flip_instance(r, t.g);
    EXPECT_TRUE(r.termination.hash() == start);
}

TEST(PolarityHash, DoesNotDependOnWhereRecordsLie) {
    ThreeInputsOnOneNet one;
    ThreeInputsOnOneNet two;
    Termination a, b;
    a.start(*one.b.top);
    b.start(*two.b.top);
    EXPECT_TRUE(a.hash() == b.hash());
    EXPECT_FALSE(a.hash().h1 == a.hash().h2);
}

TEST(PolarityHash, TellsNodesApart) {
    // The same polarity change on two different nodes gives two hashes.
    ThreeInputsOnOneNet t;
    LiteralReduction literal;
    Reduction r{t.b.d, *t.b.top, Termination(), literal};
    r.termination.start(*t.b.top);
    const PolarityHash start = r.termination.hash();
    Node* first = t.p->nodes->next;
    Node* second = first->next;
    negate_node(r, first);
    const PolarityHash after_first = r.termination.hash();
    negate_node(r, first);
    negate_node(r, second);
    EXPECT_FALSE(r.termination.hash() == after_first);
    EXPECT_FALSE(r.termination.hash() == start);
}

// Designs whose passes end by themselves, loaded and flattened.
const test::Files kHalfAdderish = {{"half.nld",
                                    "(def-module half\n"
                                    " (def-pin p type input)\n"
                                    " (def-pin q type output)\n"
                                    " (def-comp and--2 n1)\n"
                                    " (def-comp inv- n2)\n"
                                    " (def-net p n2.in)\n"
                                    " (def-net n2.nout n1.a n1.b)\n"
                                    " (def-net n1.out q))\n"},
                                   {"top.nld",
                                    "(def-module top\n"
                                    " (def-pin a type input)\n"
                                    " (def-pin b type input)\n"
                                    " (def-pin c type input)\n"
                                    " (def-pin clk type input note clock)\n"
                                    " (def-pin y type output)\n"
                                    " (def-pin z type output)\n"
                                    " (def-comp nand--2 g1 g2)\n"
                                    " (def-comp nor--3 g3)\n"
                                    " (def-comp inv- i1 i2 i3)\n"
                                    " (def-comp half h1 h2)\n"
                                    " (def-comp reg-1 r1)\n"
                                    " (def-net a g1.a h1.p)\n"
                                    " (def-net b g1.b h2.p)\n"
                                    " (def-net c i3.in)\n"
                                    " (def-net i3.nout g3.c)\n"
                                    " (def-net g1.nout i1.in)\n"
                                    " (def-net i1.nout g2.a g3.a)\n"
                                    " (def-net h1.q i2.in)\n"
                                    " (def-net i2.nout g2.b g3.b)\n"
                                    " (def-net g2.nout r1.in)\n"
                                    " (def-net clk r1.m_clock)\n"
                                    " (def-net r1.out y)\n"
                                    " (def-net g3.nout z))\n"}};

const test::Files kXorAndBus = {{"top.nld",
                                 "(def-module top\n"
                                 " (def-pin a type input)\n"
                                 " (def-pin b type input)\n"
                                 " (def-pin e type input)\n"
                                 " (def-pin y type output)\n"
                                 " (def-pin z type output)\n"
                                 " (def-pin w type output)\n"
                                 " (def-pin v type output)\n"
                                 " (def-comp inv- i1 i2 i3 i4 i5)\n"
                                 " (def-comp eor--2 x1)\n"
                                 " (def-comp and--2 g1)\n"
                                 " (def-comp or--2 g2)\n"
                                 " (def-comp ts_buf- t1 t2)\n"
                                 " (def-net a i1.in g2.a)\n"
                                 " (def-net i1.nout x1.in1 g1.a)\n"
                                 " (def-net b i2.in t2.in)\n"
                                 " (def-net i2.nout x1.in2 g1.b t1.in)\n"
                                 " (def-net e t1.nenb i5.in)\n"
                                 " (def-net i5.nout t2.nenb)\n"
                                 " (def-net x1.out i3.in)\n"
                                 " (def-net i3.nout y g2.b)\n"
                                 " (def-net g1.out z)\n"
                                 " (def-net t1.out t2.out i4.in)\n"
                                 " (def-net i4.nout w)\n"
                                 " (def-net g2.out v))\n"}};

struct RunResult {
    int status;
    int count;
    std::string state;
};

RunResult reduce_loaded(const test::Files& files, bool opt_a, RepeatGuard guard) {
    TestDesign t;
    t.d.opt_a = opt_a;
    t.load(files);
    EXPECT_EQ(flat(t.d), 1);
    RunResult result;
    result.status = red_inv(t.d, {.guard = guard});
    result.count = count_inverters(t.d, *t.d.top());
    result.state = dump_state(t.d);
    return result;
}

TEST(ReductionRuns, LoadedDesignsReduceAndRepeatExactly) {
    for (const test::Files* files : {&kHalfAdderish, &kXorAndBus}) {
        for (bool opt_a : {false, true}) {
            const RunResult first = reduce_loaded(*files, opt_a, RepeatGuard::ON);
            const RunResult second = reduce_loaded(*files, opt_a, RepeatGuard::ON);
            const RunResult unguarded = reduce_loaded(*files, opt_a, RepeatGuard::OFF);
            EXPECT_EQ(first.status, 1);
            EXPECT_EQ(first.state, second.state);
            EXPECT_EQ(first.count, second.count);
            EXPECT_EQ(first.state, unguarded.state);
            EXPECT_EQ(first.count, unguarded.count);
        }
    }
}

TEST(ReductionRuns, HalfAdderishDesignNeedsFewerInverters) {
    TestDesign t;
    t.load(kHalfAdderish);
    ASSERT_EQ(t.d.inverter_count, 5);
    ASSERT_EQ(flat(t.d), 1);
    EXPECT_EQ(red_inv(t.d), 1);
    int total = 0;
    for (Module* m = t.d.modules; m; m = m->next)
        total += count_inverters(t.d, *m) + count_kept_inverters(t.d, *m);
    EXPECT_EQ(total, 2);
}

}  // namespace
}  // namespace vorp
