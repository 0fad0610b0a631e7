#include "reduce/reduction.h"

#include <gtest/gtest.h>

#include <vector>

#include "reduce/counting.h"
#include "reduce/literal_reduction.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::dump_state;

std::vector<Instance*> leaders(const Module& top) {
    std::vector<Instance*> list;
    for (Instance* g = top.groups; g; g = g->next_group) list.push_back(g);
    return list;
}

std::vector<Instance*> members(Instance* g) {
    std::vector<Instance*> chain;
    for (Instance* m = g; m; m = m->next_in_group) chain.push_back(m);
    return chain;
}

Module* add_module(DesignBuilder& b, int kind) {
    Module* m = b.d.make<Module>();
    m->set_kind(kind);
    push_back(b.d.modules, m);
    return m;
}

Instance* add_port(DesignBuilder& b, Module* m, const char* name, int pin_type) {
    Instance* p = b.d.make<Instance>();
    p->set_cell(CELL_PORT);
    p->set_pin_type(pin_type);
    p->name = name;
    p->owner = m;
    push_back(m->ports, p);
    return p;
}

TEST(BuildGroups, LeadersComeInstancesFirstThenGlobalPortsThenKeptPorts) {
    DesignBuilder b;
    Instance* p1 = b.port("p1", KW_INPUT);
    b.port("p2", KW_INPUT, false);
    Instance* p3 = b.port("p3", KW_OUTPUT);
    Module* m1 = add_module(b, MOD_NLD);
    Instance* ga = add_port(b, m1, "ga", KW_GLOBAL);
    add_port(b, m1, "gb", KW_INPUT);
    Module* m2 = add_module(b, MOD_PCD);
    add_port(b, m2, "gc", KW_GLOBAL);
    Module* m3 = add_module(b, MOD_NLD);
    Instance* gd = add_port(b, m3, "gd", KW_GLOBAL);
    Instance* ge = add_port(b, m3, "ge", KW_GLOBAL);
    Instance* a = b.inst(CELL_AND, "a");
    Instance* i = b.inst(CELL_INV, "i");
    Instance* c = b.inst(CELL_NAND, "c");
    build_groups(*b.top);
    EXPECT_EQ(leaders(*b.top), (std::vector<Instance*>{c, a, ge, gd, ga, p3, p1}));
    for (Instance* g : leaders(*b.top)) {
        EXPECT_EQ(g->group, g);
        EXPECT_EQ(g->next_in_group, nullptr);
    }
    EXPECT_EQ(i->group, nullptr);
}

TEST(BuildGroups, EmptyTopHasNoGroups) {
    DesignBuilder b;
    b.top->groups = b.inst(CELL_AND, "stale");
    b.top->insts = nullptr;
    build_groups(*b.top);
    EXPECT_EQ(b.top->groups, nullptr);
}

// Nets are joined in list order; each node joins the driver's group.
TEST(BuildGroups, PortLedGroupSurvivesWhicheverDrives) {
    DesignBuilder b;
    Instance* y = b.port("y", KW_OUTPUT);
    Instance* g = b.inst(CELL_NAND, "g");
    Instance* h = b.inst(CELL_AND, "h");
    Instance* k = b.inst(CELL_OR, "k");
    Net* n1 = b.net();
    b.drive(n1, g, "nout");
    b.load(n1, h, "a", 1);
    b.load(n1, y, "y", 1);
    Net* n2 = b.net();
    b.drive(n2, k, "out");
    b.load(n2, g, "a", -1);
    build_groups(*b.top);
    // n1: g takes h (g survives: both gates), then y's port group takes g's.
    // n2: k joins through g: the port-led group survives again.
    EXPECT_EQ(leaders(*b.top), (std::vector<Instance*>{y}));
    EXPECT_EQ(members(y), (std::vector<Instance*>{y, g, h, k}));
    for (Instance* m : {y, g, h, k}) EXPECT_EQ(m->group, y);
}

