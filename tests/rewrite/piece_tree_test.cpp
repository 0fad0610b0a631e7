#include "rewrite/piece_tree.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "netlist/reader.h"
#include "rewrite/inverter_insertion.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::RingOrder;

std::vector<Node*> chain(Node* n) {
    std::vector<Node*> out;
    for (; n; n = n->next) out.push_back(n);
    return out;
}
std::vector<NetPiece*> children(const NetPiece* p) {
    std::vector<NetPiece*> out;
    for (NetPiece* c = p->children; c; c = c->sibling) out.push_back(c);
    return out;
}

// top holds a1 (module A, which holds b1 of module B) and c1 (module C).
struct Tree : ::testing::Test {
    DesignBuilder b{RingOrder::newest_then_oldest};
    Module* top = b.top;
    Module* A = b.sub(top, "A", "a1");
    Module* B = b.sub(A, "B", "b1");
    Module* C = b.sub(top, "C", "c1");
    Instance* g_top = b.inst(top, CELL_NAND, "gt", 2);
    Instance* g_a = b.inst(A, CELL_NAND, "ga", 2);
    Instance* g_b = b.inst(B, CELL_NAND, "gb", 2);
    Instance* g_c = b.inst(C, CELL_NAND, "gc", 2);
    // The flat net under test, already taken off the top module's list.
    Net* n = make_net();

    Net* make_net() {
        Net* net = b.d.make<Net>();
        net->set_net_type(NET_SIGNAL);
        return net;
    }
};

// ---- common_module ----

TEST_F(Tree, CommonModuleIsTheDeepestModuleHoldingBoth) {
    EXPECT_EQ(common_module(nullptr, B), B);
    EXPECT_EQ(common_module(B, nullptr), B);
    EXPECT_EQ(common_module(nullptr, nullptr), nullptr);
    EXPECT_EQ(common_module(B, B), B);
    EXPECT_EQ(common_module(B, A), A);
    EXPECT_EQ(common_module(A, B), A);
    EXPECT_EQ(common_module(B, C), top);
    EXPECT_EQ(common_module(top, B), top);
}

// ---- insert_inverter ----

TEST_F(Tree, NoInvertedConsumerMeansNoInverterAndAReversedList) {
    Node* s = b.drive(n, g_a, "nout");
    Node* x = b.pin(n, g_b, "a", KW_INPUT, 1);
    Node* y = b.pin(n, g_c, "a", KW_INPUT, 1);
    n->next = C->nets;  // whatever was there is cleared
    EXPECT_EQ(insert_inverter(b.d, n), n);
    EXPECT_EQ(n->next, nullptr);
    EXPECT_EQ(chain(n->nodes), (std::vector<Node*>{y, x, s}));
    for (Module* m : {top, A, B, C})
        for (Instance* i = m->insts; i; i = i->next) EXPECT_NE(i->cell(), CELL_INV);
}

TEST_F(Tree, InvertedConsumersInSeveralCopiesShareOneInverterInTheirCommonModule) {
    Node* s = b.drive(n, g_a, "nout");
    Node* x = b.pin(n, g_b, "a", KW_INPUT, -1);
    Node* y = b.pin(n, g_top, "a", KW_INPUT, 1);
    Node* z = b.pin(n, g_a, "b", KW_INPUT, -1);
    Instance* first_in_a = A->insts;
    EXPECT_EQ(insert_inverter(b.d, n), n);
    Net* inv_net = n->next;
    ASSERT_NE(inv_net, nullptr);
    EXPECT_EQ(inv_net->net_type(), NET_SIGNAL);
    // One inverter, at the head of A's instances (B and the driver's A meet
    // in A).
    Instance* inv = A->insts;
    EXPECT_EQ(inv->cell(), CELL_INV);
    EXPECT_EQ(inv->name, nullptr);
    EXPECT_FALSE(inv->dual());
    EXPECT_EQ(inv->owner, A);
    EXPECT_EQ(inv->next, first_in_a);
    // Its pins: "in" (input) on N, "nout" (output) driving the new net, a
    // ring of two starting at "in".
    Node* in = inv->node;
    ASSERT_NE(in, nullptr);
    EXPECT_STREQ(in->pin, "in");
    EXPECT_EQ(in->pin_type(), KW_INPUT);
    EXPECT_EQ(in->net, n);
    Node* out = inv_net->source;
    EXPECT_STREQ(out->pin, "nout");
    EXPECT_EQ(out->pin_type(), KW_OUTPUT);
    EXPECT_EQ(out->net, inv_net);
    EXPECT_EQ(out->inst, inv);
    EXPECT_EQ(in->same_inst, out);
    EXPECT_EQ(out->same_inst, in);
    // N: s, then "in" pushed where x was met, then y: reversed.
    EXPECT_EQ(chain(n->nodes), (std::vector<Node*>{y, in, s}));
    // The new net: the first consumer followed by the output, later ones at
    // the head; consumers keep their polarities.
    EXPECT_EQ(chain(inv_net->nodes), (std::vector<Node*>{z, x, out}));
    EXPECT_EQ(x->net, inv_net);
    EXPECT_EQ(z->net, inv_net);
    EXPECT_EQ(x->pol_a(), -1);
    EXPECT_EQ(z->pol_a(), -1);
}

