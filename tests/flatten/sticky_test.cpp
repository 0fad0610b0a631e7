#include "flatten/sticky.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "flatten/net_ops.h"
#include "netlist/reader.h"
#include "tests/flatten/flat_support.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::names;
using test::node_of;
using test::TestDesign;

// The state that protection meets inside `flat`: every node (1/1), pins of
// sub-module instances typed after their ports, every net classified.
void prepare(Design& d) {
    for (Module* m = d.modules; m; m = m->next) {
        test::set_all_pols(*m, 1, 1);
        for (Net* net = m->nets; net; net = net->next)
            for (Node* n = net->nodes; n; n = n->next)
                if (n->inst->cell() == CELL_SUBMODULE)
                    if (Instance* port = find_port(n->pin, *n->inst->sub))
                        n->set_pin_type(port->pin_type());
        classify_nets(*m);
    }
}

// An irreversible net b(0/1) g.a(1/1) and a node of it to protect.
struct Protected {
    DesignBuilder b;
    Net* net = b.net(NET_WIRED, true);
    Node* port = b.pin(net, b.port("b", KW_BIDIRECT), "b", KW_BIDIRECT, 0, 1);
    Node* node = b.load(net, b.inst(CELL_NAND, "g"), "a", 1);
};

TEST(InsertSticky, DrivenNodeGetsTheOutputSide) {
    Protected p;
    p.b.d.sticky_count = 4;
    ASSERT_EQ(insert_sticky(p.b.d, p.net, p.node, CELL_STICKY, 0), 1);
    Instance* s = p.b.top->insts;
    EXPECT_STREQ(s->name, "sticky-4");
    EXPECT_EQ(p.b.d.sticky_count, 5);
    EXPECT_EQ(s->cell(), CELL_STICKY);
    EXPECT_EQ(s->owner, p.b.top);
    EXPECT_EQ(s->sub, nullptr);
    EXPECT_EQ(s->next->name, p.node->inst->name);
    // Ring: "i" (input, a load) then "o" (output, a driver); `node` is "i".
    Node* i = s->node;
    EXPECT_STREQ(i->pin, "i");
    EXPECT_EQ(i->pin_type(), KW_INPUT);
    Node* o = i->same_inst;
    EXPECT_STREQ(o->pin, "o");
    EXPECT_EQ(o->pin_type(), KW_OUTPUT);
    EXPECT_EQ(o->same_inst, i);
    // The sticky net is new, first in the module, with no kind or source.
    EXPECT_EQ(dump_nets(*p.b.top),
              "NET:0:(0:0): []: g.a(1/1) sticky-4.o(0/0) \n"
              "NET:1:(271:1): []: sticky-4.i(1/1) b(0/1) \n");
    EXPECT_EQ(p.node->net, p.b.top->nets);
    EXPECT_EQ(i->net, p.net);
    EXPECT_EQ(p.b.err.str(), "");
}

TEST(InsertSticky, DrivingNodeGetsTheInputSide) {
    Protected p;
    p.node->set_pols(0, 0);
    ASSERT_EQ(insert_sticky(p.b.d, p.net, p.node, CELL_STICKY_TS, 1), 1);
    EXPECT_EQ(p.b.top->insts->cell(), CELL_STICKY_TS);
    EXPECT_EQ(dump_nets(*p.b.top),
              "NET:0:(0:0): []: g.a(0/0) sticky-0.i(1/1) \n"
              "NET:1:(271:1): []: sticky-0.o(0/0) b(0/1) \n");
}

TEST(InsertSticky, NodeOffItsNetFailsLeavingAnEmptySticky) {
    Protected p;
    ASSERT_EQ(unlink_node(p.b.d, p.node), 1);
    EXPECT_EQ(insert_sticky(p.b.d, p.net, p.node, CELL_STICKY, 0), 0);
    EXPECT_EQ(p.b.err.str(),
              "vorp: inconsistent operation occured: pin isolation from a foreign net, sorry.\n");
    EXPECT_STREQ(p.b.top->insts->name, "sticky-0");
    EXPECT_EQ(dump_nets(*p.b.top), "NET:0:(0:0): []: \nNET:1:(271:1): []: b(0/1) \n");
}

const char* const kInvertersOnABidirectionalNet =
    "(def-module top\n"
    " (def-pin b type bidirect) (def-pin a type input) (def-pin y type output)\n"
    " (def-comp inv- i1 i2 i3)\n"
    " (def-net a i2.in)\n"
    " (def-net b i1.in i2.nout i3.in)\n"
    " (def-net i1.nout y))\n";