TEST(MergeGroups, DriversGroupSurvivesBetweenGatesAndChainIsAppended) {
    DesignBuilder b;
    Instance* a = b.inst(CELL_AND, "a");
    Instance* c = b.inst(CELL_AND, "c");
    Instance* e = b.inst(CELL_AND, "e");
    Instance* f = b.inst(CELL_AND, "f");
    build_groups(*b.top);
    EXPECT_EQ(leaders(*b.top), (std::vector<Instance*>{f, e, c, a}));
    EXPECT_EQ(merge_groups(*b.top, c, e), c);  // from the middle of the list
    EXPECT_EQ(leaders(*b.top), (std::vector<Instance*>{f, c, a}));
    EXPECT_EQ(merge_groups(*b.top, e, f), c);  // head; appended after e
    EXPECT_EQ(leaders(*b.top), (std::vector<Instance*>{c, a}));
    EXPECT_EQ(merge_groups(*b.top, a, e), a);
    EXPECT_EQ(leaders(*b.top), (std::vector<Instance*>{a}));
    EXPECT_EQ(members(a), (std::vector<Instance*>{a, c, e, f}));
    for (Instance* m : {a, c, e, f}) EXPECT_EQ(m->group, a);
}

TEST(MergeGroups, TwoPortLedGroupsKeepTheFirstArgument) {
    DesignBuilder b;
    Instance* p = b.port("p", KW_INPUT);
    Instance* q = b.port("q", KW_INPUT);
    build_groups(*b.top);
    EXPECT_EQ(merge_groups(*b.top, q, p), q);
    EXPECT_EQ(members(q), (std::vector<Instance*>{q, p}));
}

TEST(BuildGroups, PinnedNodesAndUngroupedInstancesJoinNothing) {
    DesignBuilder b;
    Instance* g = b.inst(CELL_NAND, "g");
    Instance* h = b.inst(CELL_AND, "h");
    Instance* k = b.inst(CELL_AND, "k");
    Instance* i = b.inst(CELL_INV, "i");
    Instance* m = b.inst(CELL_AND, "m");
    Net* n1 = b.net();
    b.drive(n1, g, "nout");
    b.load(n1, h, "a", 1)->set_pinned(true);
    b.load(n1, i, "in", 1);  // an inverter has no group: passed over
    Net* n2 = b.net();
    b.drive(n2, i, "nout");  // driver without a group: the net joins nothing
    b.load(n2, k, "a", 1);
    b.load(n2, m, "a", 1);
    Net* clock = b.net(NET_CLOCK);  // not a signal net
    b.drive(clock, g, "c");
    b.load(clock, k, "c", 1);
    build_groups(*b.top);
    EXPECT_EQ(leaders(*b.top), (std::vector<Instance*>{m, k, h, g}));
    for (Instance* x : {g, h, k, m}) EXPECT_EQ(members(x), (std::vector<Instance*>{x}));
}

TEST(RedInv, TopWithoutNetsChangesNothing) {
    DesignBuilder b;
    Instance* g = b.inst(CELL_AND, "g");
    Instance* h = b.inst(CELL_NOR, "h");
    g->set_dual(true);
    h->set_complement(true);
    b.d.opt_a = 1;
    b.d.has_xor = 1;
    EXPECT_EQ(red_inv(b.d), 1);
    EXPECT_EQ(leaders(*b.top), (std::vector<Instance*>{h, g}));
    EXPECT_FALSE(g->dual());  // cleared at the start
    EXPECT_FALSE(h->complement());
    EXPECT_EQ(b.err.str(), "");
}

