#include "reduce/moves.h"

#include <gtest/gtest.h>

#include <vector>

#include "reduce/counting.h"
#include "reduce/literal_reduction.h"
#include "reduce/reduction.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::dump_state;

struct MoveTest : ::testing::Test {
    DesignBuilder b;
    LiteralReduction literal;
    Reduction r{b.d, *b.top, Termination(), literal};

    void start() { r.termination.start(*b.top); }
    std::vector<Instance*> cluster_chain(Instance* leader) {
        std::vector<Instance*> chain;
        for (Instance* m = leader; m; m = r.clusters.next_in_cluster(m)) chain.push_back(m);
        return chain;
    }
    std::vector<Instance*> cluster_leaders() {
        std::vector<Instance*> leaders;
        for (Instance* m = r.clusters.leaders; m; m = r.clusters.next_cluster(m))
            leaders.push_back(m);
        return leaders;
    }
};

TEST_F(MoveTest, NegateNodeKeepsZeroAndFlipsSigns) {
    Net* net = b.net();
    Node* driver = b.drive(net, b.inst(CELL_NAND, "g"), "nout");
    Node* load = b.pin(net, b.inst(CELL_AND, "h"), "a", KW_INPUT, 1, -1);
    start();
    negate_net(r, net);
    EXPECT_EQ(driver->pol_a(), 0);
    EXPECT_EQ(driver->pol_b(), 0);
    EXPECT_EQ(load->pol_a(), -1);
    EXPECT_EQ(load->pol_b(), 1);
    EXPECT_EQ(load->pin_type(), KW_INPUT);
}

// pa -> g.a (-1), pb -> g.b (+1), g.nout -> y (+1), h.a (-1); pa also feeds k.
struct GateFixture : MoveTest {
    Instance* g = b.inst(CELL_NAND, "g");
    Instance* h = b.inst(CELL_AND, "h");
    Instance* k = b.inst(CELL_AND, "k");
    Net* a = b.net();
    Net* bnet = b.net();
    Net* out = b.net();
    Node* ga;
    Node* gb;
    Node* ka;
    Node* y;
    Node* ha;
    GateFixture() {
        b.drive(a, b.port("pa", KW_INPUT), "pa", KW_INPUT);
        ga = b.load(a, g, "a", -1);
        ka = b.load(a, k, "a", -1);
        b.drive(bnet, b.port("pb", KW_INPUT), "pb", KW_INPUT);
        gb = b.load(bnet, g, "b", 1);
        b.drive(out, g, "nout");
        y = b.load(out, b.port("y", KW_OUTPUT), "y", 1);
        ha = b.load(out, h, "a", -1);
        start();
    }
};

TEST_F(GateFixture, FlipInstanceNegatesInputPinsAndTheOutputNet) {
    const std::string before = dump_state(b.d);
    flip_instance(r, g);
    EXPECT_EQ(ga->pol_a(), 1);
    EXPECT_EQ(gb->pol_a(), -1);
    EXPECT_EQ(ka->pol_a(), -1);  // the input net itself is not negated
    EXPECT_EQ(y->pol_a(), -1);
    EXPECT_EQ(ha->pol_a(), 1);
    EXPECT_EQ(out->source->pol_a(), 0);
    flip_instance(r, g);
    EXPECT_EQ(dump_state(b.d), before);
}

TEST_F(GateFixture, FlippabilityLooksOnlyAtNonInputPins) {
    EXPECT_TRUE(is_flippable(g));
    a->set_irreversible(true);
    EXPECT_TRUE(is_flippable(g));
    out->set_irreversible(true);
    EXPECT_FALSE(is_flippable(g));
    const std::string before = dump_state(b.d);
    EXPECT_FALSE(try_flip_instance(r, g, Mode::TIE_BREAK));
    EXPECT_EQ(dump_state(b.d), before);
}

