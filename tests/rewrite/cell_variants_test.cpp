#include "rewrite/cell_variants.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::dump_state;

std::vector<Node*> nodes_of(const Net* net) {
    std::vector<Node*> out;
    for (Node* n = net->nodes; n; n = n->next) out.push_back(n);
    return out;
}
std::vector<Net*> nets_of(const Module& m) {
    std::vector<Net*> out;
    for (Net* n = m.nets; n; n = n->next) out.push_back(n);
    return out;
}
std::vector<Instance*> insts_of(const Module& m) {
    std::vector<Instance*> out;
    for (Instance* i = m.insts; i; i = i->next) out.push_back(i);
    return out;
}
std::vector<Instance*> ports_of(const Module& m) {
    std::vector<Instance*> out;
    for (Instance* i = m.ports; i; i = i->next) out.push_back(i);
    return out;
}
std::vector<Node*> ring_of(const Instance* inst) {
    std::vector<Node*> out;
    Node* n = inst->node;
    if (!n) return out;
    do {
        out.push_back(n);
        n = n->same_inst;
    } while (n && n != inst->node && out.size() < 100);
    return out;
}

// ---- cell code tables ----

TEST(CellCodes, DualSwapsAndOrNandNorXorAoiOai) {
    const std::vector<std::pair<int, int>> table = {
        {CELL_AND, CELL_OR},   {CELL_NAND, CELL_NOR}, {CELL_OR, CELL_AND},  {CELL_NOR, CELL_NAND},
        {CELL_EOR, CELL_ENOR}, {CELL_ENOR, CELL_EOR}, {CELL_AOI, CELL_OAI}, {CELL_OAI, CELL_AOI}};
    Instance i;
    for (auto [from, to] : table) {
        i.set_cell(from);
        EXPECT_EQ(dual_cell(i), to) << from;
    }
    for (int other : {CELL_INV, CELL_NINV, CELL_REG, CELL_HIGH, CELL_LOW, CELL_TS_BUF, CELL_BGATE,
                      CELL_PORT, CELL_SUBMODULE}) {
        i.set_cell(other);
        EXPECT_EQ(dual_cell(i), 0) << other;
    }
}

TEST(CellCodes, ComplementOnlyForAndNandOrNor) {
    const std::vector<std::pair<int, int>> table = {
        {CELL_AND, CELL_NAND}, {CELL_NAND, CELL_AND}, {CELL_OR, CELL_NOR}, {CELL_NOR, CELL_OR}};
    Instance i;
    for (auto [from, to] : table) {
        i.set_cell(from);
        EXPECT_EQ(complement_cell(i), to) << from;
    }
    for (int other : {CELL_INV, CELL_EOR, CELL_ENOR, CELL_AOI, CELL_OAI, CELL_REG, CELL_HIGH}) {
        i.set_cell(other);
        EXPECT_EQ(complement_cell(i), 0) << other;
    }
}

// ---- output pins of flipped gates ----

struct Variants : ::testing::Test {
    DesignBuilder b;
    Instance* y = b.port("y", KW_OUTPUT);

    // A gate driving its own net to the port y; returns the driving node.
    Node* gate_to_y(Instance* g, const char* pin) {
        Net* n = b.net();
        Node* s = b.drive(n, g, pin);
        b.load(n, y, "y", 1);
        return s;
    }
};

TEST_F(Variants, AndWithDualAndComplementBecomesNorDrivingNout) {
    Instance* g = b.inst(CELL_AND, "g");
    g->set_param(3);
    g->set_dual(true);
    g->set_complement(true);
    Node* out = gate_to_y(g, "out");
    apply_polarities(b.d);
    EXPECT_EQ(g->cell(), CELL_NOR);
    EXPECT_STREQ(out->pin, "nout");
    EXPECT_EQ(out->pin, kNoutPin);  // the shared text, not a copy
    EXPECT_EQ(g->param(), 3);
    EXPECT_TRUE(g->dual());
    EXPECT_TRUE(g->complement());
}