// Net list [i3.in i2.nout i1.in b]: i3 has one pin and is passed over, i2
// drives (sticky-0, dir 1), i1 is driven (sticky-1, dir 0), the top's own
// bidirectional port has no partner. Each sticky net goes first.
TEST(ProtectIrreversibleNets, InvertersOnTheNetAreFencedOff) {
    TestDesign t;
    Module& top = t.load({{"top.nld", kInvertersOnABidirectionalNet}});
    prepare(t.d);
    t.d.sticky_count = 9;  // each pass starts again from 0
    const std::string before = t.err.str();
    ASSERT_EQ(protect_irreversible_nets(t.d), 1);
    EXPECT_EQ(t.err.str(), before);
    EXPECT_EQ(dump_nets(top),
              "NET:0:(0:0): []: i1.in(1/1) sticky-1.o(0/0) \n"
              "NET:1:(0:0): []: i2.nout(0/0) sticky-0.i(1/1) \n"
              "NET:2:(291:0): []: y(1/1) i1.nout(0/0) \n"
              "NET:3:(271:1): []: sticky-1.i(1/1) sticky-0.o(0/0) i3.in(1/1) b(0/1) \n"
              "NET:4:(291:0): []: i2.in(1/1) a(0/0) \n");
    EXPECT_EQ(names(top.insts), "sticky-1 sticky-0 i3 i2 i1");
    EXPECT_EQ(top.insts->cell(), CELL_STICKY);
    EXPECT_EQ(top.insts->next->cell(), CELL_STICKY);
}

TEST(ProtectIrreversibleNets, InverterPinOfAnotherTypeFails) {
    for (int type : {KW_NOTE, KW_STATIC}) {
        TestDesign t;
        Module& top = t.load({{"top.nld", kInvertersOnABidirectionalNet}});
        prepare(t.d);
        node_of(top, "i2", "nout")->set_pin_type(type);
        const std::string before = t.err.str();
        EXPECT_EQ(protect_irreversible_nets(t.d), 0);
        EXPECT_EQ(t.err.str().substr(before.size()),
                  "vorp: an inverter instance has a pin of the type " + std::to_string(type) +
                      ", which cannot be handled, sorry.\n");
    }
}

const char* const kOuterSide =
    "(def-module top (def-pin b type bidirect) (def-comp sub s1)\n"
    " (def-net b s1.x s1.t s1.o))\n";
const char* const kOuterSideSub =
    "(def-module sub (def-pin x type input) (def-pin t type tristate)\n"
    " (def-pin o type output) (def-comp nand--2 g) (def-comp ts_buf- tb)\n"
    " (def-net x g.a) (def-net tb.out t) (def-net g.nout o))\n";

// From outside (pair 425/424, base 1): the output pin s1.o drives (dir 1),
// the tristate pin s1.t drives through a tristate sticky, the input pin s1.x
// is driven (dir 0). List [s1.o s1.t s1.x b].
TEST(ProtectIrreversibleNets, SubModulePinsSeenFromOutside) {
    TestDesign t;
    Module& top = t.load({{"top.nld", kOuterSide}, {"sub.nld", kOuterSideSub}});
    prepare(t.d);
    ASSERT_EQ(protect_irreversible_nets(t.d), 1);
    EXPECT_EQ(dump_nets(top),
              "NET:0:(0:0): []: s1.x(1/1) sticky-2.o(0/0) \n"
              "NET:1:(0:0): []: s1.t(0/0) sticky-1.i(1/1) \n"
              "NET:2:(0:0): []: s1.o(0/0) sticky-0.i(1/1) \n"
              "NET:3:(271:1): []: sticky-2.i(1/1) sticky-1.o(0/0) sticky-0.o(0/0) b(0/1) \n");
    EXPECT_EQ(names(top.insts), "sticky-2 sticky-1 sticky-0 s1");
    EXPECT_EQ(top.insts->cell(), CELL_STICKY);
    EXPECT_EQ(top.insts->next->cell(), CELL_STICKY_TS);
    EXPECT_EQ(top.insts->next->next->cell(), CELL_STICKY);
    EXPECT_EQ(names(top.next->insts), "tb g");  // nothing to fence inside the copy
}

const char* const kInnerSide =
    "(def-module top (def-pin a type input) (def-pin y type output) (def-pin z type output)\n"
    " (def-comp sub s1) (def-net a s1.x) (def-net s1.o y) (def-net s1.t z))\n";
const char* const kInnerSideSub =
    "(def-module sub (def-pin bb type bidirect) (def-pin x type input)\n"
    " (def-pin o type output) (def-pin t type tristate)\n"
    " (def-net bb x o t))\n";