TEST_F(GateFixture, LocalMeasureCountsANetOncePerPin) {
    // A second input of g on net a: flipping g clears a (counted twice) and
    // costs one on out and one on bnet, so the local count does not change.
    Node* gc = b.load(a, g, "c", -1);
    k->node->set_pols(1, 1);
    y->set_pols(1, 1);
    ha->set_pols(1, 1);
    r.termination.start(*b.top);
    EXPECT_FALSE(try_flip_instance(r, g, Mode::STRICT));
    EXPECT_EQ(gc->pol_a(), -1);
    // A third input makes the same flip pay locally, though the whole count
    // rises from 1 to 2.
    b.load(a, g, "d", -1);
    r.termination.start(*b.top);
    EXPECT_EQ(count_inverters(b.d, *b.top), 1);
    EXPECT_TRUE(try_flip_instance(r, g, Mode::STRICT));
    EXPECT_EQ(count_inverters(b.d, *b.top), 2);
}

TEST_F(GateFixture, ComplementOutputNegatesTheOutputNetWhenItPays) {
    y->set_pols(-1, -1);
    EXPECT_TRUE(try_complement_output(r, g, Mode::STRICT));
    EXPECT_EQ(y->pol_a(), 1);
    EXPECT_EQ(ha->pol_a(), 1);
    EXPECT_EQ(ga->pol_a(), -1);  // inputs are left alone
}

TEST_F(GateFixture, ComplementOutputRejectsEqualCountInStrictMode) {
    // out: y +1, h -1: negating keeps count 1 and load 1.
    const std::string before = dump_state(b.d);
    EXPECT_FALSE(try_complement_output(r, g, Mode::STRICT));
    EXPECT_FALSE(try_complement_output(r, g, Mode::TIE_BREAK));
    EXPECT_EQ(dump_state(b.d), before);
}

TEST_F(GateFixture, ComplementOutputNeverTouchesAnIrreversibleNet) {
    y->set_pols(-1, -1);
    out->set_irreversible(true);
    EXPECT_FALSE(try_complement_output(r, g, Mode::STRICT));
    EXPECT_EQ(y->pol_a(), -1);
}

TEST_F(MoveTest, ComplementOutputNeedsAnOutputPin) {
    Net* net = b.net();
    b.drive(net, b.port("pa", KW_INPUT), "pa", KW_INPUT);
    Instance* g = b.inst(CELL_AND, "g");
    b.load(net, g, "a", -1);
    start();
    EXPECT_FALSE(try_complement_output(r, g, Mode::TIE_BREAK));
}

// g: a (-1, with k -1 beside it) -> nout (y +1, h -1). Flipping keeps the local
// count at 2 and lowers the load from 3 to 2: only the tie-break accepts.
TEST_F(MoveTest, TieBreakAcceptsAnEqualCountWithLowerLoadStrictDoesNot) {
    Instance* g = b.inst(CELL_NAND, "g");
    Net* a = b.net();
    b.drive(a, b.port("pa", KW_INPUT), "pa", KW_INPUT);
    Node* ga = b.load(a, g, "a", -1);
    b.load(a, b.inst(CELL_AND, "k"), "a", -1);
    Net* out = b.net();
    b.drive(out, g, "nout");
    b.load(out, b.port("y", KW_OUTPUT), "y", 1);
    b.load(out, b.inst(CELL_AND, "h"), "a", -1);
    start();
    const std::string before = dump_state(b.d);
    EXPECT_FALSE(try_flip_instance(r, g, Mode::STRICT));
    EXPECT_EQ(dump_state(b.d), before);
    EXPECT_TRUE(try_flip_instance(r, g, Mode::TIE_BREAK));
    EXPECT_EQ(ga->pol_a(), 1);
    EXPECT_EQ(count_inverters(b.d, *b.top), 2);
    EXPECT_EQ(total_inverted_load(b.d, *b.top), 2);
}

