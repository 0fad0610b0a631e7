#include "flatten/net_ops.h"

#include <gtest/gtest.h>

#include <string>

#include "db/lists.h"
#include "tests/flatten/flat_support.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::node_of;
using test::TestDesign;

const char* const kPinIsolation =
    "vorp: inconsistent operation occured: pin isolation from a foreign net, sorry.\n";
const char* const kNetIsolation =
    "vorp: inconsistent operation occured: net isolation from a foreign module, sorry.\n";

// A net of three nodes g.nout (driver), h.a, k.a, in that order.
struct ThreeNodes {
    DesignBuilder b;
    Net* net = b.net();
    Node* g = b.drive(net, b.inst(CELL_NAND, "g"), "nout");
    Node* h = b.load(net, b.inst(CELL_NAND, "h"), "a", 1);
    Node* k = b.load(net, b.inst(CELL_NAND, "k"), "a", 1);
};

TEST(UnlinkNode, MiddleAndHeadLeaveTheNodesOwnLinks) {
    ThreeNodes t;
    EXPECT_EQ(unlink_node(t.b.d, t.h), 1);
    EXPECT_EQ(t.net->nodes, t.g);
    EXPECT_EQ(t.g->next, t.k);
    EXPECT_EQ(t.h->next, t.k);  // stale, as merges rely on
    EXPECT_EQ(t.h->net, t.net);
    EXPECT_EQ(unlink_node(t.b.d, t.g), 1);
    EXPECT_EQ(t.net->nodes, t.k);
    EXPECT_EQ(t.g->next, t.k);
    EXPECT_EQ(t.b.err.str(), "");
}

TEST(UnlinkNode, NodeNotOnItsNetFailsWithMessage) {
    ThreeNodes t;
    ASSERT_EQ(unlink_node(t.b.d, t.h), 1);
    EXPECT_EQ(unlink_node(t.b.d, t.h), 0);
    EXPECT_EQ(t.b.err.str(), kPinIsolation);
    EXPECT_EQ(t.net->nodes, t.g);
    EXPECT_EQ(t.g->next, t.k);
    EXPECT_EQ(t.k->next, nullptr);
}

TEST(UnlinkNet, ForeignNetFailsWithMessage) {
    DesignBuilder b;
    Net* first = b.net();
    Net* second = b.net();
    Net* third = b.net();
    EXPECT_EQ(unlink_net(b.d, second, *b.top), 1);
    EXPECT_EQ(b.top->nets, first);
    EXPECT_EQ(first->next, third);
    EXPECT_EQ(second->next, third);
    EXPECT_EQ(b.err.str(), "");
    EXPECT_EQ(unlink_net(b.d, second, *b.top), 0);
    EXPECT_EQ(b.err.str(), kNetIsolation);
}

TEST(UnlinkInstance, InstanceNotInItsModuleFailsSilently) {
    DesignBuilder b;
    Instance* a = b.inst(CELL_NAND, "a");
    Instance* c = b.inst(CELL_NAND, "c");
    EXPECT_EQ(unlink_instance(a), 1);
    EXPECT_EQ(b.top->insts, c);
    EXPECT_EQ(unlink_instance(a), 0);
    EXPECT_EQ(b.err.str(), "");
}

TEST(AppendNet, KeepsBothOrdersWithoutTheDroppedSource) {
    DesignBuilder b;
    Net* keep = b.net();
    Node* k1 = b.drive(keep, b.inst(CELL_HIGH, "h1"), "out");
    Node* k2 = b.load(keep, b.inst(CELL_NAND, "g1"), "a", 1);
    Net* middle = b.net();
    Net* drop = b.net();
    Node* d1 = b.load(drop, b.inst(CELL_NAND, "g2"), "a", 1);
    Node* d2 = b.drive(drop, b.inst(CELL_HIGH, "h2"), "out");
    Node* d3 = b.load(drop, b.inst(CELL_NAND, "g3"), "a", 1);
    ASSERT_EQ(append_net(b.d, keep, drop), 1);
    EXPECT_EQ(keep->nodes, k1);
    EXPECT_EQ(k1->next, k2);
    EXPECT_EQ(k2->next, d1);
    EXPECT_EQ(d1->next, d3);
    EXPECT_EQ(d3->next, nullptr);
    EXPECT_EQ(d1->net, keep);
    EXPECT_EQ(d3->net, keep);
    EXPECT_EQ(b.top->nets, keep);
    EXPECT_EQ(keep->next, middle);
    EXPECT_EQ(middle->next, nullptr);
    (void)d2;
    EXPECT_EQ(b.err.str(), "");
}

