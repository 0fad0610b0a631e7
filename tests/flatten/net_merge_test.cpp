#include "flatten/net_merge.h"

#include <gtest/gtest.h>

#include <string>

#include "flatten/net_ops.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;

// Two nets meeting at the pair x, y:
//   x_net: gx.nout (driver) x hx.a(1/1)
//   y_net: y hy.a(1/1) ky.a(-1/-1)
// x sits on an instance of `x_cell`; y on the same instance for an
// inverter, on a port when x is on a sub-module instance, and on a sub-module
// instance otherwise.
struct Pair {
    DesignBuilder b;
    Net* x_net = b.net();
    Net* y_net = b.net();
    Node* x = nullptr;
    Node* y = nullptr;
    Node* hx = nullptr;
    Node* hy = nullptr;

    Pair(int x_cell, int x_type, int x_pol, int y_type, int y_pol) {
        b.drive(x_net, b.inst(CELL_NAND, "gx"), "nout");
        Instance* xi = x_cell == CELL_PORT ? b.port("p", x_type) : b.inst(x_cell, "xi");
        x = b.pin(x_net, xi, "p", x_type, x_pol, x_pol);
        hx = b.load(x_net, b.inst(CELL_NAND, "hx"), "a", 1);
        Instance* yi = x_cell == CELL_INV         ? xi
                       : x_cell == CELL_SUBMODULE ? b.port("p", y_type)
                                                  : b.inst(CELL_SUBMODULE, "yi");
        y = b.pin(y_net, yi, "p", y_type, y_pol, y_pol);
        hy = b.load(y_net, b.inst(CELL_NAND, "hy"), "a", 1);
        b.load(y_net, b.inst(CELL_NAND, "ky"), "a", -1);
    }
    Node* merge() { return merge_net(b.d, x, y, *b.top); }
};

struct Row {
    const char* what;
    int x_cell, x_type, x_pol, y_type, y_pol;
    const char* dump;  // the one net left
};

// x_net inverted: hx.a becomes (-1/-1); y_net inverted: hy.a and ky.a swap.
const char* const kNone = "NET:0:(291:0): [nout]: gx.nout(0/0) hx.a(1/1) hy.a(1/1) ky.a(-1/-1) \n";
const char* const kX = "NET:0:(291:0): [nout]: gx.nout(0/0) hx.a(-1/-1) hy.a(1/1) ky.a(-1/-1) \n";
const char* const kY = "NET:0:(291:0): [nout]: gx.nout(0/0) hx.a(1/1) hy.a(-1/-1) ky.a(1/1) \n";

const Row kRows[] = {
    {"inverter input, straight: output net inverted", CELL_INV, KW_INPUT, 1, KW_OUTPUT, 0, kY},
    {"inverter input, already inverted", CELL_INV, KW_INPUT, -1, KW_OUTPUT, 0, kNone},
    {"inverter input held as a driver", CELL_INV, KW_INPUT, 0, KW_OUTPUT, 0, kNone},
    {"inverter output, straight input: own net inverted", CELL_INV, KW_OUTPUT, 0, KW_INPUT, 1, kX},
    {"inverter output, inverted input", CELL_INV, KW_OUTPUT, 0, KW_INPUT, -1, kNone},
    {"inverter output, driver input", CELL_INV, KW_OUTPUT, 0, KW_INPUT, 0, kNone},
    {"inverter output-connected pin is an 'other' type", CELL_INV, KW_OUTPUT_CONNECTED, 1, KW_INPUT,
     1, kY},
    {"input port, inverted outer load", CELL_PORT, KW_INPUT, 0, KW_INPUT, -1, kX},
    {"input-connected port, inverted outer load", CELL_PORT, KW_INPUT_CONNECTED, 0, KW_INPUT, -1,
     kX},
    {"input port, straight outer load", CELL_PORT, KW_INPUT, 0, KW_INPUT, 1, kNone},
    {"output port, inverted inner load", CELL_PORT, KW_OUTPUT, -1, KW_OUTPUT, 0, kY},
    {"output-connected port, inverted inner load", CELL_PORT, KW_OUTPUT_CONNECTED, -1, KW_OUTPUT, 0,
     kY},
    {"output port, straight inner load", CELL_PORT, KW_OUTPUT, 1, KW_OUTPUT, 0, kNone},
    {"global port", CELL_PORT, KW_GLOBAL, -1, KW_GLOBAL, -1, kNone},
    {"sub-module input pin, inverted", CELL_SUBMODULE, KW_INPUT, -1, KW_INPUT, 0, kY},
    {"sub-module input-connected pin, inverted", CELL_SUBMODULE, KW_INPUT_CONNECTED, -1, KW_INPUT,
     0, kY},
    {"sub-module input pin, driver", CELL_SUBMODULE, KW_INPUT, 0, KW_INPUT, -1, kNone},
    {"sub-module output pin, inverted inner load", CELL_SUBMODULE, KW_OUTPUT, 0, KW_OUTPUT, -1, kX},
    {"sub-module output-connected pin, inverted", CELL_SUBMODULE, KW_OUTPUT_CONNECTED, 0, KW_OUTPUT,
     -1, kX},
    {"sub-module output pin, straight", CELL_SUBMODULE, KW_OUTPUT, -1, KW_OUTPUT, 1, kNone},
    {"any other cell", CELL_NAND, KW_INPUT, -1, KW_INPUT, -1, kNone},
};