TEST_F(MoveTest, ComplementOfAnAndGateNeverPaysUnderOptionA) {
    // Under -a an and-family gate picks its polarity, so negating its own
    // output net never changes its count: complements come from settling.
    b.d.opt_a = 1;
    Instance* g = b.inst(CELL_AND, "g");
    Net* out = b.net();
    b.drive(out, g, "out");
    b.load(out, b.port("y", KW_OUTPUT), "y", -1);
    g->group = g;
    start();
    EXPECT_FALSE(complement_outputs(r, g, Mode::TIE_BREAK));
    EXPECT_FALSE(g->complement());
}

TEST_F(MoveTest, ComplementOutputsActsOnAGateBesideAnotherDriver) {
    // g's output lies on a wired net that t drives: the buffer's rule counts,
    // so negating the net clears both inverted consumers.
    b.d.opt_a = 1;
    Instance* g = b.inst(CELL_AND, "g");
    Instance* h = b.inst(CELL_EOR, "h");  // not an and-family gate: not tried
    Net* bus = b.net(NET_WIRED);
    b.drive(bus, b.inst(CELL_TS_BUF, "t"), "out", KW_TRISTATE);
    b.pin(bus, g, "out", KW_OUTPUT, 0, 0);
    b.pin(bus, h, "out", KW_OUTPUT, 0, 0);
    Node* u = b.load(bus, b.inst(CELL_REG, "u"), "in", -1);
    b.load(bus, b.inst(CELL_REG, "v"), "in", -1);
    g->group = g;
    g->next_in_group = h;
    start();
    EXPECT_EQ(count_inverters(b.d, *b.top), 1);
    EXPECT_TRUE(complement_outputs(r, g, Mode::STRICT));
    EXPECT_TRUE(g->complement());
    EXPECT_FALSE(h->complement());
    EXPECT_EQ(u->pol_a(), 1);
    EXPECT_EQ(count_inverters(b.d, *b.top), 0);
    EXPECT_FALSE(complement_outputs(r, g, Mode::TIE_BREAK));
    EXPECT_TRUE(g->complement());
}

// pa -> g.a (-1); g.nout -> x.in1 (+1, an exclusive-or input). Flipping g
// alone pays; the flip leaves x's input inverted, and only when exclusive-or
// cells were read are g's nets settled, so that x absorbs it.
struct FlipThenSettle : MoveTest {
    Instance* g = b.inst(CELL_NAND, "g");
    Instance* x = b.inst(CELL_EOR, "x");
    Instance* h = b.inst(CELL_EOR, "h");  // skipped by flip_instances
    Node* xin;
    FlipThenSettle() {
        Net* a = b.net();
        b.drive(a, b.port("pa", KW_INPUT), "pa", KW_INPUT);
        b.load(a, g, "a", -1);
        b.load(a, h, "in1", -1);
        Net* out = b.net();
        b.drive(out, g, "nout");
        xin = b.load(out, x, "in1", 1);
        g->next_in_group = x;
        x->next_in_group = h;
        start();
    }
};

TEST_F(FlipThenSettle, WithoutXorTheFlippedNetsAreLeft) {
    EXPECT_TRUE(flip_instances(r, g, Mode::STRICT));
    EXPECT_TRUE(g->dual());
    EXPECT_EQ(xin->pol_a(), -1);
    EXPECT_FALSE(x->dual());
    EXPECT_FALSE(h->dual());
    EXPECT_FALSE(flip_instances(r, g, Mode::TIE_BREAK));
}

TEST_F(FlipThenSettle, WithXorTheFlippedGatesNetsAreSettled) {
    b.d.has_xor = 1;
    EXPECT_TRUE(flip_instances(r, g, Mode::STRICT));
    EXPECT_TRUE(g->dual());
    EXPECT_EQ(xin->pol_a(), 1);
    EXPECT_TRUE(x->dual());
    EXPECT_TRUE(h->dual());  // absorbed on g's input net, settled too
}