// From inside (pair 424/425, base 0): the tristate and output ports are
// driven (dir 0), the input port drives (dir 1); bb has no pin outside. The
// stickies belong to the copy. List [t o x bb].
TEST(ProtectIrreversibleNets, PortsSeenFromInside) {
    TestDesign t;
    Module& top = t.load({{"top.nld", kInnerSide}, {"sub.nld", kInnerSideSub}});
    prepare(t.d);
    ASSERT_EQ(protect_irreversible_nets(t.d), 1);
    Module& sub = *top.next;
    EXPECT_EQ(dump_nets(sub),
              "NET:0:(0:0): []: x(0/0) sticky-2.i(1/1) \n"
              "NET:1:(0:0): []: o(1/1) sticky-1.o(0/0) \n"
              "NET:2:(0:0): []: t(1/1) sticky-0.o(0/0) \n"
              "NET:3:(271:1): []: sticky-2.o(0/0) sticky-1.i(1/1) sticky-0.i(1/1) bb(0/1) \n");
    EXPECT_EQ(names(sub.insts), "sticky-2 sticky-1 sticky-0");
    EXPECT_EQ(sub.insts->next->next->cell(), CELL_STICKY_TS);
    EXPECT_EQ(sub.insts->owner, &sub);
    EXPECT_EQ(names(top.insts), "s1");
}

// A bidirectional port of a copy connected on both sides cannot be fenced.
TEST(ProtectIrreversibleNets, BidirectionalPinAcrossABoundaryFails) {
    const std::pair<const char*, int> kTypes[] = {{"bidirect", KW_BIDIRECT},
                                                  {"bidirect_connected", KW_BIDIRECT_CONNECTED}};
    for (const auto& [type, code] : kTypes) {
        TestDesign t;
        t.load({{"top.nld",
                 "(def-module top (def-pin a type input) (def-comp sub s1) (def-net a s1.b))\n"},
                {"sub.nld", std::string("(def-module sub (def-pin b type ") + type +
                                ") (def-comp nand--2 g) (def-net b g.a))\n"}});
        prepare(t.d);
        const std::string before = t.err.str();
        EXPECT_EQ(protect_irreversible_nets(t.d), 0);
        EXPECT_EQ(t.err.str().substr(before.size()),
                  "vorp: protect_the_node() receives a node of the type " + std::to_string(code) +
                      ", which cannot be handled, sorry.\n");
    }
}

// A pin of a sub-module instance still typed 425 cannot be protected either.
TEST(ProtectIrreversibleNets, UntypedSubModulePinFails) {
    TestDesign t;
    Module& top = t.load({{"top.nld", kOuterSide}, {"sub.nld", kOuterSideSub}});
    classify_nets(top);
    const std::string before = t.err.str();
    EXPECT_EQ(protect_irreversible_nets(t.d), 0);
    EXPECT_EQ(t.err.str().substr(before.size()),
              "vorp: protect_the_node() receives a node of the type 425, which cannot be "
              "handled, sorry.\n");
}

// A gate pin inside a copy whose name matches a pin of the instance outside
// is taken for a boundary pair of a gate and a sub-module pin.
TEST(ProtectIrreversibleNets, GatePinNamedLikeAnOuterPinFails) {
    TestDesign t;
    t.load({{"top.nld",
             "(def-module top (def-pin c type input) (def-comp sub s1) (def-net c s1.a))\n"},
            {"sub.nld",
             "(def-module sub (def-pin b type bidirect) (def-pin a type input)"
             " (def-comp nand--2 g) (def-net b g.a))\n"}});
    prepare(t.d);
    const std::string before = t.err.str();
    EXPECT_EQ(protect_irreversible_nets(t.d), 0);
    EXPECT_EQ(t.err.str().substr(before.size()),
              "vorp: find_node() detects a node pair (403, 425), which cannot be handled, "
              "sorry.\n");
}

// A sticky between in_net and out_net, built record by record:
//   in_net:  g.nout(0/0) s.i h.a(1/1)
//   out_net: s.o(0/0) k.a(1/1) m.a(-1/-1)
struct Resolving {
    DesignBuilder b;
    Net* in_net = b.net(NET_WIRED, true);
    Net* out_net = b.net(NET_SIGNAL);
    Instance* s = b.inst(CELL_STICKY, "sticky-0");
    Node* g = b.drive(in_net, b.inst(CELL_NAND, "g"), "nout");
    Node* in = b.pin(in_net, s, "i", KW_INPUT, 1, 1);
    Node* h = b.load(in_net, b.inst(CELL_NAND, "h"), "a", 1);
    Node* out = b.pin(out_net, s, "o", KW_OUTPUT, 0, 0);
    Node* k = b.load(out_net, b.inst(CELL_NAND, "k"), "a", 1);
    Node* m = b.load(out_net, b.inst(CELL_NAND, "m"), "a", -1);