TEST(AppendNet, OntoAnEmptyNetFailsAfterTheSourceLeft) {
    DesignBuilder b;
    Net* keep = b.net();
    Net* drop = b.net();
    Node* d1 = b.drive(drop, b.inst(CELL_HIGH, "h"), "out");
    Node* d2 = b.load(drop, b.inst(CELL_NAND, "g"), "a", 1);
    EXPECT_EQ(append_net(b.d, keep, drop), 0);
    EXPECT_EQ(b.err.str(), "vorp: empty net internally appered, sorry.\n");
    EXPECT_EQ(drop->nodes, d2);  // the source is already out
    EXPECT_EQ(keep->nodes, nullptr);
    EXPECT_EQ(b.top->nets->next, drop);
    (void)d1;
}

TEST(AppendNet, DroppedNetOutsideTheTopModuleFails) {
    DesignBuilder b;
    Net* keep = b.net();
    b.drive(keep, b.inst(CELL_HIGH, "h1"), "out");
    Net* drop = b.d.make<Net>();  // held by no module
    b.drive(drop, b.inst(CELL_HIGH, "h2"), "out");
    Node* load = b.load(drop, b.inst(CELL_NAND, "g"), "a", 1);
    EXPECT_EQ(append_net(b.d, keep, drop), 0);
    EXPECT_EQ(b.err.str(), kNetIsolation);
    EXPECT_EQ(load->net, keep);  // joined before the removal failed
}

const char* const kTwoLevels =
    "(def-module top (def-pin a type input) (def-pin y type output)\n"
    " (def-comp sub s1) (def-comp nand--2 g h)\n"
    " (def-net a s1.x) (def-net s1.y g.a) (def-net s1.w g.b) (def-net s1.z h.a)\n"
    " (def-net g.nout y))\n";
const char* const kSub =
    "(def-module sub (def-pin x type input) (def-pin y type output)\n"
    " (def-pin z type input) (def-comp inv- i)\n"
    " (def-net x i.in) (def-net i.nout y))\n";

TEST(FindNode, CrossesTheBoundaryBothWays) {
    TestDesign t;
    Module& top = t.load({{"top.nld", kTwoLevels}, {"sub.nld", kSub}});
    const Module& sub = *top.next;
    Node* outer_x = node_of(top, "s1", "x");
    Node* inner_x = node_of(sub, "x");
    ASSERT_NE(outer_x, nullptr);
    ASSERT_NE(inner_x, nullptr);
    EXPECT_EQ(find_node(outer_x), inner_x);
    EXPECT_EQ(find_node(inner_x), outer_x);
    EXPECT_EQ(find_node(node_of(top, "s1", "y")), node_of(sub, "y"));
    EXPECT_EQ(find_node(node_of(sub, "y")), node_of(top, "s1", "y"));
}

TEST(FindNode, NoPartnerGivesNone) {
    TestDesign t;
    Module& top = t.load({{"top.nld", kTwoLevels}, {"sub.nld", kSub}});
    EXPECT_EQ(find_node(node_of(top, "a")), nullptr);              // the top has no parent
    EXPECT_EQ(find_node(node_of(top, "s1", "w")), nullptr);        // names no port
    EXPECT_EQ(find_node(node_of(top, "s1", "z")), nullptr);        // port z is unconnected
    EXPECT_EQ(find_node(node_of(*top.next, "i", "in")), nullptr);  // no pin "in" outside
}

// Loads a top module with one net and finds its source; the source as
// "inst.pin" (ports: the pin alone), "none" when there is none.
std::string source_of(const char* pins_and_comps, const char* connections,
                      std::string* err = nullptr) {
    TestDesign t;
    Module& top = t.load({{"top.nld", std::string("(def-module top ") + pins_and_comps +
                                          " (def-net " + connections + "))\n"}});
    Net* net = top.nets;
    const int ok = find_source(t.d, net);
    if (err) *err = t.err.str();
    if (!ok) return net->source ? "failed but set" : "none";
    const Node* s = net->source;
    if (s->inst->cell() == CELL_PORT) return s->pin;
    return std::string(s->inst->name) + "." + s->pin;
}