// The tristate bus w is driven by t1 and t2 and read by g (+1) and h (-1).
struct BusFixture : MoveTest {
    Instance* t1 = b.inst(CELL_TS_BUF, "t1");
    Instance* t2 = b.inst(CELL_TS_BUF, "t2");
    Net* w = b.net(NET_WIRED);
    Node* in1;
    Node* in2;
    Node* enb1;
    Node* out1;
    Node* out2;
    Node* gw;
    Node* hw;
    BusFixture() {
        Net* i1 = b.net();
        b.drive(i1, b.port("p1", KW_INPUT), "p1", KW_INPUT);
        in1 = b.load(i1, t1, "in", 1);
        enb1 = b.load(i1, t1, "nenb", 1);
        Net* i2 = b.net();
        b.drive(i2, b.port("p2", KW_INPUT), "p2", KW_INPUT);
        in2 = b.load(i2, t2, "in", -1);
        out1 = b.drive(w, t1, "out", KW_TRISTATE);
        out2 = b.pin(w, t2, "out", KW_TRISTATE, 0, 1);
        gw = b.load(w, b.inst(CELL_AND, "g"), "a", 1);
        hw = b.load(w, b.inst(CELL_AND, "h"), "a", -1);
        start();
    }
};

TEST_F(BusFixture, FlipTristateMovesTheInversionInFrontOfEveryBuffer) {
    const std::string before = dump_state(b.d);
    flip_tristate(r, t1);
    EXPECT_EQ(in1->pol_a(), -1);
    EXPECT_EQ(in2->pol_a(), 1);
    EXPECT_EQ(enb1->pol_a(), 1);
    EXPECT_EQ(out1->pol_b(), 0);
    EXPECT_EQ(out2->pol_b(), 1);  // buffer outputs are not changed
    EXPECT_EQ(gw->pol_a(), -1);
    EXPECT_EQ(hw->pol_a(), 1);
    flip_tristate(r, t1);
    EXPECT_EQ(dump_state(b.d), before);
}

TEST_F(BusFixture, BufferWithoutInPinStillNegatesTheBus) {
    in2->pin = "data";
    flip_tristate(r, t2);
    EXPECT_EQ(in1->pol_a(), -1);
    EXPECT_EQ(in2->pol_a(), -1);  // no "in" pin on t2: nothing for it
    EXPECT_EQ(gw->pol_a(), -1);
    EXPECT_EQ(hw->pol_a(), 1);
}

TEST_F(BusFixture, IrreversibleBusBlocksTheFlip) {
    w->set_irreversible(true);
    EXPECT_FALSE(is_tristate_flippable(t1));
    const std::string before = dump_state(b.d);
    EXPECT_FALSE(try_flip_tristate(r, t1, Mode::TIE_BREAK));
    EXPECT_EQ(dump_state(b.d), before);
}

TEST_F(BusFixture, TristateTrialIsJudgedOnTheWholeDesign) {
    // Before: i2 (t2.in -1) 1, w (h -1) 1. After: i1 (t1.in -1) 1, w (g -1) 1.
    const std::string before = dump_state(b.d);
    EXPECT_FALSE(try_flip_tristate(r, t1, Mode::TIE_BREAK));
    EXPECT_EQ(dump_state(b.d), before);
    // With g also inverted, the flip clears the bus and t2's input: 2 -> 1.
    gw->set_pols(-1, -1);
    r.termination.start(*b.top);
    EXPECT_TRUE(try_flip_tristate(r, t1, Mode::STRICT));
    EXPECT_EQ(count_inverters(b.d, *b.top), 1);
}