// pa -> g.a, g.b (both -1); g.nout -> y (+1). Flipping g clears both inputs
// and inverts y: the whole count stays 1, but the local count (net a once
// per pin) falls from 2 to 1, so the strict pass already keeps it.
struct TwoInputGate {
    DesignBuilder b;
    Instance* pa = b.port("pa", KW_INPUT);
    Instance* y = b.port("y", KW_OUTPUT);
    Instance* g = b.inst(CELL_NAND, "g");
    Net* a = b.net();
    Net* out = b.net();
    TwoInputGate() {
        b.drive(a, pa, "pa", KW_INPUT);
        b.load(a, g, "a", -1);
        b.load(a, g, "b", -1);
        b.drive(out, g, "nout");
        b.load(out, y, "y", 1);
    }
};

TEST(RedInv, LocalCountKeepsAFlipThatClearsTwoInputs) {
    TwoInputGate t;
    EXPECT_EQ(red_inv(t.b.d), 1);
    EXPECT_TRUE(t.g->dual());
    EXPECT_EQ(count_inverters(t.b.d, *t.b.top), 1);
    EXPECT_EQ(total_inverted_load(t.b.d, *t.b.top), 1);
    EXPECT_EQ(t.out->nodes->next->pol_a(), -1);
}

TEST(RedInv, GroupLedByAClockInstanceIsSkipped) {
    TwoInputGate t;
    build_groups(*t.b.top);
    ASSERT_EQ(leaders(*t.b.top), (std::vector<Instance*>{t.pa}));
    t.pa->set_on_clock(true);
    const std::string before = dump_state(t.b.d);
    EXPECT_EQ(red_inv(t.b.d), 1);
    EXPECT_EQ(dump_state(t.b.d), before);
}

TEST(RedInv, ClockFlagOfAMemberDoesNotSkipItsGroup) {
    TwoInputGate t;
    t.g->set_on_clock(true);
    EXPECT_EQ(red_inv(t.b.d), 1);
    EXPECT_TRUE(t.g->dual());
}

TEST(RedInv, TwistedIrreversibleNetFailsTheStageAndKeepsTheChanges) {
    TwoInputGate t;
    t.out->nodes->next->set_pols(-1, -1);  // y inverted too: the flip pays 2
    Net* bus = t.b.net(NET_WIRED, true);
    t.b.drive(bus, t.b.inst(CELL_REG, "r"), "out");
    t.b.pin(bus, t.b.port("io1", KW_INPUT), "io1", KW_INPUT, 1, -1);
    t.b.pin(bus, t.b.port("io2", KW_BIDIRECT_CONNECTED), "io2", KW_BIDIRECT_CONNECTED, 1, -1);
    t.b.pin(bus, t.b.port("io3", KW_BIDIRECT), "io3", KW_BIDIRECT, 1, -1);
    EXPECT_EQ(red_inv(t.b.d), 0);
    EXPECT_EQ(t.b.err.str(), "vorp: twisted irreversible net found, sorry.\n");
    EXPECT_TRUE(t.g->dual());
    EXPECT_EQ(count_inverters(t.b.d, *t.b.top), 0);
}

TEST(RedInv, InvertedNonBidirectPinOnIrreversibleNetIsNoFault) {
    TwoInputGate t;
    Net* bus = t.b.net(NET_WIRED, true);
    t.b.drive(bus, t.b.inst(CELL_REG, "r"), "out");
    t.b.pin(bus, t.b.port("io1", KW_INPUT), "io1", KW_INPUT, 1, -1);
    t.b.pin(bus, t.b.port("io2", KW_BIDIRECT), "io2", KW_BIDIRECT, 1, 1);
    Net* plain = t.b.net();  // not irreversible: not looked at
    t.b.drive(plain, t.b.inst(CELL_REG, "s"), "out");
    t.b.pin(plain, t.b.port("io3", KW_BIDIRECT), "io3", KW_BIDIRECT, 1, -1);
    EXPECT_EQ(red_inv(t.b.d), 1);
    EXPECT_EQ(t.b.err.str(), "");
}