const char* const kSourcePins =
    "(def-pin a type input) (def-pin c type input-connected) (def-pin gp type global)"
    " (def-pin b1 type bidirect) (def-pin b2 type bidirect_connected)"
    " (def-pin y type output) (def-comp nand--2 g1 g2) (def-comp ts_buf- t)";

// The reader prepends, so the net's list is the reverse of the written order.
TEST(FindSource, OnlyBidirectionalDriversGiveTheLastOfThem) {
    EXPECT_EQ(source_of(kSourcePins, "b1 b2 g1.a"), "b1");  // list: g1.a b2 b1
}

TEST(FindSource, AnOutputAnywhereBeatsEarlierBidirectionalPins) {
    EXPECT_EQ(source_of(kSourcePins, "g2.nout g1.nout b1"), "g1.nout");  // list: b1 g1.nout g2.nout
}

TEST(FindSource, FirstDefiniteSourceWins) {
    EXPECT_EQ(source_of(kSourcePins, "a g1.nout"), "g1.nout");  // list: g1.nout a
    EXPECT_EQ(source_of(kSourcePins, "g1.nout a"), "a");
    EXPECT_EQ(source_of(kSourcePins, "g1.a c"), "c");
    EXPECT_EQ(source_of(kSourcePins, "g1.a gp"), "gp");
    EXPECT_EQ(source_of(kSourcePins, "g1.a t.out"), "t.out");
    EXPECT_EQ(source_of(kSourcePins, "b2 t.out g1.a"), "t.out");
}

TEST(FindSource, OutputPortAndLoadsAreNoSource) {
    std::string err;
    EXPECT_EQ(source_of(kSourcePins, "y g1.a", &err), "none");
    EXPECT_NE(err.find("vorp: net w/o source detected:\nNET:"), std::string::npos);
}

TEST(FindSource, FailurePrintsTheNetDump) {
    TestDesign t;
    Module& top = t.load({{"top.nld",
                           "(def-module top (def-pin y type output) (def-comp nand--2 g1 g2)"
                           " (def-net y g1.a g2.b))\n"}});
    Net* net = top.nets;
    const std::string before = t.err.str();
    EXPECT_EQ(find_source(t.d, net), 0);
    EXPECT_EQ(t.err.str().substr(before.size()),
              "vorp: net w/o source detected:\nNET:" + test::address(net) +
                  ":(0:0): []: g2.b(0/0) g1.a(0/0) y(0/0) \n");
    EXPECT_EQ(net->source, nullptr);
}

// A failed search leaves an earlier source in place, and the dump shows it.
TEST(FindSource, FailureKeepsAnEarlierSource) {
    TestDesign t;
    Module& top =
        t.load({{"top.nld", "(def-module top (def-comp nand--2 g1 g2) (def-net g1.a g2.b))\n"}});
    Net* net = top.nets;
    Node* earlier = node_of(top, "g1", "a");
    net->source = earlier;
    const std::string before = t.err.str();
    EXPECT_EQ(find_source(t.d, net), 0);
    EXPECT_EQ(net->source, earlier);
    EXPECT_EQ(t.err.str().substr(before.size()),
              "vorp: net w/o source detected:\nNET:" + test::address(net) +
                  ":(0:0): [a]: g2.b(0/0) g1.a(0/0) \n");
}

const char* const kClassified =
    "(def-module top\n"
    " (def-pin a type input)\n"
    " (def-pin c type input-connected)\n"
    " (def-pin p_reset type input)\n"
    " (def-pin gl type global)\n"
    " (def-pin u type unused-connected)\n"
    " (def-pin b type bidirect)\n"
    " (def-pin y type output)\n"
    " (def-comp nand--2 g1 g2)\n"
    " (def-comp ts_buf- t1)\n"
    " (def-net a g1.a)\n"
    " (def-net c g1.b)\n"
    " (def-net p_reset g2.a)\n"
    " (def-net gl g2.b)\n"
    " (def-net u t1.in)\n"
    " (def-net b t1.out)\n"
    " (def-net g1.nout y)\n"
    " (def-net g2.nout t1.nenb))\n";