TEST_F(MoveTest, NetBalanceLeavesExclusiveOrInputsOut) {
    Net* net = b.net();
    b.drive(net, b.inst(CELL_AND, "d"), "out");
    b.load(net, b.inst(CELL_AND, "g"), "a", -1);
    b.load(net, b.inst(CELL_EOR, "x"), "in1", 1);
    b.load(net, b.inst(CELL_EOR, "z"), "in1", 1);
    EXPECT_EQ(net_balance(net), -1);
    b.load(net, b.inst(CELL_NOR, "h"), "a", 1);
    EXPECT_EQ(net_balance(net), 0);
}

TEST_F(MoveTest, ExclusiveOrAbsorbsEachInvertedInputByTogglingItsDual) {
    Instance* x = b.inst(CELL_EOR, "x");
    Net* a = b.net();
    b.drive(a, b.port("pa", KW_INPUT), "pa", KW_INPUT);
    Node* in1 = b.pin(a, x, "in1", KW_INPUT, -1, -1);
    Net* c = b.net();
    b.drive(c, b.port("pc", KW_INPUT), "pc", KW_INPUT);
    Node* in2 = b.load(c, x, "in2", -1);
    start();
    settle_net(r, a);
    EXPECT_TRUE(x->dual());
    EXPECT_EQ(in1->pol_a(), 1);
    EXPECT_EQ(in1->pol_b(), 1);
    settle_net(r, c);
    EXPECT_FALSE(x->dual());  // two absorbed inputs cancel
    EXPECT_EQ(in2->pol_a(), 1);
    settle_net(r, c);
    EXPECT_FALSE(x->dual());  // nothing left to absorb
}

// A net driven by `cell` with consumers g (-1), h (-1), k (+1), an xor x
// reading it straight and an xor z reading it inverted.
struct SettleFixture : MoveTest {
    Instance* driver;
    Instance* x = b.inst(CELL_EOR, "x");
    Instance* z = b.inst(CELL_ENOR, "z");
    Net* net = b.net();
    Node *g, *h, *k, *xn, *zn;
    void make(int cell, const char* pin = "out") {
        driver = b.inst(cell, "d");
        b.drive(net, driver, pin);
        g = b.load(net, b.inst(CELL_AND, "g"), "a", -1);
        h = b.load(net, b.inst(CELL_AND, "h"), "a", -1);
        k = b.load(net, b.inst(CELL_AND, "k"), "a", 1);
        xn = b.load(net, x, "in1", 1);
        zn = b.load(net, z, "in1", -1);
        start();
    }
    void expect_pushed() {
        EXPECT_EQ(g->pol_a(), 1);
        EXPECT_EQ(h->pol_a(), 1);
        EXPECT_EQ(k->pol_a(), -1);
        EXPECT_EQ(xn->pol_a(), 1);  // straight xor input: dual toggled instead
        EXPECT_TRUE(x->dual());
        EXPECT_EQ(zn->pol_a(), 1);  // inverted xor input: negated
        EXPECT_FALSE(z->dual());
    }
    void expect_absorbed() {
        EXPECT_EQ(g->pol_a(), -1);
        EXPECT_EQ(k->pol_a(), 1);
        EXPECT_EQ(xn->pol_a(), 1);
        EXPECT_FALSE(x->dual());
        EXPECT_EQ(zn->pol_a(), 1);
        EXPECT_TRUE(z->dual());
        EXPECT_FALSE(driver->dual());
        EXPECT_FALSE(driver->complement());
    }
};

TEST_F(SettleFixture, AndGateUnderOptionAComplementsItsOutput) {
    b.d.opt_a = 1;
    make(CELL_AND);
    settle_net(r, net);
    EXPECT_TRUE(driver->complement());
    EXPECT_FALSE(driver->dual());
    expect_pushed();
}

TEST_F(SettleFixture, AndGateWithoutOptionAOnlyAbsorbs) {
    make(CELL_NAND, "nout");
    settle_net(r, net);
    expect_absorbed();
}

TEST_F(SettleFixture, IrreversibleAndGateNetOnlyAbsorbs) {
    b.d.opt_a = 1;
    make(CELL_NOR, "nout");
    net->set_irreversible(true);
    settle_net(r, net);
    expect_absorbed();
}

