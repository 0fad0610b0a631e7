#include "rewrite/push_down.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "db/lists.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::names_of_chain;
using test::RingOrder;
using Names = std::vector<std::string>;

std::vector<Net*> nets_of(const Module& m) {
    std::vector<Net*> out;
    for (Net* n = m.nets; n; n = n->next) out.push_back(n);
    return out;
}
std::vector<Node*> chain(Node* n) {
    std::vector<Node*> out;
    for (; n; n = n->next) out.push_back(n);
    return out;
}

// A flattened design: top holds s1 (module S, which held t1 of module T);
// after flattening every component sits in the top's list while keeping its
// owner, and the sub-module instances wait in `flattened`.
struct PushDown : ::testing::Test {
    DesignBuilder b{RingOrder::newest_then_oldest};
    Module* top = b.top;
    Module* S = b.sub(top, "S", "s1");
    Module* T = b.sub(S, "T", "t1");
    Instance* a = b.port(top, "a", KW_INPUT);
    Instance* y = b.port(top, "y", KW_OUTPUT);

    PushDown() {
        // Sub-module instances go to `flattened`, as flattening leaves them.
        top->flattened = top->insts;
        top->insts = nullptr;
        S->flattened = S->insts;
        S->insts = nullptr;
    }
    // A component of module m, held in the flat top's list.
    Instance* flat_inst(Module* m, int cell, const char* name, int param = 0) {
        Instance* i = b.inst(top, cell, name, param);
        i->owner = m;
        return i;
    }
};

TEST_F(PushDown, InstancesGoBackToTheirModulesInReverseOrder) {
    Instance* g1 = flat_inst(top, CELL_NAND, "g1", 2);
    Instance* s_a = flat_inst(S, CELL_NAND, "sa", 2);
    Instance* g2 = flat_inst(top, CELL_NAND, "g2", 2);
    Instance* s_b = flat_inst(S, CELL_NOR, "sb", 2);
    Instance* t_a = flat_inst(T, CELL_AND, "ta", 2);
    push_down_nets(b.d);
    EXPECT_EQ(names_of_chain(top->insts), (Names{"s1", "g2", "g1"}));
    EXPECT_EQ(names_of_chain(S->insts), (Names{"t1", "sb", "sa"}));
    EXPECT_EQ(names_of_chain(T->insts), (Names{"ta"}));
    (void)g1, (void)g2, (void)s_a, (void)s_b, (void)t_a;
}

TEST_F(PushDown, ClockNetsStayUnusedNetsOfTheTopStayOthersGo) {
    Instance* r = flat_inst(S, CELL_REG, "r");
    Instance* g = flat_inst(top, CELL_NAND, "g", 2);
    Instance* sg = flat_inst(S, CELL_NAND, "sg", 2);
    Net* clock = b.net(top, NET_CLOCK);
    b.drive(clock, a, nullptr, KW_INPUT);
    b.pin(clock, r, "m_clock", KW_INPUT, -1);
    Net* unused_top = b.net(top, NET_UNUSED);
    b.pin(unused_top, g, "b", KW_INPUT);
    Net* unused_sub = b.net(top, NET_UNUSED);
    b.pin(unused_sub, sg, "b", KW_INPUT);
    b.pin(unused_sub, g, "c", KW_INPUT);
    Net* none = b.net(top, NET_NONE);
    b.pin(none, g, "d", KW_INPUT);
    push_down_nets(b.d);
    EXPECT_EQ(nets_of(*top), (std::vector<Net*>{unused_top, clock}));
    // The clock net is left as it was, inversion and all.
    EXPECT_EQ(clock->nodes->next->pol_a(), -1);
    EXPECT_EQ(S->nets, nullptr);
}

TEST_F(PushDown, PinnedNodesNeverGetAnInverter) {
    Instance* g = flat_inst(top, CELL_NAND, "g", 2);
    Net* n = b.net(top);
    b.drive(n, g, "nout");
    Node* out = b.pin(n, y, nullptr, KW_OUTPUT, -1);
    out->set_pinned(true);
    push_down_nets(b.d);
    EXPECT_EQ(out->pol_a(), 1);
    EXPECT_EQ(out->pol_b(), 1);
    for (Instance* i = top->insts; i; i = i->next) EXPECT_NE(i->cell(), CELL_INV);
    ASSERT_EQ(nets_of(*top).size(), 1u);
}

TEST_F(PushDown, ASignalFromTheTopIntoACopyBecomesTwoNets) {
    Instance* g = flat_inst(top, CELL_NAND, "g", 2);
    Instance* sg = flat_inst(S, CELL_NAND, "sg", 2);
    Net* n = b.net(top);
    Node* s = b.drive(n, g, "nout");
    Node* x = b.pin(n, sg, "a", KW_INPUT);
    push_down_nets(b.d);
    ASSERT_EQ(nets_of(*top).size(), 1u);
    ASSERT_EQ(nets_of(*S).size(), 1u);
    Instance* port = S->ports;
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->pin_type(), KW_INPUT);
    EXPECT_EQ(chain(S->nets->nodes), (std::vector<Node*>{port->node, x}));
    Node* pin = S->inst->node;
    EXPECT_EQ(chain(top->nets->nodes), (std::vector<Node*>{pin, s}));
    EXPECT_EQ(pin->peer, port->node);
    EXPECT_NE(top->nets, n);  // the flat net's record is not reused
}