TEST(MergeNet, PolarityAdjustmentOfEveryRow) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        Pair p(row.x_cell, row.x_type, row.x_pol, row.y_type, row.y_pol);
        EXPECT_EQ(p.merge(), p.hx);
        EXPECT_EQ(dump_nets(*p.b.top), row.dump);
        EXPECT_EQ(p.b.err.str(), "");
        const bool boundary = row.x_cell == CELL_PORT || row.x_cell == CELL_SUBMODULE;
        EXPECT_EQ(p.x->peer, boundary ? p.y : nullptr);
        EXPECT_EQ(p.y->peer, boundary ? p.x : nullptr);
    }
}

TEST(MergeNet, NodesJoinInOrderAndTheAbsorbedNetGoes) {
    Pair p(CELL_INV, KW_INPUT, -1, KW_OUTPUT, 0);
    Net* other = p.b.net();
    ASSERT_NE(p.merge(), nullptr);
    EXPECT_EQ(p.b.top->nets, p.x_net);
    EXPECT_EQ(p.x_net->next, other);
    EXPECT_EQ(p.hx->next, p.hy);
    EXPECT_EQ(p.hy->net, p.x_net);
    EXPECT_EQ(p.hy->next->net, p.x_net);
    // The pair belongs to no net; the inverter keeps its pins.
    EXPECT_EQ(p.x->inst->node, p.y);
    EXPECT_EQ(p.x->same_inst, p.y);
}

TEST(MergeNet, WiredAbsorbedNetMakesTheKeptNetWired) {
    Pair p(CELL_NAND, KW_INPUT, 1, KW_INPUT, 1);
    p.y_net->set_net_type(NET_WIRED);
    p.y_net->set_irreversible(true);
    ASSERT_NE(p.merge(), nullptr);
    EXPECT_EQ(p.x_net->net_type(), NET_WIRED);
    EXPECT_FALSE(p.x_net->irreversible());  // never carried over

    Pair q(CELL_NAND, KW_INPUT, 1, KW_INPUT, 1);
    q.x_net->set_irreversible(true);
    q.y_net->set_net_type(NET_WIRED);
    ASSERT_NE(q.merge(), nullptr);
    EXPECT_EQ(q.x_net->net_type(), NET_WIRED);
    EXPECT_TRUE(q.x_net->irreversible());
}

TEST(MergeNet, XNotOnItsNetFails) {
    Pair p(CELL_INV, KW_INPUT, 1, KW_OUTPUT, 0);
    ASSERT_EQ(unlink_node(p.b.d, p.x), 1);
    EXPECT_EQ(p.merge(), nullptr);
    EXPECT_EQ(p.b.err.str(),
              "vorp: inconsistent operation occured: pin isolation from a foreign net, sorry.\n");
    EXPECT_EQ(p.y_net->nodes, p.y);  // y was not touched
}

TEST(MergeNet, YNotOnItsNetFailsAfterXLeft) {
    Pair p(CELL_INV, KW_INPUT, 1, KW_OUTPUT, 0);
    ASSERT_EQ(unlink_node(p.b.d, p.y), 1);
    EXPECT_EQ(p.merge(), nullptr);
    EXPECT_EQ(p.b.err.str(),
              "vorp: inconsistent operation occured: pin isolation from a foreign net, sorry.\n");
    EXPECT_EQ(p.x_net->nodes->next, p.hx);  // x is out
    EXPECT_EQ(dump_nets(*p.b.top),
              "NET:0:(291:0): [nout]: gx.nout(0/0) hx.a(1/1) \n"
              "NET:1:(291:0): []: hy.a(1/1) ky.a(-1/-1) \n");
}

