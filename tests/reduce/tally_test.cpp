#include "reduce/tally.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "flatten/flatten.h"
#include "reduce/counting.h"
#include "reduce/fast_reduction.h"
#include "reduce/moves.h"
#include "reduce/reduction.h"
#include "tests/support/fixture.h"

namespace vorp {
namespace {

// Gates of every driver kind the count tells apart, xor inputs that are no
// consumers, a register, a constant and a supply port.
const test::Files kMixed = {
    {"top.nld",
     "(def-module top\n"
     " (def-pin a type input)\n (def-pin b type input)\n (def-pin clk type input note clock)\n"
     " (def-pin VDD type global)\n (def-pin y type output)\n (def-pin z type output)\n"
     " (def-pin w type output)\n (def-pin q type output)\n"
     " (def-comp nand--2 g1 g2)\n (def-comp and--5 g3)\n (def-comp eor--2 x1)\n"
     " (def-comp inv- i1 i2 i3 i4)\n (def-comp reg-1 r1)\n (def-comp high- h1)\n"
     " (def-net a g1.a i1.in x1.in1)\n (def-net i1.nout g1.b g2.a)\n"
     " (def-net b i2.in g3.a)\n (def-net i2.nout g2.b x1.in2 g3.b)\n"
     " (def-net g1.nout i3.in)\n (def-net i3.nout y)\n"
     " (def-net g2.nout i4.in g3.c)\n (def-net i4.nout z)\n"
     " (def-net clk r1.m_clock)\n (def-net h1.out g3.d)\n"
     " (def-net VDD g3.e)\n (def-net x1.out w)\n (def-net g3.out r1.in)\n"
     " (def-net r1.out q))\n"}};

Reduction::Measure recount(Design& d) {
    return {count_inverters(d, *d.top()), total_inverted_load(d, *d.top())};
}

void expect_tally_equals_recount(bool opt_a) {
    test::TestDesign t;
    t.d.opt_a = opt_a;
    try {
        t.load(kMixed);
    } catch (const Fatal&) {
        FAIL() << t.err.str();
    }
    ASSERT_EQ(flat(t.d), 1) << t.err.str();
    Module& top = *t.d.top();
    build_groups(top);
    FastReduction fast;
    Reduction r{t.d, top, Termination(), fast};
    fast.start(r);
    std::vector<Node*> nodes;
    for (Net* net = top.nets; net; net = net->next)
        for (Node* n = net->nodes; n; n = n->next) nodes.push_back(n);
    ASSERT_GT(nodes.size(), 10u);
    std::mt19937 rng(opt_a ? 7 : 3);
    for (int step = 0; step < 2000; ++step) {
        Node* n = nodes[rng() % nodes.size()];
        if (rng() % 3 == 0)
            negate_net(r, n->net);
        else
            negate_node(r, n);
        const Reduction::Measure want = recount(t.d);
        const Reduction::Measure got = r.measure(Mode::TIE_BREAK);
        ASSERT_EQ(got.count, want.count) << "step " << step;
        ASSERT_EQ(got.load, want.load) << "step " << step;
        for (Net* net = top.nets; net; net = net->next) {
            ASSERT_EQ(r.net_count(net), net_inverters(t.d, net));
            ASSERT_EQ(r.net_load(net), net_inverted_load(t.d, net));
        }
    }
}

TEST(Tally, KeptMeasuresEqualTheRecountAfterEveryChange) {
    expect_tally_equals_recount(false);
}

TEST(Tally, KeptMeasuresEqualTheRecountWithOptionA) {
    expect_tally_equals_recount(true);
}

}  // namespace
}  // namespace vorp