TEST_F(Variants, OutputPinRenamedByCellAndFlag) {
    struct Case {
        int cell;
        bool dual, complement;
        const char* before;
        const char* after;
        int cell_after;
    };
    const std::vector<Case> cases = {
        {CELL_AND, false, true, "out", "nout", CELL_NAND},
        {CELL_NAND, false, true, "nout", "out", CELL_AND},
        {CELL_OR, false, true, "out", "nout", CELL_NOR},
        {CELL_NOR, false, true, "nout", "out", CELL_OR},
        {CELL_EOR, true, false, "out", "nout", CELL_ENOR},
        {CELL_ENOR, true, false, "nout", "out", CELL_EOR},
        // A dual alone keeps the output pin of and/or gates.
        {CELL_AND, true, false, "out", "out", CELL_OR},
        {CELL_NAND, true, false, "nout", "nout", CELL_NOR},
        // The complement flag on an exclusive-or is not looked at for the pin,
        // and leaves the cell code 0.
        {CELL_EOR, false, true, "out", "out", 0},
        {CELL_AOI, true, false, "nout", "nout", CELL_OAI},
        {CELL_OAI, true, true, "nout", "nout", 0},
    };
    for (const Case& c : cases) {
        DesignBuilder fb;
        Instance* yy = fb.port("y", KW_OUTPUT);
        Instance* g = fb.inst(c.cell, "g");
        g->set_dual(c.dual);
        g->set_complement(c.complement);
        Net* n = fb.net();
        Node* s = fb.drive(n, g, c.before);
        fb.load(n, yy, "y", 1);
        apply_polarities(fb.d);
        EXPECT_STREQ(s->pin, c.after) << c.cell << " " << c.dual << c.complement;
        EXPECT_EQ(g->cell(), c.cell_after) << c.cell << " " << c.dual << c.complement;
    }
}

TEST_F(Variants, OnlyTheSourceNodeOfASignalNetIsRenamed) {
    // g drives two nets (as after a merge), one of them a clock net; its
    // input pin also sits on a signal net that it does not drive.
    Instance* g = b.inst(CELL_AND, "g");
    Instance* h = b.inst(CELL_NAND, "h");
    g->set_complement(true);
    Node* s = gate_to_y(g, "out");
    Net* clock = b.net(NET_CLOCK);
    Node* clock_src = b.drive(clock, g, "out");
    b.load(clock, h, "a", 1);
    Net* in = b.net();
    b.drive(in, h, "nout");
    Node* ga = b.load(in, g, "a", 1);
    apply_polarities(b.d);
    EXPECT_STREQ(s->pin, "nout");
    EXPECT_STREQ(clock_src->pin, "out");
    EXPECT_STREQ(ga->pin, "a");
}

TEST_F(Variants, CellChangeKeepsParamAndPinTypeBits) {
    Instance* g = b.inst(CELL_NOR, "g");
    g->set_param(200);
    g->set_pin_type(KW_INPUT);
    g->set_kept(true);
    g->set_complement(true);
    gate_to_y(g, "nout");
    apply_polarities(b.d);
    EXPECT_EQ(g->cell(), CELL_OR);
    EXPECT_EQ(g->param(), 200);
    EXPECT_EQ(g->pin_type(), KW_INPUT);
    EXPECT_TRUE(g->kept());
}

// ---- constants ----

TEST_F(Variants, NoConstantsAndNoSuppliesChangeNothing) {
    Instance* a = b.port("a", KW_INPUT);
    Instance* g = b.inst(CELL_NAND, "g");
    Net* n = b.net();
    b.drive(n, a, "a", KW_INPUT);
    b.load(n, g, "a", -1);
    gate_to_y(g, "nout");
    const std::string before = dump_state(b.d);
    const auto nets = nets_of(*b.top);
    const auto insts = insts_of(*b.top);
    const auto ports = ports_of(*b.top);
    apply_polarities(b.d);
    EXPECT_EQ(dump_state(b.d), before);
    EXPECT_EQ(nets_of(*b.top), nets);
    EXPECT_EQ(insts_of(*b.top), insts);
    EXPECT_EQ(ports_of(*b.top), ports);
}