// Every row of the classification: loads keep (1/1); drivers get (0/0); a
// bidirectional pin keeps its pol_b; a clock-named input port gives a source
// but no kind. Earlier kinds, sources and flags are reset.
TEST(ClassifyNets, EveryPinKindInOneModule) {
    TestDesign t;
    Module& top = t.load({{"top.nld", kClassified}});
    test::set_all_pols(top, 1, 1);
    top.nets->set_net_type(NET_CLOCK);
    top.nets->set_irreversible(true);
    top.nets->source = top.nets->nodes;
    classify_nets(top);
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): []: t1.nenb(1/1) g2.nout(0/0) \n"
              "NET:1:(291:0): []: y(1/1) g1.nout(0/0) \n"
              "NET:2:(271:1): []: t1.out(0/0) b(0/1) \n"
              "NET:3:(275:0): []: t1.in(1/1) u(0/0) \n"
              "NET:4:(291:0): []: g2.b(1/1) gl(0/0) \n"
              "NET:5:(0:0): [p_reset]: g2.a(1/1) p_reset(0/0) \n"
              "NET:6:(291:0): []: g1.b(1/1) c(0/0) \n"
              "NET:7:(291:0): []: g1.a(1/1) a(0/0) \n");
}

TEST(ClassifyNets, LaterPinSetsTheKind) {
    TestDesign t;
    Module& top = t.load({{"top.nld",
                           "(def-module top (def-pin y type output) (def-pin z type output)"
                           " (def-comp nand--2 g1 g2) (def-comp ts_buf- t1 t2)"
                           " (def-net g1.nout t1.out y) (def-net t2.out g2.nout z))\n"}});
    classify_nets(top);
    // Lists: z g2.nout t2.out (tristate last), then y t1.out g1.nout.
    EXPECT_EQ(top.nets->net_type(), NET_WIRED);
    EXPECT_EQ(top.nets->next->net_type(), NET_SIGNAL);
}

TEST(ClassifyNets, BidirectionalInstancePinMakesTheNetIrreversible) {
    TestDesign t;
    Module& top = t.load({{"top.nld",
                           "(def-module top (def-comp nand--2 g1 g2)"
                           " (def-net g1.nout g2.a))\n"}});
    test::set_all_pols(top, 1, -1);
    node_of(top, "g2", "a")->set_pin_type(KW_BIDIRECT_CONNECTED);
    classify_nets(top);
    // List g2.a g1.nout: the output that follows sets the kind, not the flag.
    EXPECT_EQ(dump_nets(top), "NET:0:(291:1): []: g2.a(0/-1) g1.nout(0/0) \n");
}

std::string kinds(const Module& m) {
    std::string out;
    for (const Net* n = m.nets; n; n = n->next) out += std::to_string(n->net_type()) + " ";
    return out;
}

TEST(MarkClockNets, RegisterPinStopsTheClock) {
    TestDesign t;
    Module& top = t.load({{"top.nld",
                           "(def-module top (def-pin ck type input) (def-pin d type input)"
                           " (def-pin y type output) (def-comp reg-1 r1) (def-comp nand--2 g1)"
                           " (def-net ck r1.m_clock) (def-net d r1.in g1.a)"
                           " (def-net r1.out g1.b) (def-net g1.nout y))\n"}});
    mark_clock_nets(top);
    // Lists: [y g1.nout] [g1.b r1.out] [g1.a r1.in d] [r1.m_clock ck].
    EXPECT_EQ(kinds(top), "0 0 0 290 ");
    EXPECT_TRUE(test::named(top.insts, "r1")->on_clock());
    EXPECT_FALSE(test::named(top.insts, "g1")->on_clock());
    EXPECT_TRUE(test::named(top.ports, "ck")->on_clock());
    EXPECT_FALSE(test::named(top.ports, "d")->on_clock());
}