TEST(MergeNet, InvertingAnIrreversibleNetFails) {
    Pair p(CELL_PORT, KW_INPUT, 0, KW_INPUT, -1);  // asks to invert x_net
    p.x_net->set_irreversible(true);
    EXPECT_EQ(p.merge(), nullptr);
    EXPECT_EQ(p.b.err.str(),
              "vorp: irreversible net attempted to be merged (impossible), sorry.\n");
    EXPECT_EQ(p.x->peer, p.y);
    EXPECT_EQ(p.y->peer, p.x);
    // Both pins are out, nothing inverted, the nets are still apart.
    EXPECT_EQ(dump_nets(*p.b.top),
              "NET:0:(291:1): [nout]: gx.nout(0/0) hx.a(1/1) \n"
              "NET:1:(291:0): []: hy.a(1/1) ky.a(-1/-1) \n");
}

TEST(MergeNet, AbsorbedNetOutsideTheModuleFailsAfterJoining) {
    Pair p(CELL_INV, KW_INPUT, -1, KW_OUTPUT, 0);
    Module* elsewhere = p.b.d.make<Module>();
    EXPECT_EQ(merge_net(p.b.d, p.x, p.y, *elsewhere), nullptr);
    EXPECT_EQ(p.b.err.str(), "vorp: internal net representation colapsed, sorry.\n");
    EXPECT_EQ(p.hx->next, p.hy);
    EXPECT_EQ(p.hy->net, p.x_net);
}

// x last on its net and y alone on its: the merge succeeds in substance but
// has no node to go on from, which callers read as failure.
TEST(MergeNet, NothingToGoOnFromGivesNoneWithoutMessage) {
    DesignBuilder b;
    Net* x_net = b.net();
    Net* y_net = b.net();
    Node* g = b.drive(x_net, b.inst(CELL_NAND, "g"), "nout");
    Instance* inv = b.inst(CELL_INV, "i");
    Node* x = b.load(x_net, inv, "in", -1);
    Node* y = b.drive(y_net, inv, "nout");
    EXPECT_EQ(merge_net(b.d, x, y, *b.top), nullptr);
    EXPECT_EQ(b.err.str(), "");
    EXPECT_EQ(b.top->nets, x_net);
    EXPECT_EQ(x_net->next, nullptr);
    EXPECT_EQ(x_net->nodes, g);
    EXPECT_EQ(g->next, nullptr);
}

// x alone on its net: y's net's other nodes become x's net's list.
TEST(MergeNet, XAloneOnItsNetTakesOverTheOtherNodes) {
    DesignBuilder b;
    Net* x_net = b.net();
    Net* y_net = b.net();
    Instance* inv = b.inst(CELL_INV, "i");
    Node* x = b.drive(x_net, inv, "nout");
    Node* y = b.load(y_net, inv, "in", -1);
    Node* g = b.drive(y_net, b.inst(CELL_NAND, "g"), "nout");
    Node* h = b.load(y_net, b.inst(CELL_NAND, "h"), "a", 1);
    EXPECT_EQ(merge_net(b.d, x, y, *b.top), g);
    EXPECT_EQ(b.err.str(), "");
    EXPECT_EQ(x_net->nodes, g);
    EXPECT_EQ(g->next, h);
    EXPECT_EQ(g->net, x_net);
    EXPECT_EQ(h->net, x_net);
    EXPECT_EQ(b.top->nets, x_net);
    EXPECT_EQ(x_net->next, nullptr);
}

// An inverter whose two pins share one net: the pins leave, the polarity step
// runs (its input is straight, so the net is inverted), and the merge gives
// none without a message.
TEST(MergeNet, NetWithItselfGivesNoneAfterThePolarityStep) {
    DesignBuilder b;
    Net* net = b.net();
    Net* other = b.net();
    Node* g = b.drive(net, b.inst(CELL_NAND, "g"), "nout");
    Instance* inv = b.inst(CELL_INV, "i");
    Node* x = b.load(net, inv, "in", 1);
    b.load(net, b.inst(CELL_NAND, "h"), "a", 1);
    Node* y = b.pin(net, inv, "nout", KW_OUTPUT, 0, 0);
    EXPECT_EQ(merge_net(b.d, x, y, *b.top), nullptr);
    EXPECT_EQ(b.err.str(), "");
    EXPECT_EQ(net->nodes, g);
    EXPECT_EQ(b.top->nets, net);
    EXPECT_EQ(net->next, other);
    EXPECT_EQ(dump_nets(*b.top),
              "NET:0:(291:0): [nout]: g.nout(0/0) h.a(-1/-1) \n"
              "NET:1:(291:0): []: \n");
}

}  // namespace
}  // namespace vorp