TEST_F(Variants, InvertedConsumersOfHighMoveToANewLowCell) {
    Instance* hi = b.inst(CELL_HIGH, "h0");
    Instance* g1 = b.inst(CELL_NAND, "g1");
    Instance* g2 = b.inst(CELL_NAND, "g2");
    Instance* g3 = b.inst(CELL_NAND, "g3");
    Net* high = b.net();
    Node* src = b.drive(high, hi, "out");
    Node* a1 = b.load(high, g1, "a", -1);
    Node* a2 = b.load(high, g2, "a", 1);
    Node* a3 = b.load(high, g3, "a", -1);
    apply_polarities(b.d);

    // The high net keeps its straight consumers, in reverse order.
    EXPECT_EQ(nodes_of(high), (std::vector<Node*>{a2, src}));
    // A new net at the head of the top's nets, driven by a new low- cell at
    // the head of the top's instances.
    Net* low = b.top->nets;
    ASSERT_NE(low, high);
    Instance* lo = b.top->insts;
    EXPECT_EQ(lo->cell(), CELL_LOW);
    EXPECT_STREQ(lo->name, "low-");
    EXPECT_EQ(lo->owner, b.top);
    EXPECT_EQ(lo->next, hi);
    ASSERT_NE(lo->node, nullptr);
    Node* out = lo->node;
    EXPECT_EQ(out->pin, kNoutPin);
    EXPECT_EQ(out->pin_type(), KW_OUTPUT);
    EXPECT_EQ(out->inst, lo);
    EXPECT_EQ(low->source, out);
    EXPECT_EQ(low->net_type(), NET_SIGNAL);
    // Moved consumers were pushed at the head: g3 then g1; the driver in front.
    EXPECT_EQ(nodes_of(low), (std::vector<Node*>{out, a3, a1}));
    for (Node* n : {a1, a3}) {
        EXPECT_EQ(n->pol_a(), 1);
        EXPECT_EQ(n->pol_b(), 1);
        EXPECT_EQ(n->net, low);
    }
    EXPECT_EQ(out->net, low);
    // No new high- cell.
    int highs = 0;
    for (Instance* i : insts_of(*b.top)) highs += i->cell() == CELL_HIGH;
    EXPECT_EQ(highs, 1);
}

TEST_F(Variants, InvertedConsumersOfLowMoveToANewHighCellDrivingOut) {
    Instance* lo = b.inst(CELL_LOW, "l0");
    Instance* g = b.inst(CELL_NOR, "g");
    Net* low = b.net();
    b.drive(low, lo, "nout");
    Node* a = b.load(low, g, "a", -1);
    Node* bb = b.load(low, g, "b", 1);
    apply_polarities(b.d);
    Instance* hi = b.top->insts;
    EXPECT_EQ(hi->cell(), CELL_HIGH);
    EXPECT_STREQ(hi->name, "high-");
    EXPECT_EQ(hi->node->pin, kOutPin);
    Net* high = b.top->nets;
    EXPECT_EQ(nodes_of(high), (std::vector<Node*>{hi->node, a}));
    EXPECT_EQ(bb->net, low);
}

TEST_F(Variants, ConstantNetLeftWithItsSourceAloneIsUnlinkedButTheCellStays) {
    Instance* hi = b.inst(CELL_HIGH, "h0");
    Instance* lo = b.inst(CELL_LOW, "l0");
    Instance* g = b.inst(CELL_NAND, "g");
    Net* high = b.net();
    Node* hsrc = b.drive(high, hi, "out");
    Node* ga = b.load(high, g, "a", -1);
    Net* low = b.net();
    Node* lsrc = b.drive(low, lo, "nout");
    Node* gb = b.load(low, g, "b", 1);
    apply_polarities(b.d);
    // ga moved onto the low net; the high net holds only its driver.
    EXPECT_EQ(nets_of(*b.top), (std::vector<Net*>{low}));
    EXPECT_EQ(nodes_of(low), (std::vector<Node*>{gb, lsrc, ga}));
    EXPECT_EQ(nodes_of(high), (std::vector<Node*>{hsrc}));
    EXPECT_EQ(insts_of(*b.top), (std::vector<Instance*>{hi, lo, g}));
    EXPECT_EQ(b.err.str(), "");
}

TEST_F(Variants, ConsumersOfBothConstantsSwapNets) {
    Instance* hi = b.inst(CELL_HIGH, "h0");
    Instance* lo = b.inst(CELL_LOW, "l0");
    Instance* g = b.inst(CELL_NAND, "g");
    Net* high = b.net();
    Node* hsrc = b.drive(high, hi, "out");
    Node* h1 = b.load(high, g, "a", -1);
    Node* h2 = b.load(high, g, "b", 1);
    Net* low = b.net();
    Node* lsrc = b.drive(low, lo, "nout");
    Node* l1 = b.load(low, g, "c", -1);
    Node* l2 = b.load(low, g, "d", 1);
    apply_polarities(b.d);
    // A's walk: hsrc, h1 (to B), h2 -> A = h2 hsrc, B = h1. Then B's old
    // nodes: lsrc (B), l1 (to A), l2 (B).
    EXPECT_EQ(nodes_of(high), (std::vector<Node*>{l1, h2, hsrc}));
    EXPECT_EQ(nodes_of(low), (std::vector<Node*>{l2, lsrc, h1}));
    EXPECT_EQ(nets_of(*b.top), (std::vector<Net*>{high, low}));
}