// pa -> x.in1 (-1); pb -> d.a; d (and).out -> g.a (-1), h.a (-1), y (+1).
struct XorAndFanOut {
    DesignBuilder b;
    Instance* x = b.inst(CELL_EOR, "x");
    Instance* dgate = b.inst(CELL_AND, "d");
    Node* xin;
    Node* ga;
    Node* ha;
    XorAndFanOut() {
        Net* a = b.net();
        b.drive(a, b.port("pa", KW_INPUT), "pa", KW_INPUT);
        xin = b.load(a, x, "in1", -1);
        Net* xo = b.net();
        b.drive(xo, x, "out");
        b.load(xo, b.port("z", KW_OUTPUT), "z", 1);
        Net* pb = b.net();
        b.drive(pb, b.port("pb", KW_INPUT), "pb", KW_INPUT);
        b.load(pb, dgate, "a", 1);
        Net* out = b.net();
        b.drive(out, dgate, "out");
        ga = b.load(out, b.inst(CELL_REG, "g"), "in", -1);
        ha = b.load(out, b.inst(CELL_REG, "h"), "in", -1);
        b.load(out, b.port("y", KW_OUTPUT), "y", 1);
    }
};

TEST(RedInv, WithoutOptionAOrXorNothingIsSettled) {
    XorAndFanOut t;
    t.b.d.has_xor = 0;  // as if no exclusive-or cell had been read
    EXPECT_EQ(red_inv(t.b.d), 1);
    EXPECT_EQ(t.xin->pol_a(), -1);
    EXPECT_FALSE(t.x->dual());
    EXPECT_FALSE(t.dgate->complement());
    // The and gate's own flip would cost on pb: only its polarities are
    // unchanged.
    EXPECT_EQ(t.ga->pol_a(), -1);
}

TEST(RedInv, ExclusiveOrAbsorbsItsInvertedInputWhenXorWasRead) {
    XorAndFanOut t;
    t.b.d.has_xor = 1;
    EXPECT_EQ(red_inv(t.b.d), 1);
    EXPECT_EQ(t.xin->pol_a(), 1);
    EXPECT_TRUE(t.x->dual());
    EXPECT_FALSE(t.dgate->complement());
}

TEST(RedInv, OptionAComplementsAnAndGateThatMostConsumersWantInverted) {
    XorAndFanOut t;
    t.b.d.opt_a = 1;
    EXPECT_EQ(red_inv(t.b.d), 1);
    EXPECT_TRUE(t.dgate->complement());
    EXPECT_EQ(t.ga->pol_a(), 1);
    EXPECT_EQ(t.ha->pol_a(), 1);
    EXPECT_EQ(t.xin->pol_a(), 1);  // -a settles every net too
    // y now wants the inverted output: both polarities are still needed.
    EXPECT_EQ(count_inverters(t.b.d, *t.b.top), 1);
    EXPECT_EQ(total_inverted_load(t.b.d, *t.b.top), 1);
}

TEST(RedInv, InversionMovesAcrossATristateBuffer) {
    DesignBuilder b;
    Instance* t1 = b.inst(CELL_TS_BUF, "t1");
    Net* in = b.net();
    b.drive(in, b.inst(CELL_REG, "r"), "out");
    Node* tin = b.load(in, t1, "in", 1);
    Net* bus = b.net(NET_WIRED);
    b.drive(bus, t1, "out", KW_TRISTATE);
    Node* ga = b.load(bus, b.inst(CELL_REG, "g"), "in", -1);
    EXPECT_EQ(count_inverters(b.d, *b.top), 1);
    EXPECT_EQ(red_inv(b.d), 1);
    EXPECT_EQ(count_inverters(b.d, *b.top), 0);
    EXPECT_EQ(tin->pol_a(), -1);
    EXPECT_EQ(ga->pol_a(), 1);
    EXPECT_FALSE(t1->dual());
}

}  // namespace
}  // namespace vorp