    // A second driver on out_net (sources_out 2).
    void second_source() { b.pin(out_net, b.inst(CELL_TS_BUF, "t"), "out", KW_TRISTATE, 0, 0); }
    int resolve() { return resolve_sticky(b.d, s); }
};

// Straight, with two sinks on in_net (s.i, h.a) and two sources on out_net:
// the sticky stays as a buffer. Its input pin takes the output's name.
TEST(ResolveSticky, StraightWithSinksAndSourcesBecomesABuffer) {
    Resolving r;
    r.second_source();
    ASSERT_EQ(r.resolve(), 1);
    EXPECT_EQ(r.s->cell(), CELL_NINV);
    EXPECT_STREQ(r.in->pin, "out");
    EXPECT_STREQ(r.out->pin, "o");
    EXPECT_EQ(r.in->pin_type(), KW_INPUT);
    EXPECT_EQ(dump_nets(*r.b.top),
              "NET:0:(271:1): [nout]: g.nout(0/0) sticky-0.out(1/1) h.a(1/1) \n"
              "NET:1:(291:0): []: sticky-0.o(0/0) k.a(1/1) m.a(-1/-1) t.out(0/0) \n");
    EXPECT_EQ(r.b.err.str(), "");
}

// Twisted with two sources on out_net: an inverter, polarities untouched.
TEST(ResolveSticky, TwistedWithTwoSourcesBecomesAnInverter) {
    Resolving r;
    r.second_source();
    r.in->set_pols(-1, -1);
    ASSERT_EQ(r.resolve(), 1);
    EXPECT_EQ(r.s->cell(), CELL_INV);
    EXPECT_STREQ(r.in->pin, "nout");
    EXPECT_STREQ(r.out->pin, "o");
    EXPECT_EQ(r.in->pol_a(), -1);
    EXPECT_EQ(r.k->pol_a(), 1);
    EXPECT_EQ(r.b.top->insts, r.s);
}

TEST(ResolveSticky, TwistedOntoAnIrreversibleNetStaysAnInverter) {
    Resolving r;
    r.out_net->set_irreversible(true);
    r.in->set_pols(-1, -1);
    ASSERT_EQ(r.resolve(), 1);
    EXPECT_EQ(r.s->cell(), CELL_INV);
    EXPECT_STREQ(r.in->pin, "nout");
    EXPECT_EQ(r.m->pol_a(), -1);
}

// Twisted, one source: out_net is inverted (its own pin too) and the sticky
// dissolves. n_in 3 = n_out 3: out_net stays, in_net's nodes g, h go to its
// head one by one, so they end reversed; in_net leaves the module.
TEST(ResolveSticky, TwistedWithOneSourceInvertsAndDissolves) {
    Resolving r;
    r.in->set_pols(-1, -1);
    ASSERT_EQ(r.resolve(), 1);
    EXPECT_EQ(r.out->pol_a(), 0);
    EXPECT_EQ(dump_nets(*r.b.top),
              "NET:0:(291:0): []: h.a(1/1) g.nout(0/0) k.a(-1/-1) m.a(1/1) \n");
    EXPECT_EQ(r.b.top->insts->name, std::string("g"));  // the sticky is gone
    EXPECT_EQ(r.g->net, r.out_net);
    EXPECT_EQ(r.b.err.str(), "");
}

// Straight with a single sink besides the sticky: dissolves without any
// inversion; in_net (4 nodes) is larger than out_net (3) and stays.
TEST(ResolveSticky, StraightLargerInputNetStays) {
    Resolving r;
    r.b.load(r.in_net, r.b.inst(CELL_NAND, "n"), "a", 1);
    r.in->set_pols(1, 0);  // leaves h.a and n.a as the sinks: two, but one source out
    ASSERT_EQ(r.resolve(), 1);
    EXPECT_EQ(dump_nets(*r.b.top),
              "NET:0:(271:1): [nout]: m.a(-1/-1) k.a(1/1) g.nout(0/0) h.a(1/1) n.a(1/1) \n");
    EXPECT_EQ(r.k->net, r.in_net);
}