TEST_F(Variants, TheLatestConstantNetOfEachKindIsTakenBeforeBothWereSeen) {
    Instance* h1 = b.inst(CELL_HIGH, "h1");
    Instance* h2 = b.inst(CELL_HIGH, "h2");
    Instance* l1 = b.inst(CELL_LOW, "l1");
    Instance* l2 = b.inst(CELL_LOW, "l2");
    Instance* g = b.inst(CELL_NAND, "g");
    Net* first_high = b.net();
    b.drive(first_high, h1, "out");
    Node* x1 = b.load(first_high, g, "a", -1);
    Net* second_high = b.net();
    b.drive(second_high, h2, "out");
    Node* x2 = b.load(second_high, g, "b", -1);
    Net* first_low = b.net();
    b.drive(first_low, l1, "nout");
    Net* second_low = b.net();
    b.drive(second_low, l2, "nout");
    Node* x4 = b.load(second_low, g, "d", -1);
    apply_polarities(b.d);
    // The scan stops at the first low net: the second high net and the first
    // low net are paired; the first high net and the second low are untouched.
    EXPECT_EQ(x1->net, first_high);
    EXPECT_EQ(x1->pol_a(), -1);
    EXPECT_EQ(x2->net, first_low);
    EXPECT_EQ(x2->pol_a(), 1);
    EXPECT_EQ(x4->net, second_low);
    EXPECT_EQ(x4->pol_a(), -1);
    // The second high net kept only its source and was unlinked.
    EXPECT_EQ(nets_of(*b.top), (std::vector<Net*>{first_high, first_low, second_low}));
}

TEST_F(Variants, ConstantNetsOfOtherKindsAreNotSplit) {
    Instance* hi = b.inst(CELL_HIGH, "h0");
    Instance* g = b.inst(CELL_NAND, "g");
    Net* high = b.net(NET_WIRED);
    b.drive(high, hi, "out");
    Node* a = b.load(high, g, "a", -1);
    apply_polarities(b.d);
    EXPECT_EQ(a->net, high);
    EXPECT_EQ(a->pol_a(), -1);
    EXPECT_EQ(nets_of(*b.top).size(), 1u);
}

// ---- supply ports ----

TEST_F(Variants, VddWithoutVssPutsANewVssPortAmongTheInstances) {
    Instance* vdd = b.port("VDD", KW_GLOBAL);
    Instance* g = b.inst(CELL_NAND, "g");
    Net* n = b.net();
    b.drive(n, vdd, "VDD", KW_GLOBAL);
    Node* a = b.load(n, g, "a", -1);
    Node* c = b.load(n, g, "b", 1);
    const auto ports = ports_of(*b.top);
    apply_polarities(b.d);
    EXPECT_EQ(ports_of(*b.top), ports);
    Instance* vss = b.top->insts;
    EXPECT_EQ(vss->cell(), CELL_PORT);
    EXPECT_EQ(vss->pin_type(), KW_GLOBAL);
    EXPECT_STREQ(vss->name, "VSS");
    EXPECT_EQ(vss->note(), 0);
    EXPECT_EQ(vss->owner, b.top);
    EXPECT_EQ(vss->next, g);
    Node* node = vss->node;
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->pin, vss->name);  // the port's own text
    EXPECT_EQ(node->pin_type(), KW_GLOBAL);
    EXPECT_EQ(node->inst, vss);
    Net* low = b.top->nets;
    EXPECT_EQ(low->source, node);
    EXPECT_EQ(low->net_type(), NET_SIGNAL);
    EXPECT_EQ(nodes_of(low), (std::vector<Node*>{node, a}));
    EXPECT_EQ(a->pol_a(), 1);
    EXPECT_EQ(c->net, n);
}