TEST_F(Tree, TheDriversModuleJoinsThePlacement) {
    b.drive(n, g_top, "nout");
    b.pin(n, g_b, "a", KW_INPUT, -1);
    insert_inverter(b.d, n);
    EXPECT_EQ(top->insts->cell(), CELL_INV);
    EXPECT_NE(B->insts->cell(), CELL_INV);
}

TEST_F(Tree, AnInverterWhoseConsumersAndDriverShareACopyStaysThere) {
    b.drive(n, g_b, "nout");
    b.pin(n, g_b, "a", KW_INPUT, -1);
    insert_inverter(b.d, n);
    EXPECT_EQ(B->insts->cell(), CELL_INV);
    EXPECT_EQ(B->insts->owner, B);
}

TEST_F(Tree, OnABusEveryPossibleDriverJoinsThePlacement) {
    n->set_net_type(NET_WIRED);
    Instance* t_b = b.inst(B, CELL_TS_BUF, "tb");
    Instance* t_b2 = b.inst(B, CELL_TS_BUF, "tb2");
    Instance* t_c = b.inst(C, CELL_TS_BUF, "tc");
    Instance* io = b.port(C, "io", KW_BIDIRECT);
    Instance* ts_port = b.port(top, "t", KW_TRISTATE);
    b.drive(n, t_b, "out", KW_TRISTATE);
    b.pin(n, t_b2, "out", KW_TRISTATE);
    b.pin(n, g_b, "a", KW_INPUT, -1);
    // A tristate port of the top is no possible driver; a bidirect port is.
    b.pin(n, ts_port, "t", KW_TRISTATE);
    insert_inverter(b.d, n);
    EXPECT_EQ(B->insts->cell(), CELL_INV);

    DesignBuilder other{RingOrder::newest_then_oldest};
    Module* top2 = other.top;
    Module* a2 = other.sub(top2, "A", "a1");
    Module* c2 = other.sub(top2, "C", "c1");
    Net* bus = other.net(top2, NET_WIRED);
    Instance* u = other.inst(a2, CELL_TS_BUF, "u");
    Instance* g = other.inst(a2, CELL_NAND, "g", 2);
    Instance* p = other.port(c2, "io", KW_BIDIRECT);
    other.drive(bus, u, "out", KW_TRISTATE);
    other.pin(bus, g, "a", KW_INPUT, -1);
    other.pin(bus, p, "io", KW_BIDIRECT);
    insert_inverter(other.d, bus);
    EXPECT_EQ(top2->insts->cell(), CELL_INV);
    (void)t_c;
    (void)io;
}

// ---- build_piece_tree ----

TEST_F(Tree, ANetInsideOneCopyIsOnePiece) {
    Node* s = b.drive(n, g_b, "nout");
    Node* x = b.pin(n, g_b, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->module, B);
    EXPECT_EQ(root->up, nullptr);
    EXPECT_EQ(root->children, nullptr);
    EXPECT_EQ(chain(root->nodes), (std::vector<Node*>{x, s}));
    EXPECT_EQ(n->nodes, nullptr);
}

TEST_F(Tree, ANetWithoutNodesHasNoTree) {
    EXPECT_EQ(build_piece_tree(b.d, n), nullptr);
}