TEST(MarkClockNets, InverterCarriesTheClockToItsOtherNet) {
    TestDesign t;
    Module& top = t.load({{"top.nld",
                           "(def-module top (def-pin ck type input note clock)"
                           " (def-pin d type input) (def-pin y type output)"
                           " (def-comp inv- i1) (def-comp reg-1 r1)"
                           " (def-net ck i1.in) (def-net i1.nout r1.m_clock)"
                           " (def-net r1.out y) (def-net d r1.in))\n"}});
    mark_clock_nets(top);
    // Lists: [r1.in d] [y r1.out] [r1.m_clock i1.nout] [i1.in ck].
    EXPECT_EQ(kinds(top), "0 0 290 290 ");
    EXPECT_TRUE(test::named(top.insts, "i1")->on_clock());
    EXPECT_TRUE(test::named(top.insts, "r1")->on_clock());
}

TEST(MarkClockNets, ClockNotePortSpreadsThroughGates) {
    TestDesign t;
    Module& top = t.load({{"top.nld",
                           "(def-module top (def-pin ck type input note clock)"
                           " (def-pin e type input) (def-pin y type output)"
                           " (def-comp nand--2 g1) (def-comp bgate--2 bg) (def-comp nor--2 g2)"
                           " (def-net ck g1.a) (def-net e g1.b) (def-net g1.nout bg.clock)"
                           " (def-net bg.nout g2.a) (def-net g2.nout y))\n"}});
    mark_clock_nets(top);
    // Lists: [y g2.nout] [g2.a bg.nout] [bg.clock g1.nout] [g1.b e] [g1.a ck]:
    // from ck through g1 to both of its other nets; bgate--2 stops it.
    EXPECT_EQ(kinds(top), "0 0 290 290 290 ");
    EXPECT_TRUE(test::named(top.ports, "e")->on_clock());
    EXPECT_TRUE(test::named(top.insts, "bg")->on_clock());
    EXPECT_FALSE(test::named(top.insts, "g2")->on_clock());
}

// One million buffers in a row, each "in" on net i and "out" on net i+1: the
// marking walks the whole chain without exhausting the stack.
TEST(MarkClockNet, MillionBufferChainDoesNotOverflow) {
    constexpr int kLength = 1000000;
    DesignBuilder b;
    Net* prev = b.d.make<Net>();
    push_front(b.top->nets, prev);
    Node* first = nullptr;
    Instance* last = nullptr;
    for (int i = 0; i < kLength; ++i) {
        Instance* buf = b.d.make<Instance>();
        buf->set_cell(CELL_NINV);
        buf->owner = b.top;
        push_front(b.top->insts, buf);
        Net* next = b.d.make<Net>();
        push_front(b.top->nets, next);
        Node* in = b.d.make<Node>();
        Node* out = b.d.make<Node>();
        in->inst = out->inst = buf;
        in->pin = "in";
        out->pin = "out";
        in->same_inst = out;
        out->same_inst = in;
        buf->node = in;
        in->net = prev;
        out->net = next;
        push_front(prev->nodes, in);
        push_front(next->nodes, out);
        if (!first) first = in;
        last = buf;
        prev = next;
    }
    mark_clock_net(first);
    int clock_nets = 0;
    for (const Net* n = b.top->nets; n; n = n->next) clock_nets += n->net_type() == NET_CLOCK;
    EXPECT_EQ(clock_nets, kLength + 1);
    EXPECT_TRUE(last->on_clock());
}

TEST(NetDump, NodesWithoutInstanceOrInstanceName) {
    DesignBuilder b;
    Net* net = b.net(NET_SIGNAL, true);
    Instance* p = b.port("p", KW_INPUT);
    b.drive(net, p, "p", KW_INPUT);
    b.load(net, b.inst(CELL_NAND, nullptr), "a", 1)->set_pols(1, -1);
    Node* bare = b.d.make<Node>();
    bare->pin = "z";
    bare->set_pols(-1, 1);
    bare->net = net;
    push_back(net->nodes, bare);
    EXPECT_EQ(net_dump(*net),
              "NET:" + test::address(net) + ":(291:1): [p]: p(0/0) (null).a(1/-1) .z(-1/1) \n");
    EXPECT_EQ(net_dump(*net, "x"), "NET:x:(291:1): [p]: p(0/0) (null).a(1/-1) .z(-1/1) \n");
}

}  // namespace
}  // namespace vorp