TEST_F(SettleFixture, BalancedNetOnlyAbsorbs) {
    b.d.opt_a = 1;
    make(CELL_OR);
    b.load(net, b.inst(CELL_AND, "m"), "a", 1);
    settle_net(r, net);
    expect_absorbed();
}

TEST_F(SettleFixture, ExclusiveOrDriverTakesTheInversionWithoutOptionA) {
    make(CELL_ENOR, "nout");
    settle_net(r, net);
    EXPECT_TRUE(driver->dual());
    EXPECT_FALSE(driver->complement());
    expect_pushed();
}

TEST_F(SettleFixture, IrreversibleExclusiveOrNetOnlyAbsorbs) {
    make(CELL_EOR);
    net->set_irreversible(true);
    settle_net(r, net);
    expect_absorbed();
}

TEST_F(SettleFixture, RegisterNetsAreLeftAsTheyAre) {
    make(CELL_SREG, "scan_out");
    const std::string before = dump_state(b.d);
    settle_net(r, net);
    EXPECT_EQ(dump_state(b.d), before);
    EXPECT_FALSE(z->dual());
}

TEST_F(SettleFixture, OtherDriversOnlyAbsorb) {
    b.d.opt_a = 1;
    make(CELL_AOI, "nout");
    settle_net(r, net);
    expect_absorbed();
}

TEST_F(SettleFixture, NetWithoutSourceOnlyAbsorbs) {
    b.d.opt_a = 1;
    make(CELL_AND);
    net->source = nullptr;
    settle_net(r, net);
    expect_absorbed();
}

// pa -> g1 -> n1 -> g2 (+1), g3 (-1); g2 -> n2 -> b1 (ninv, +1) -> n3 -> g4 (+1);
// g3 -> n4 -> y. All in one group, led by the port pa.
struct ClusterFixture : MoveTest {
    Instance* pa = b.port("pa", KW_INPUT);
    Instance* y = b.port("y", KW_OUTPUT);
    Instance* g1 = b.inst(CELL_AND, "g1");
    Instance* g2 = b.inst(CELL_NAND, "g2");
    Instance* g3 = b.inst(CELL_OR, "g3");
    Instance* b1 = b.inst(CELL_NINV, "b1");
    Instance* g4 = b.inst(CELL_NOR, "g4");
    Net *a, *n1, *n2, *n3, *n4, *n5;
    ClusterFixture() {
        a = b.net();
        b.drive(a, pa, "pa", KW_INPUT);
        b.load(a, g1, "a", 1);
        n1 = b.net();
        b.drive(n1, g1, "out");
        b.load(n1, g2, "a", 1);
        b.load(n1, g3, "a", -1);
        n2 = b.net();
        b.drive(n2, g2, "nout");
        b.load(n2, b1, "in", 1);
        n3 = b.net();
        b.drive(n3, b1, "out");
        b.load(n3, g4, "a", 1);
        n4 = b.net();
        b.drive(n4, g3, "out");
        b.load(n4, y, "y", 1);
        n5 = b.net(NET_WIRED);  // tristate nets are not followed
        b.drive(n5, g4, "nout");
        b.load(n5, g3, "b", 1);
        build_groups(*b.top);
        start();
    }
};

TEST_F(ClusterFixture, GroupChainFollowsNetsInListOrder) {
    EXPECT_EQ(b.top->groups, pa);
    EXPECT_EQ(pa->next_group, nullptr);
    std::vector<Instance*> chain;
    for (Instance* m = pa; m; m = m->next_in_group) chain.push_back(m);
    EXPECT_EQ(chain, (std::vector<Instance*>{pa, g1, g2, g3, b1, g4, y}));
}