// Straight with two sources out but only the sticky's own pin sinking on
// in_net: dissolves.
TEST(ResolveSticky, StraightWithOneSinkDissolves) {
    Resolving r;
    r.second_source();
    r.h->set_pols(1, 0);
    ASSERT_EQ(r.resolve(), 1);
    EXPECT_EQ(dump_nets(*r.b.top),
              "NET:0:(291:0): []: h.a(1/0) g.nout(0/0) k.a(1/1) m.a(-1/-1) t.out(0/0) \n");
}

// The reduction's inversion mark flips the input pin first and is cleared:
// a straight pin read as inverted makes the sticky twisted.
TEST(ResolveSticky, InvertedMarkIsAppliedToTheInputPin) {
    Resolving r;
    r.second_source();
    r.s->set_inverted(true);
    ASSERT_EQ(r.resolve(), 1);
    EXPECT_FALSE(r.s->inverted());
    EXPECT_EQ(r.s->cell(), CELL_INV);
    EXPECT_EQ(r.in->pol_a(), -1);
    EXPECT_EQ(r.in->pol_b(), -1);
}

TEST(ResolveSticky, PinOfAnotherTypeFailsSilently) {
    Resolving r;
    r.out->set_pin_type(KW_TRISTATE);
    EXPECT_EQ(r.resolve(), 0);
    EXPECT_EQ(r.s->cell(), CELL_STICKY);
    EXPECT_EQ(r.b.err.str(), "");
}

// Both outcomes in one pass over every module, and the first failure ends it.
TEST(UnprotectIrreversibleNets, ResolvesEveryStickyAndStopsAtAFailure) {
    Resolving r;
    r.second_source();
    Instance* plain = r.b.inst(CELL_NAND, "x");
    ASSERT_EQ(unprotect_irreversible_nets(r.b.d), 1);
    EXPECT_EQ(r.s->cell(), CELL_NINV);
    EXPECT_EQ(plain->cell(), CELL_NAND);

    Resolving bad;
    bad.in->set_pin_type(KW_NOTE);
    EXPECT_EQ(unprotect_irreversible_nets(bad.b.d), 0);
    EXPECT_EQ(bad.b.err.str(), "");
}

// A dissolved sticky of another module whose emptied net lies outside the
// top module: the removal fails with its message, the sticky still counts
// as resolved.
TEST(ResolveSticky, NetOutsideTheTopModuleReportsButResolves) {
    Resolving r;
    Module* copy = r.b.d.make<Module>();
    r.b.top->nets = r.out_net;
    r.in_net->next = nullptr;
    copy->nets = r.in_net;
    r.s->owner = copy;
    ASSERT_EQ(r.resolve(), 1);
    EXPECT_EQ(r.b.err.str(),
              "vorp: inconsistent operation occured: net isolation from a foreign module, "
              "sorry.\n");
    EXPECT_EQ(r.g->net, r.out_net);
}

// A sticky inside a flattened copy: flattening moves it into the top's list
// while it keeps the copy as owner. Dissolved, it cannot leave its owner's
// list and stays in the top's, with neither pin on a net.
TEST(UnprotectIrreversibleNets, DissolvedStickyOfAFlattenedCopyStaysListed) {
    TestDesign t;
    t.load(
        {{"top.nld", "(def-module top (def-pin y type output) (def-comp s s1) (def-net s1.z y))\n"},
         {"s.nld",
          "(def-module s (def-pin z type output)\n"
          " (def-comp inv- k) (def-comp bb b1) (def-comp nand--2 g)\n"
          " (def-net b1.p k.in g.a) (def-net k.nout g.b) (def-net g.nout z))\n"},
         {"bb.pcd", "(def-module bb (def-pin p type bidirect))\n"}});
    t.err.str("");
    ASSERT_TRUE(flat(t.d));
    Module& top = *t.d.top();
    Instance* s = test::named(top.insts, "sticky-0");
    ASSERT_NE(s, nullptr);
    ASSERT_NE(s->owner, &top);
    Node* g_b = node_of(top, "g", "b");
    ASSERT_NE(g_b, nullptr);

    ASSERT_TRUE(unprotect_irreversible_nets(t.d));
    EXPECT_EQ(test::named(top.insts, "sticky-0"), s);
    EXPECT_EQ(s->cell(), CELL_STICKY);  // neither an inverter nor a buffer
    EXPECT_EQ(dump_nets(top).find("sticky-0"), std::string::npos) << dump_nets(top);
    EXPECT_EQ(g_b->net, node_of(top, "g", "a")->net);  // the two nets are one
    EXPECT_EQ(t.err.str(), "");
}

}  // namespace
}  // namespace vorp