TEST_F(Variants, VssWithoutVddPutsANewVddPortAmongThePorts) {
    Instance* vss = b.port("VSS", KW_GLOBAL);
    Instance* g = b.inst(CELL_NAND, "g");
    Net* n = b.net();
    Node* src = b.drive(n, vss, "VSS", KW_GLOBAL);
    Node* a = b.load(n, g, "a", -1);
    apply_polarities(b.d);
    Instance* vdd = b.top->ports;
    EXPECT_STREQ(vdd->name, "VDD");
    EXPECT_EQ(vdd->pin_type(), KW_GLOBAL);
    EXPECT_EQ(vdd->next, y);  // y was the first port
    EXPECT_EQ(insts_of(*b.top), (std::vector<Instance*>{g}));
    EXPECT_EQ(nodes_of(b.top->nets), (std::vector<Node*>{vdd->node, a}));
    // The old supply net kept only its port and is gone from the module.
    EXPECT_EQ(nodes_of(n), (std::vector<Node*>{src}));
    for (Net* x : nets_of(*b.top)) EXPECT_NE(x, n);
}

TEST_F(Variants, SupplyPortsAreMatchedByTheExactPinText) {
    Instance* vdd = b.port("VDD2", KW_GLOBAL);
    Instance* g = b.inst(CELL_NAND, "g");
    Net* n = b.net();
    b.drive(n, vdd, "VDD2", KW_GLOBAL);
    Node* a = b.load(n, g, "a", -1);
    apply_polarities(b.d);
    EXPECT_EQ(a->net, n);
    EXPECT_EQ(a->pol_a(), -1);
    EXPECT_EQ(insts_of(*b.top), (std::vector<Instance*>{g}));
}

// ---- register outputs ----

struct Registers : Variants {
    Instance* r = b.inst(CELL_REG, "r");
    Instance* g = b.inst(CELL_NAND, "g");
    Net* d_net = b.net();
    Node* r_in;

    Registers() {
        b.d.has_registers = 1;
        Instance* a = b.port("a", KW_INPUT);
        b.drive(d_net, a, "a", KW_INPUT);
        r_in = b.load(d_net, r, "in", 1);
    }
};

TEST_F(Registers, UnconnectedNoutIsConnectedForAnInvertedConsumer) {
    Net* q = b.net();
    Node* out = b.drive(q, r, "out");
    Node* ga = b.load(q, g, "a", -1);
    Node* gb = b.load(q, g, "b", 1);
    apply_polarities(b.d);
    Net* nq = b.top->nets;
    ASSERT_NE(nq, q);
    Node* nout = nq->source;
    ASSERT_NE(nout, nullptr);
    EXPECT_EQ(nout->pin, kNoutPin);
    EXPECT_EQ(nout->pin_type(), KW_OUTPUT);
    EXPECT_EQ(nout->inst, r);
    EXPECT_EQ(nq->net_type(), NET_SIGNAL);
    EXPECT_EQ(nodes_of(nq), (std::vector<Node*>{nout, ga}));
    EXPECT_EQ(ga->pol_a(), 1);
    EXPECT_EQ(ga->pol_b(), 1);
    EXPECT_EQ(nodes_of(q), (std::vector<Node*>{gb, out}));
    // The new node sits in the ring directly after the register's `node`.
    Node* head = r->node;
    EXPECT_EQ(head->same_inst, nout);
    EXPECT_EQ(ring_of(r).size(), 3u);
}

TEST_F(Registers, OutLeftWithTheRegisterAloneIsDisconnected) {
    Net* q = b.net();
    Node* out = b.drive(q, r, "out");
    Node* ga = b.load(q, g, "a", -1);
    apply_polarities(b.d);
    for (Net* x : nets_of(*b.top)) EXPECT_NE(x, q);
    // "out" is out of the ring; the ring holds "in" and the new "nout".
    const auto ring = ring_of(r);
    ASSERT_EQ(ring.size(), 2u);
    for (Node* n : ring) EXPECT_NE(n, out);
    EXPECT_TRUE(ring[0] == r_in || ring[1] == r_in);
    Net* nq = b.top->nets;
    EXPECT_EQ(nodes_of(nq), (std::vector<Node*>{nq->source, ga}));
    EXPECT_STREQ(nq->source->pin, "nout");
}

TEST_F(Registers, ConsumersMoveBothWaysBetweenOutAndNout) {
    Net* q = b.net();
    Node* out = b.drive(q, r, "out");
    Node* qa = b.load(q, g, "a", -1);
    Net* nq = b.net();
    Node* nout = b.drive(nq, r, "nout");
    Node* nb = b.load(nq, g, "b", -1);
    Node* nc = b.load(nq, g, "c", 1);
    apply_polarities(b.d);
    EXPECT_EQ(nodes_of(q), (std::vector<Node*>{nb, out}));
    EXPECT_EQ(nodes_of(nq), (std::vector<Node*>{nc, nout, qa}));
    EXPECT_EQ(ring_of(r).size(), 3u);
}