TEST_F(ClusterFixture, ClustersJoinStraightConnectionsOfClusterCells) {
    build_clusters(r, pa, ClusterSet::ALL);
    EXPECT_EQ(cluster_leaders(), (std::vector<Instance*>{y, g3, g1, pa}));
    EXPECT_EQ(cluster_chain(g1), (std::vector<Instance*>{g1, g2, b1, g4}));
    EXPECT_EQ(cluster_chain(g3), (std::vector<Instance*>{g3}));
    for (Instance* m : {g1, g2, b1, g4}) EXPECT_EQ(r.clusters.cluster(m), g1);
    EXPECT_EQ(r.clusters.cluster(g3), g3);
}

TEST_F(ClusterFixture, NoXorSetKeepsExclusiveOrGatesOut) {
    g2->set_cell(CELL_EOR);
    build_clusters(r, pa, ClusterSet::NO_XOR);
    EXPECT_EQ(cluster_chain(g1), (std::vector<Instance*>{g1}));
    EXPECT_EQ(cluster_chain(b1), (std::vector<Instance*>{b1, g4}));
    build_clusters(r, pa, ClusterSet::ALL);
    EXPECT_EQ(cluster_chain(g1), (std::vector<Instance*>{g1, g2, b1, g4}));
}

TEST_F(ClusterFixture, ClusterFlipLeavesTheBufferItself) {
    // Flipping {g1, g2, g4} moves the inversion of g3's input to pa's net
    // side: before n1 needs one (g3 -1).
    Node* b1_in = n2->nodes->next;
    Node* b1_out = n3->nodes;
    build_clusters(r, pa, ClusterSet::ALL);
    flip_instance(r, g1);
    flip_instance(r, g2);
    flip_instance(r, g4);
    EXPECT_EQ(b1_in->pol_a(), -1);  // negated by g2's output net
    EXPECT_EQ(b1_out->pol_a(), 0);
    EXPECT_EQ(n3->nodes->next->pol_a(), -1);  // g4's own input
    EXPECT_FALSE(b1->dual());
}

TEST_F(ClusterFixture, RejectedCandidatesAreUndone) {
    // Only n1 needs one (g3 -1). Flipping g3 costs on n4 and n5; flipping
    // {g1, g2, g4} costs on a, n2, n3 and n5.
    EXPECT_EQ(count_inverters(b.d, *b.top), 1);
    build_clusters(r, pa, ClusterSet::ALL);
    const std::string before = dump_state(b.d);
    EXPECT_EQ(find_cluster(r, ClusterSet::ALL, Mode::TIE_BREAK), nullptr);
    EXPECT_EQ(dump_state(b.d), before);
}

TEST_F(ClusterFixture, FirstPayingCandidateIsLeftFlipped) {
    n4->nodes->next->set_pols(-1, -1);  // y inverted: count 2
    start();
    build_clusters(r, pa, ClusterSet::ALL);
    EXPECT_EQ(find_cluster(r, ClusterSet::ALL, Mode::STRICT), g3);
    EXPECT_EQ(count_inverters(b.d, *b.top), 1);
    EXPECT_EQ(n4->nodes->next->pol_a(), 1);
    EXPECT_FALSE(g3->dual());  // the caller toggles
}

TEST_F(ClusterFixture, ClusterStepTogglesTheGatesOfTheAcceptedCluster) {
    n4->nodes->next->set_pols(-1, -1);
    start();
    EXPECT_TRUE(cluster_step(r, pa, ClusterSet::ALL, Mode::STRICT));
    EXPECT_TRUE(g3->dual());
    for (Instance* m : {g1, g2, b1, g4}) EXPECT_FALSE(m->dual());
    EXPECT_FALSE(cluster_step(r, pa, ClusterSet::ALL, Mode::STRICT));
    EXPECT_TRUE(g3->dual());
}