TEST_F(PushDown, AnInvertedConsumerInACopyGetsItsInverterThere) {
    Instance* sg = flat_inst(S, CELL_NAND, "sg", 2);
    Instance* sh = flat_inst(S, CELL_NAND, "sh", 2);
    Net* n = b.net(top);
    b.drive(n, sg, "nout");
    Node* x = b.pin(n, sh, "a", KW_INPUT, -1);
    push_down_nets(b.d);
    Instance* inv = S->insts;
    ASSERT_EQ(inv->cell(), CELL_INV);
    EXPECT_EQ(x->net->source->inst, inv);
    EXPECT_EQ(top->nets, nullptr);
    EXPECT_EQ(nets_of(*S).size(), 2u);
    EXPECT_EQ(S->ports, nullptr);
}

TEST_F(PushDown, RegisterNetsAreCutWithoutInverters) {
    Instance* r = flat_inst(T, CELL_REG, "r");
    Instance* g = flat_inst(top, CELL_NAND, "g", 2);
    Net* n = b.net(top);
    b.drive(n, r, "out");
    Node* x = b.pin(n, g, "a", KW_INPUT, -1);
    push_down_nets(b.d);
    for (Module* m : {top, S, T})
        for (Instance* i = m->insts; i; i = i->next) EXPECT_NE(i->cell(), CELL_INV);
    EXPECT_EQ(x->pol_a(), -1);
    ASSERT_NE(S->ports, nullptr);
    ASSERT_NE(T->ports, nullptr);
    EXPECT_EQ(S->ports->pin_type(), KW_OUTPUT);
    EXPECT_EQ(T->ports->pin_type(), KW_OUTPUT);
    EXPECT_EQ(nets_of(*top).size(), 1u);
    EXPECT_EQ(nets_of(*S).size(), 1u);
    EXPECT_EQ(nets_of(*T).size(), 1u);
}

TEST_F(PushDown, ConstantsAndSuppliesAreMadeLocalWithoutPorts) {
    Instance* lo = flat_inst(top, CELL_LOW, "l");
    Instance* tg = flat_inst(T, CELL_NAND, "tg", 2);
    Instance* vdd = b.port(top, "VDD", KW_GLOBAL);
    Net* n = b.net(top);
    b.drive(n, lo, "nout");
    b.pin(n, tg, "a", KW_INPUT);
    Net* p = b.net(top);
    b.drive(p, vdd, nullptr, KW_GLOBAL);
    b.pin(p, tg, "b", KW_INPUT);
    push_down_nets(b.d);
    EXPECT_EQ(top->nets, nullptr);
    // S is a pass-through level: it gets its own constant and supply.
    for (Module* m : {S, T}) {
        ASSERT_NE(m->ports, nullptr);
        EXPECT_STREQ(m->ports->name, "VDD");
        EXPECT_EQ(m->ports->next, nullptr);
        EXPECT_EQ(nets_of(*m).size(), 2u);
    }
    EXPECT_STREQ(T->insts->name, "low-");
}

TEST_F(PushDown, AnUnknownSupplyNameIsAnOrdinaryPort) {
    Instance* gnd = b.port(top, "GND", KW_GLOBAL);
    Instance* tg = flat_inst(T, CELL_NAND, "tg", 2);
    Net* p = b.net(top);
    b.drive(p, gnd, nullptr, KW_GLOBAL);
    b.pin(p, tg, "b", KW_INPUT);
    push_down_nets(b.d);
    ASSERT_NE(T->ports, nullptr);
    EXPECT_EQ(T->ports->name, nullptr);
    EXPECT_EQ(T->ports->pin_type(), KW_INPUT);
}

TEST_F(PushDown, FlatModePutsTheInvertedNetRightBehindItsNet) {
    b.d.write_mode = WRITE_FLAT;
    Instance* g = flat_inst(top, CELL_NAND, "g", 2);
    Instance* sg = flat_inst(S, CELL_NAND, "sg", 2);
    Instance* r = flat_inst(S, CELL_REG, "r");
    Instance* hi = flat_inst(T, CELL_HIGH, "h");
    Net* first = b.net(top);
    b.drive(first, a, nullptr, KW_INPUT);
    b.pin(first, g, "a", KW_INPUT);
    Net* n = b.net(top);
    b.drive(n, g, "nout");
    Node* x = b.pin(n, sg, "a", KW_INPUT, -1);
    Net* q = b.net(top);
    b.drive(q, r, "out");
    Node* qx = b.pin(q, g, "b", KW_INPUT, -1);
    Net* h = b.net(top);
    b.drive(h, hi, "out");
    Node* hx = b.pin(h, g, "c", KW_INPUT, -1);
    push_down_nets(b.d);
    const auto nets = nets_of(*top);
    ASSERT_EQ(nets.size(), 5u);
    EXPECT_EQ(nets[0], h);
    EXPECT_EQ(nets[1], q);
    EXPECT_EQ(nets[2], n);
    EXPECT_EQ(nets[3], x->net);
    EXPECT_EQ(nets[4], first);
    EXPECT_EQ(qx->pol_a(), -1);
    EXPECT_EQ(hx->pol_a(), -1);
    EXPECT_EQ(qx->net, q);
    // The design stays flat: the components stay in the top's list, the
    // inverter is placed with its consumer and driver, in the top.
    EXPECT_EQ(names_of_chain(S->insts), (Names{"t1"}));
    EXPECT_EQ(top->insts->cell(), CELL_INV);
    EXPECT_EQ(names_of_chain(top->insts->next), (Names{"s1", "g", "sg", "r", "h"}));
    EXPECT_EQ(S->ports, nullptr);
}

TEST_F(PushDown, FlatModeStillReturnsFlattenedSubModuleInstances) {
    b.d.write_mode = WRITE_FLAT;
    push_down_nets(b.d);
    EXPECT_EQ(names_of_chain(top->insts), (Names{"s1"}));
    EXPECT_EQ(names_of_chain(S->insts), (Names{"t1"}));
}

}  // namespace
}  // namespace vorp