TEST_F(Tree, EveryLevelBetweenTwoNodesGetsAPiece) {
    Node* s = b.drive(n, g_top, "nout");
    Node* x = b.pin(n, g_b, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    EXPECT_EQ(root->module, top);
    EXPECT_EQ(chain(root->nodes), (std::vector<Node*>{s}));
    ASSERT_EQ(children(root).size(), 1u);
    NetPiece* pa = root->children;
    EXPECT_EQ(pa->module, A);
    EXPECT_EQ(pa->up, root);
    EXPECT_EQ(pa->nodes, nullptr);
    ASSERT_EQ(children(pa).size(), 1u);
    NetPiece* pb = pa->children;
    EXPECT_EQ(pb->module, B);
    EXPECT_EQ(pb->up, pa);
    EXPECT_EQ(chain(pb->nodes), (std::vector<Node*>{x}));
}

TEST_F(Tree, ANodeAboveTheRootMakesANewRoot) {
    Node* x = b.pin(n, g_b, "a", KW_INPUT);
    Node* s = b.drive(n, g_top, "nout");
    Node* y = b.pin(n, g_a, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    EXPECT_EQ(root->module, top);
    EXPECT_EQ(chain(root->nodes), (std::vector<Node*>{s}));
    NetPiece* pa = root->children;
    ASSERT_NE(pa, nullptr);
    EXPECT_EQ(pa->module, A);
    EXPECT_EQ(chain(pa->nodes), (std::vector<Node*>{y}));
    ASSERT_NE(pa->children, nullptr);
    EXPECT_EQ(chain(pa->children->nodes), (std::vector<Node*>{x}));
}

TEST_F(Tree, NodesInSiblingCopiesMeetUnderTheirCommonModule) {
    Node* x = b.pin(n, g_b, "a", KW_INPUT);
    Node* y = b.pin(n, g_c, "a", KW_INPUT);
    Node* z = b.pin(n, g_c, "b", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    EXPECT_EQ(root->module, top);
    EXPECT_EQ(root->nodes, nullptr);
    // The old root (B, with A between) is attached first, the new node's
    // piece last, so the new one is the first child.
    const auto kids = children(root);
    ASSERT_EQ(kids.size(), 2u);
    EXPECT_EQ(kids[0]->module, C);
    EXPECT_EQ(chain(kids[0]->nodes), (std::vector<Node*>{z, y}));
    EXPECT_EQ(kids[1]->module, A);
    ASSERT_NE(kids[1]->children, nullptr);
    EXPECT_EQ(chain(kids[1]->children->nodes), (std::vector<Node*>{x}));
}

TEST_F(Tree, ANodeBelowTheRootDescendsIntoTheChildThatContainsIt) {
    Node* s = b.drive(n, g_top, "nout");
    Node* y = b.pin(n, g_a, "a", KW_INPUT);
    Node* w = b.pin(n, g_c, "a", KW_INPUT);
    Node* x = b.pin(n, g_b, "a", KW_INPUT);
    Node* v = b.pin(n, g_a, "b", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    EXPECT_EQ(chain(root->nodes), (std::vector<Node*>{s}));
    const auto kids = children(root);
    ASSERT_EQ(kids.size(), 2u);
    EXPECT_EQ(kids[0]->module, C);
    EXPECT_EQ(chain(kids[0]->nodes), (std::vector<Node*>{w}));
    EXPECT_EQ(kids[1]->module, A);
    EXPECT_EQ(chain(kids[1]->nodes), (std::vector<Node*>{v, y}));
    ASSERT_EQ(children(kids[1]).size(), 1u);
    EXPECT_EQ(chain(kids[1]->children->nodes), (std::vector<Node*>{x}));
}

TEST_F(Tree, PiecesAreWalkedDepthFirstParentsBeforeChildrenInListOrder) {
    b.drive(n, g_top, "nout");
    b.pin(n, g_a, "a", KW_INPUT);
    b.pin(n, g_c, "a", KW_INPUT);
    b.pin(n, g_b, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    std::vector<Module*> order;
    for_each_piece(root, [&order](NetPiece* p) { order.push_back(p->module); });
    EXPECT_EQ(order, (std::vector<Module*>{top, C, A, B}));
}

// ---- set_directions ----

TEST_F(Tree, ASignalFromAboveEntersACopyAsAnInput) {
    b.drive(n, g_top, "nout");
    b.pin(n, g_b, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    set_directions(root, NET_SIGNAL);
    NetPiece* pa = root->children;
    NetPiece* pb = pa->children;
    EXPECT_EQ(root->driver, root->nodes);
    EXPECT_EQ(pa->driver, nullptr);
    EXPECT_TRUE(pa->from_up);
    EXPECT_FALSE(pa->to_up);
    EXPECT_EQ(pa->direction, KW_INPUT);
    EXPECT_EQ(pb->direction, KW_INPUT);
    EXPECT_EQ(root->direction, KW_OUTPUT);
}

TEST_F(Tree, ASignalFromACopyLeavesItAsAnOutput) {
    b.pin(n, g_c, "a", KW_INPUT);
    Node* s = b.drive(n, g_b, "nout");
    NetPiece* root = build_piece_tree(b.d, n);
    set_directions(root, NET_SIGNAL);
    // C was the root; B's piece (with A between) was attached after it.
    const auto kids = children(root);
    ASSERT_EQ(kids.size(), 2u);
    NetPiece* pa = kids[0];
    NetPiece* pc = kids[1];
    ASSERT_EQ(pa->module, A);
    ASSERT_EQ(pc->module, C);
    NetPiece* pb = pa->children;
    EXPECT_EQ(pb->driver, s);
    EXPECT_EQ(pb->direction, KW_OUTPUT);
    EXPECT_EQ(pa->direction, KW_OUTPUT);
    EXPECT_TRUE(pa->to_up);
    EXPECT_FALSE(pa->from_up);
    EXPECT_EQ(pc->direction, KW_INPUT);
}

TEST_F(Tree, PiecesWithoutFromUpOnABusAreTristate) {
    Instance* t = b.inst(B, CELL_TS_BUF, "t");
    b.drive(n, t, "out", KW_TRISTATE);
    b.pin(n, g_top, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    set_directions(root, NET_WIRED);
    EXPECT_EQ(root->children->direction, KW_TRISTATE);
    EXPECT_EQ(root->children->children->direction, KW_TRISTATE);
}

TEST_F(Tree, DriversOnBothSidesMakeBidirectOnlyWithAnInputBelow) {
    // Tristate drivers in B and in C; a consumer in A. A (and B) send up and
    // receive from above.
    Instance* tb = b.inst(B, CELL_TS_BUF, "tb");
    Instance* tc = b.inst(C, CELL_TS_BUF, "tc");
    b.drive(n, tb, "out", KW_TRISTATE);
    b.pin(n, tc, "out", KW_TRISTATE);
    b.pin(n, g_a, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    set_directions(root, NET_WIRED);
    NetPiece* pc = nullptr;
    NetPiece* pa = nullptr;
    for (NetPiece* k : children(root)) (k->module == C ? pc : pa) = k;
    ASSERT_TRUE(pa && pc);
    NetPiece* pb = pa->children;
    EXPECT_TRUE(pa->from_up && pa->to_up);
    EXPECT_TRUE(pb->from_up && pb->to_up);
    EXPECT_TRUE(pc->from_up && pc->to_up);
    EXPECT_EQ(pa->direction, KW_BIDIRECT);  // its own consumer
    EXPECT_EQ(pb->direction, KW_TRISTATE);  // nothing below reads the bus
    EXPECT_EQ(pc->direction, KW_TRISTATE);
    EXPECT_FALSE(root->from_up || root->to_up);
}

TEST_F(Tree, AnInputBelowMakesTheUpperLevelBidirect) {
    Instance* tb = b.inst(B, CELL_TS_BUF, "tb");
    Instance* tc = b.inst(C, CELL_TS_BUF, "tc");
    Instance* ta = b.inst(A, CELL_TS_BUF, "ta");
    b.drive(n, ta, "out", KW_TRISTATE);
    b.pin(n, tc, "out", KW_TRISTATE);
    b.pin(n, g_b, "a", KW_INPUT_CONNECTED);
    (void)tb;
    NetPiece* root = build_piece_tree(b.d, n);
    set_directions(root, NET_WIRED);
    NetPiece* pa = nullptr;
    for (NetPiece* k : children(root))
        if (k->module == A) pa = k;
    ASSERT_NE(pa, nullptr);
    EXPECT_EQ(pa->direction, KW_BIDIRECT);
    EXPECT_EQ(pa->children->direction, KW_INPUT);
}

TEST_F(Tree, PortNodesDriveWhenTheyBringTheSignalIn) {
    Instance* in = b.port(B, "i", KW_INPUT);
    Instance* out = b.port(B, "o", KW_OUTPUT);
    Instance* glob = b.port(B, "g", KW_GLOBAL);
    for (Instance* p : {out, in, glob}) {
        DesignBuilder hb{RingOrder::newest_then_oldest};
        Net* net = hb.net(hb.top);
        Instance* port = hb.port(hb.top, p->name, p->pin_type());
        Instance* g = hb.inst(hb.top, CELL_NAND, "g", 2);
        Node* pn = hb.pin(net, port, nullptr, p->pin_type());
        hb.pin(net, g, "a", KW_INPUT);
        NetPiece* root = build_piece_tree(hb.d, net);
        set_directions(root, NET_SIGNAL);
        EXPECT_EQ(root->driver, p == out ? nullptr : pn) << p->name;
    }
    // A component's input-type pin never drives; its output types do.
    for (int type : std::vector<int>{KW_OUTPUT, KW_OUTPUT_CONNECTED, KW_TRISTATE,
                                     KW_TRISTATE_CONNECTED, KW_BIDIRECT, KW_BIDIRECT_CONNECTED,
                                     KW_INPUT, KW_GLOBAL, CELL_SUBMODULE}) {
        DesignBuilder hb{RingOrder::newest_then_oldest};
        Net* net = hb.net(hb.top);
        Instance* g = hb.inst(hb.top, CELL_NAND, "g", 2);
        Node* x = hb.pin(net, g, "x", type);
        NetPiece* root = build_piece_tree(hb.d, net);
        set_directions(root, NET_SIGNAL);
        const bool drives = type != KW_INPUT && type != KW_GLOBAL && type != CELL_SUBMODULE;
        EXPECT_EQ(root->driver, drives ? x : nullptr) << type;
    }
}

// ---- boundary pins and piece nets ----

TEST_F(Tree, ANetFromTheTopIntoACopyMakesOnePortAndOnePin) {
    Node* s = b.drive(n, g_top, "nout");
    Node* x = b.pin(n, g_c, "a", KW_INPUT);
    Instance* c1 = C->inst;
    Node* c1_old = b.pin(b.net(top), c1, "old", CELL_SUBMODULE);
    NetPiece* root = build_piece_tree(b.d, n);
    set_directions(root, NET_SIGNAL);
    make_boundary_pins(b.d, root);
    make_piece_nets(b.d, root, NET_SIGNAL);
    // A new unnamed input port at the head of C's ports.
    Instance* port = C->ports;
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->next, nullptr);
    EXPECT_EQ(port->cell(), CELL_PORT);
    EXPECT_EQ(port->pin_type(), KW_INPUT);
    EXPECT_EQ(port->name, nullptr);
    EXPECT_EQ(port->note(), 0);
    EXPECT_EQ(port->owner, C);
    Node* inside = port->node;
    ASSERT_NE(inside, nullptr);
    EXPECT_EQ(inside->inst, port);
    EXPECT_EQ(inside->pin_type(), KW_INPUT);
    // A new pin on c1, which becomes c1's node; pin type 0.
    Node* outside = c1->node;
    ASSERT_NE(outside, c1_old);
    EXPECT_EQ(outside->inst, c1);
    EXPECT_EQ(outside->pin_type(), 0);
    EXPECT_EQ(outside->peer, inside);
    EXPECT_EQ(inside->peer, outside);
    EXPECT_EQ(outside->same_inst, c1_old);
    EXPECT_EQ(c1_old->same_inst, outside);
    // One net in each module, at the head of its list.
    Net* top_net = top->nets;
    EXPECT_EQ(chain(top_net->nodes), (std::vector<Node*>{outside, s}));
    EXPECT_EQ(top_net->source, s);
    EXPECT_EQ(top_net->net_type(), NET_SIGNAL);
    Net* c_net = C->nets;
    ASSERT_NE(c_net, nullptr);
    EXPECT_EQ(chain(c_net->nodes), (std::vector<Node*>{inside, x}));
    EXPECT_EQ(c_net->source, nullptr);  // the piece had no driver of its own
    for (Node* node : {outside, s}) EXPECT_EQ(node->net, top_net);
    for (Node* node : {inside, x}) EXPECT_EQ(node->net, c_net);
}

TEST_F(Tree, PassThroughLevelsGetAPortAndAPinEach) {
    b.drive(n, g_b, "nout");
    b.pin(n, g_top, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    set_directions(root, NET_SIGNAL);
    make_boundary_pins(b.d, root);
    make_piece_nets(b.d, root, NET_SIGNAL);
    ASSERT_NE(A->ports, nullptr);
    ASSERT_NE(B->ports, nullptr);
    EXPECT_EQ(A->ports->pin_type(), KW_OUTPUT);
    EXPECT_EQ(B->ports->pin_type(), KW_OUTPUT);
    // A's net joins its new port and the pin on b1.
    ASSERT_NE(A->nets, nullptr);
    EXPECT_EQ(chain(A->nets->nodes), (std::vector<Node*>{B->inst->node, A->ports->node}));
}

TEST_F(Tree, AMissingSubModuleInstanceStillGetsThePort) {
    b.drive(n, g_top, "nout");
    b.pin(n, g_c, "a", KW_INPUT);
    C->inst->name = "renamed";
    NetPiece* root = build_piece_tree(b.d, n);
    set_directions(root, NET_SIGNAL);
    make_boundary_pins(b.d, root);
    ASSERT_NE(C->ports, nullptr);
    EXPECT_EQ(C->ports->node->peer, nullptr);
    EXPECT_EQ(chain(root->nodes).size(), 1u);
}

// ---- constants and supplies made local ----

TEST_F(Tree, EveryCopyGetsItsOwnConstantCell) {
    Instance* hi = b.inst(top, CELL_HIGH, "h");
    b.drive(n, hi, "out");
    Node* x = b.pin(n, g_b, "a", KW_INPUT);
    Node* y = b.pin(n, g_c, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    localize_constants(b.d, root, CELL_HIGH);
    make_piece_nets(b.d, root, NET_SIGNAL);
    // The top piece held only the constant: no net there.
    EXPECT_EQ(top->nets, nullptr);
    // B and C each got a high- driving their consumer; the empty level A
    // got one alone on its own net.
    for (Module* m : {A, B, C}) {
        Instance* k = m->insts;
        ASSERT_EQ(k->cell(), CELL_HIGH) << m->name;
        EXPECT_STREQ(k->name, "high-");
        EXPECT_EQ(k->owner, m);
        EXPECT_STREQ(k->node->pin, "out");
        EXPECT_EQ(k->node->pin_type(), KW_OUTPUT);
        ASSERT_NE(m->nets, nullptr);
        EXPECT_EQ(m->nets->source, k->node);
        EXPECT_EQ(m->nets->nodes, k->node);
    }
    EXPECT_EQ(chain(B->nets->nodes), (std::vector<Node*>{B->insts->node, x}));
    EXPECT_EQ(chain(C->nets->nodes), (std::vector<Node*>{C->insts->node, y}));
    EXPECT_EQ(chain(A->nets->nodes).size(), 1u);
    EXPECT_EQ(A->ports, nullptr);
}

TEST_F(Tree, APieceThatHoldsTheConstantAndConsumersKeepsIt) {
    Instance* lo = b.inst(A, CELL_LOW, "l");
    Node* s = b.drive(n, lo, "nout");
    Node* x = b.pin(n, g_a, "a", KW_INPUT);
    Node* y = b.pin(n, g_b, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    localize_constants(b.d, root, CELL_LOW);
    make_piece_nets(b.d, root, NET_SIGNAL);
    EXPECT_EQ(chain(A->nets->nodes), (std::vector<Node*>{x, s}));
    EXPECT_EQ(A->nets->source, nullptr);
    EXPECT_EQ(A->insts, B->inst);  // no constant made beside the old one
    EXPECT_STREQ(B->insts->name, "low-");
    EXPECT_STREQ(B->insts->node->pin, "nout");
    EXPECT_EQ(chain(B->nets->nodes), (std::vector<Node*>{B->insts->node, y}));
}

TEST_F(Tree, EveryCopyGetsItsOwnSupplyPort) {
    Instance* vss = b.port(top, "VSS", KW_GLOBAL);
    b.drive(n, vss, nullptr, KW_GLOBAL);
    Node* x = b.pin(n, g_b, "a", KW_INPUT);
    Node* t = b.pin(n, g_top, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    localize_power(b.d, root, CELL_LOW);
    make_piece_nets(b.d, root, NET_SIGNAL);
    // The top keeps its port with its consumer.
    EXPECT_EQ(chain(top->nets->nodes), (std::vector<Node*>{t, vss->node}));
    for (Module* m : {A, B}) {
        Instance* p = m->ports;
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->cell(), CELL_PORT);
        EXPECT_EQ(p->pin_type(), KW_GLOBAL);
        EXPECT_STREQ(p->name, "VSS");
        EXPECT_EQ(p->note(), 0);
        EXPECT_EQ(p->node->pin, p->name);
        EXPECT_EQ(p->node->pin_type(), KW_GLOBAL);
        EXPECT_EQ(m->nets->source, p->node);
    }
    EXPECT_EQ(chain(B->nets->nodes), (std::vector<Node*>{B->ports->node, x}));
    EXPECT_EQ(C->ports, nullptr);
}

TEST_F(Tree, APieceHoldingOnlyTheSupplyPortIsEmptied) {
    Instance* vdd = b.port(top, "VDD", KW_GLOBAL);
    b.drive(n, vdd, nullptr, KW_GLOBAL);
    b.pin(n, g_c, "a", KW_INPUT);
    NetPiece* root = build_piece_tree(b.d, n);
    localize_power(b.d, root, CELL_HIGH);
    make_piece_nets(b.d, root, NET_SIGNAL);
    EXPECT_EQ(top->nets, nullptr);
    ASSERT_NE(C->ports, nullptr);
    EXPECT_STREQ(C->ports->name, "VDD");
}

}  // namespace
}  // namespace vorp

namespace vorp {
namespace {

// ---- lookups and tree building checked against direct walks ----

TEST(FirstInstanceByName, AnswersAsAWalkFromTheHeadWhileInstancesArePushedThere) {
    DesignBuilder b{RingOrder::newest_then_oldest};
    const char* names[] = {"u1", "u2", "u3", nullptr, "high-"};
    std::mt19937 rng(7);
    FirstInstanceByName index;
    for (int i = 0; i < 30; ++i) b.inst(b.top, CELL_NAND, names[rng() % 5], 2);
    for (int round = 0; round < 300; ++round) {
        if (rng() % 3 == 0) {
            Instance* fresh = b.d.make<Instance>();
            fresh->name = names[rng() % 5];
            fresh->owner = b.top;
            push_front(b.top->insts, fresh);
        }
        for (const char* name : names)
            EXPECT_EQ(index.find(name, *b.top), name ? find_inst(name, *b.top) : nullptr)
                << round << " " << text_or_null(name);
    }
}

TEST(FirstInstanceByName, AModuleWithoutInstancesFindsThemOncePushed) {
    DesignBuilder b{RingOrder::newest_then_oldest};
    FirstInstanceByName index;
    EXPECT_EQ(index.find("x", *b.top), nullptr);
    Instance* x = b.inst(b.top, CELL_INV, "x");
    EXPECT_EQ(index.find("x", *b.top), x);
}

// The tree by the walk that the pieces describe: from the root down through
// the children that contain the node's module.
struct ReferenceTree {
    Design& d;
    static bool contains(const Module* outer, const Module* inner) {
        for (; inner; inner = inner->parent)
            if (inner == outer) return true;
        return false;
    }
    NetPiece* piece(Module* m, Node* n = nullptr) {
        NetPiece* p = d.make<NetPiece>();
        p->module = m;
        if (n) push_front(p->nodes, n);
        return p;
    }
    void attach(NetPiece* parent, NetPiece* k) {
        NetPiece* below = k;
        for (Module* m = k->module->parent; m && m != parent->module; m = m->parent) {
            NetPiece* between = piece(m);
            below->up = between;
            between->children = below;
            below = between;
        }
        below->up = parent;
        below->sibling = parent->children;
        parent->children = below;
    }
    NetPiece* add(NetPiece* root, Node* n) {
        Module* m = n->inst->owner;
        if (!root) return piece(m, n);
        Module* c = common_module(root->module, m);
        if (c == m && m == root->module) {
            push_front(root->nodes, n);
            return root;
        }
        if (c == m) {
            NetPiece* top = piece(m, n);
            attach(top, root);
            return top;
        }
        if (c == root->module) {
            for (NetPiece* p = root;;) {
                NetPiece* next = nullptr;
                for (NetPiece* k = p->children; k && !next; k = k->sibling) {
                    if (k->module == m) {
                        push_front(k->nodes, n);
                        return root;
                    }
                    if (contains(k->module, m)) next = k;
                }
                if (!next) {
                    attach(p, piece(m, n));
                    return root;
                }
                p = next;
            }
        }
        NetPiece* top = piece(c);
        attach(top, root);
        attach(top, piece(m, n));
        return top;
    }
};

std::string shape(const NetPiece* p) {
    std::string out = std::string(p->module->name) + "[";
    for (const Node* n = p->nodes; n; n = n->next) out += std::string(n->pin) + " ";
    out += "](";
    for (const NetPiece* k = p->children; k; k = k->sibling) {
        EXPECT_EQ(k->up, p);
        out += shape(k);
    }
    return out + ")";
}

TEST(PieceTree, RandomNetsGiveTheTreesOfTheDirectWalk) {
    std::mt19937 rng(11);
    for (int trial = 0; trial < 200; ++trial) {
        DesignBuilder b{RingOrder::newest_then_oldest};
        std::vector<Module*> modules{b.top};
        for (int i = 0; i < 12; ++i) {
            Module* parent = modules[rng() % modules.size()];
            modules.push_back(b.sub(parent, ("m" + std::to_string(i)).c_str(),
                                    ("u" + std::to_string(i)).c_str()));
        }
        std::vector<Instance*> gates;
        for (Module* m : modules) gates.push_back(b.inst(m, CELL_NAND, "g", 2));
        const int count = 1 + static_cast<int>(rng() % 10);
        std::vector<Node*> ours, theirs;
        for (int i = 0; i < count; ++i) {
            Instance* g = gates[rng() % gates.size()];
            const std::string pin = "p" + std::to_string(i);
            for (auto* list : {&ours, &theirs}) {
                Node* n = b.d.make<Node>();
                n->inst = g;
                n->pin = b.d.copy_string(pin.c_str());
                list->push_back(n);
            }
        }
        Net* net = b.d.make<Net>();
        for (auto it = ours.rbegin(); it != ours.rend(); ++it) push_front(net->nodes, *it);
        NetPiece* built = build_piece_tree(b.d, net);
        ReferenceTree ref{b.d};
        NetPiece* expected = nullptr;
        for (Node* n : theirs) expected = ref.add(expected, n);
        EXPECT_EQ(shape(built), shape(expected)) << trial;
    }
}

}  // namespace
}  // namespace vorp

namespace vorp {
namespace {

// The marking of the directions done literally: from every driving piece,
// mark it; a marked piece is visited, sends up to an unvisited parent (which
// is marked in turn) or receives from a visited one, then marks its
// unvisited children.
struct Marks {
    bool from_up = false, to_up = false;
};
void mark(NetPiece* p, std::map<NetPiece*, bool>& visited, std::map<NetPiece*, Marks>& marks) {
    visited[p] = true;
    if (p->up && !visited[p->up]) {
        marks[p].to_up = true;
        mark(p->up, visited, marks);
    } else if (p->up) {
        marks[p].from_up = true;
    }
    for (NetPiece* k = p->children; k; k = k->sibling)
        if (!visited[k]) mark(k, visited, marks);
}

TEST(PieceTree, RandomDirectionsMatchTheMarkingFromEveryDriver) {
    std::mt19937 rng(5);
    const int types[] = {KW_INPUT, KW_OUTPUT, KW_TRISTATE, KW_INPUT_CONNECTED, CELL_SUBMODULE};
    for (int trial = 0; trial < 300; ++trial) {
        DesignBuilder b{RingOrder::newest_then_oldest};
        std::vector<Module*> modules{b.top};
        for (int i = 0; i < 10; ++i) {
            Module* parent = modules[rng() % modules.size()];
            modules.push_back(b.sub(parent, ("m" + std::to_string(i)).c_str(),
                                    ("u" + std::to_string(i)).c_str()));
        }
        Net* net = b.d.make<Net>();
        const int count = 1 + static_cast<int>(rng() % 8);
        for (int i = 0; i < count; ++i) {
            Instance* g = b.inst(modules[rng() % modules.size()], CELL_TS_BUF, "t");
            Node* n = b.d.make<Node>();
            n->inst = g;
            n->pin = "p";
            n->set_pin_type(types[rng() % 5]);
            push_front(net->nodes, n);
        }
        const int type = rng() % 2 ? NET_SIGNAL : NET_WIRED;
        NetPiece* root = build_piece_tree(b.d, net);
        set_directions(root, type);
        std::map<NetPiece*, Marks> marks;
        for_each_piece(root, [&](NetPiece* p) {
            if (!p->driver) return;
            std::map<NetPiece*, bool> visited;
            mark(p, visited, marks);
        });
        for_each_piece(root, [&](NetPiece* p) {
            EXPECT_EQ(p->from_up, marks[p].from_up) << trial;
            EXPECT_EQ(p->to_up, marks[p].to_up) << trial;
            bool input = false;
            for_each_piece(p, [&input](NetPiece* q) {
                for (Node* n = q->nodes; n; n = n->next)
                    input |= n->pin_type() == KW_INPUT || n->pin_type() == KW_INPUT_CONNECTED;
            });
            const int expected = !p->from_up ? (type == NET_SIGNAL ? KW_OUTPUT : KW_TRISTATE)
                                 : !p->to_up ? KW_INPUT
                                 : input     ? KW_BIDIRECT
                                             : KW_TRISTATE;
            EXPECT_EQ(p->direction, expected) << trial;
        });
    }
}

}  // namespace
}  // namespace vorp