TEST_F(ClusterFixture, IrreversibleOutputOfAMemberBlocksTheClusterAndTheGroup) {
    g3->node->set_pols(-1, -1);  // g3.b on n5 inverted: count 2
    n3->set_irreversible(true);  // b1's output: b1 is no gate, does not block
    n5->set_irreversible(true);  // g4's output blocks {g1, g2, b1, g4}
    start();
    EXPECT_FALSE(is_flippable(g4));
    EXPECT_TRUE(is_flippable(g3));  // n5 is only an input of g3
    const std::string before = dump_state(b.d);
    EXPECT_FALSE(try_flip_group(r, pa, Mode::TIE_BREAK));
    EXPECT_EQ(dump_state(b.d), before);
    build_clusters(r, pa, ClusterSet::ALL);
    EXPECT_EQ(find_cluster(r, ClusterSet::ALL, Mode::STRICT), g3);
    n4->set_irreversible(true);  // now g3 is blocked too
    flip_instance(r, g3);        // undo the accepted flip
    build_clusters(r, pa, ClusterSet::ALL);
    EXPECT_EQ(find_cluster(r, ClusterSet::ALL, Mode::TIE_BREAK), nullptr);
    EXPECT_EQ(dump_state(b.d), before);
}

TEST_F(MoveTest, BufferLedClusterIsNeverACandidate) {
    // b1 (ninv) drives n3 before anything joins it, so it leads {b1, g4}.
    // Flipping g4 alone would pay: n3 already needs one for r1, and y2 is
    // inverted.
    Instance* pa = b.port("pa", KW_INPUT);
    Instance* y2 = b.port("y2", KW_OUTPUT);
    Instance* b1 = b.inst(CELL_NINV, "b1");
    Instance* g4 = b.inst(CELL_NOR, "g4");
    Instance* r1 = b.inst(CELL_REG, "r1");
    Net* n3 = b.net();
    b.drive(n3, b1, "out");
    b.load(n3, g4, "a", 1);
    b.load(n3, r1, "in", -1);
    Net* a = b.net();
    b.drive(a, pa, "pa", KW_INPUT);
    b.load(a, b1, "in", 1);
    Net* out = b.net();
    b.drive(out, g4, "nout");
    b.load(out, y2, "y2", -1);
    build_groups(*b.top);
    start();
    Instance* g = b1->group;
    build_clusters(r, g, ClusterSet::ALL);
    EXPECT_EQ(cluster_chain(b1), (std::vector<Instance*>{b1, g4}));
    const std::string before = dump_state(b.d);
    EXPECT_EQ(find_cluster(r, ClusterSet::ALL, Mode::STRICT), nullptr);
    EXPECT_EQ(dump_state(b.d), before);
    // The same flip offered as a single gate is taken.
    EXPECT_TRUE(try_flip_instance(r, g4, Mode::STRICT));
}

TEST_F(MoveTest, MergeClustersKeepsAPortLedCluster) {
    Instance* p = b.port("p", KW_INPUT);
    Instance* g = b.inst(CELL_AND, "g");
    Instance* h = b.inst(CELL_AND, "h");
    r.clusters.leaders = h;
    r.clusters.of(h) = {h, g, nullptr};
    r.clusters.of(g) = {g, p, nullptr};
    r.clusters.of(p) = {p, nullptr, nullptr};
    EXPECT_EQ(merge_clusters(r, g, p), p);
    EXPECT_EQ(cluster_chain(p), (std::vector<Instance*>{p, g}));
    EXPECT_EQ(cluster_leaders(), (std::vector<Instance*>{h, p}));
    // Between two non-port leaders the first argument's survives; the chain
    // is appended behind the end reached from the first argument.
    EXPECT_EQ(merge_clusters(r, g, h), p);
    EXPECT_EQ(cluster_chain(p), (std::vector<Instance*>{p, g, h}));
    EXPECT_EQ(cluster_leaders(), (std::vector<Instance*>{p}));
    EXPECT_EQ(r.clusters.cluster(h), p);
}

}  // namespace
}  // namespace vorp