TEST_F(Registers, RegistersAreLeftAloneWhenNoneWasRead) {
    b.d.has_registers = 0;
    Net* q = b.net();
    b.drive(q, r, "out");
    Node* ga = b.load(q, g, "a", -1);
    apply_polarities(b.d);
    EXPECT_EQ(ga->net, q);
    EXPECT_EQ(ga->pol_a(), -1);
    EXPECT_EQ(ring_of(r).size(), 2u);
}

TEST_F(Registers, ExistingOutputNetWithoutSourceIsLeftAlone) {
    // The "out" net has no source recorded: it is neither dropped nor given a
    // driver, even when the register's pin is all that stays on it.
    Net* q = b.net();
    Node* out = b.pin(q, r, "out", KW_OUTPUT, 0, 0);
    Node* ga = b.load(q, g, "a", -1);
    apply_polarities(b.d);
    EXPECT_EQ(nodes_of(q), (std::vector<Node*>{out}));
    bool still_there = false;
    for (Net* x : nets_of(*b.top)) still_there |= x == q;
    EXPECT_TRUE(still_there);
    EXPECT_EQ(ga->net, b.top->nets);
    EXPECT_EQ(ring_of(r).size(), 3u);
}

TEST_F(Registers, OutFoldedOntoItsOwnNoutWalksEachNodeOnce) {
    // An inverter from "out" to the same register's "nout" was folded: both
    // outputs drive one net. The net is its own complement, so every node
    // stays on it, once, and an inverted load just loses its inversion.
    Net* q = b.net();
    b.drive(q, r, "out");
    b.pin(q, r, "nout", KW_OUTPUT, 0, 0);
    Node* ga = b.load(q, g, "a", -1);
    b.load(q, g, "b", 1);
    std::vector<Node*> expected = nodes_of(q);
    std::reverse(expected.begin(), expected.end());
    apply_polarities(b.d);
    EXPECT_EQ(nodes_of(q), expected);
    EXPECT_EQ(ga->net, q);
    EXPECT_EQ(ga->pol_a(), 1);
    EXPECT_EQ(ga->pol_b(), 1);
    EXPECT_EQ(ring_of(r).size(), 3u);
    bool still_there = false;
    for (Net* x : nets_of(*b.top)) still_there |= x == q;
    EXPECT_TRUE(still_there);
}

TEST(RegisterOutputs, EveryRegisterCellIsVisited) {
    for (int cell = CELL_REG; cell <= CELL_SREG3; ++cell) {
        DesignBuilder fb;
        fb.d.has_registers = 1;
        Instance* reg = fb.inst(cell, "r");
        Instance* gate = fb.inst(CELL_NAND, "g");
        Net* q = fb.net();
        fb.drive(q, reg, "out");
        Node* ga = fb.load(q, gate, "a", -1);
        fb.load(q, gate, "b", 1);
        apply_polarities(fb.d);
        EXPECT_NE(ga->net, q) << cell;
        EXPECT_STREQ(ga->net->source->pin, "nout") << cell;
    }
}

// ---- detach_node ----

TEST(DetachNode, PredecessorSkipsTheNodeAndBecomesTheInstancesNode) {
    DesignBuilder b;
    Instance* g = b.inst(CELL_NAND, "g");
    Net* n1 = b.net();
    Net* n2 = b.net();
    Net* n3 = b.net();
    Node* a = b.load(n1, g, "a", 1);
    Node* c = b.load(n2, g, "b", 1);
    Node* o = b.drive(n3, g, "nout");
    // Ring from g->node (the newest, o): o -> c -> a -> o.
    ASSERT_EQ(ring_of(g), (std::vector<Node*>{o, c, a}));
    detach_node(a);
    EXPECT_EQ(g->node, c);
    EXPECT_EQ(c->same_inst, o);
    EXPECT_EQ(o->same_inst, c);
    EXPECT_EQ(a->same_inst, o);  // the node's own fields stay
    detach_node(o);
    EXPECT_EQ(g->node, c);
    EXPECT_EQ(c->same_inst, c);
}

}  // namespace
}  // namespace vorp
