#include "flatten/flatten.h"

#include <gtest/gtest.h>

#include <string>

#include "flatten/net_ops.h"
#include "flatten/sticky.h"
#include "tests/flatten/flat_support.h"

namespace vorp {
namespace {

using test::load_and_flat;
using test::named;
using test::names;
using test::net_at;
using test::node_of;
using test::TestDesign;

// What flat printed, without the loader's "\tRead" lines.
std::string messages(const TestDesign& t) {
    std::string out;
    const std::string all = t.err.str();
    for (std::size_t at = 0; at < all.size();) {
        std::size_t end = all.find('\n', at);
        end = end == std::string::npos ? all.size() : end + 1;
        if (all.compare(at, 6, "\tRead ") != 0) out += all.substr(at, end - at);
        at = end;
    }
    return out;
}

const char* const kChain =
    "(def-module top\n"
    " (def-pin a type input) (def-pin y type output)\n"
    " (def-comp nand--2 g1 g2)\n"
    " (def-comp inv- i1 i2 i3)\n"
    " (def-net a g1.a g1.b)\n"
    " (def-net g1.nout i1.in)\n"
    " (def-net i1.nout i2.in)\n"
    " (def-net i2.nout i3.in)\n"
    " (def-net i3.nout g2.a g2.b)\n"
    " (def-net g2.nout y))\n";

// Lists: [y g2.nout] [g2.b g2.a i3.nout] [i3.in i2.nout] [i2.in i1.nout]
// [i1.in g1.nout] [g1.b g1.a a]. The walk over the second net meets i3.nout:
// its input is straight, so its own net is inverted and the input's net is
// appended; the merge returns i2.nout, which folds the same way, then
// i1.nout. Three inversions leave g2's inputs at -1 on one net with g1.nout.
TEST(Flat, ChainOfInvertersFoldsInOneWalk) {
    TestDesign t;
    ASSERT_EQ(load_and_flat(t, {{"top.nld", kChain}}), 1) << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [nout]: y(1/1) g2.nout(0/0) \n"
              "NET:1:(291:0): [nout]: g2.b(-1/-1) g2.a(-1/-1) g1.nout(0/0) \n"
              "NET:2:(291:0): [a]: g1.b(1/1) g1.a(1/1) a(0/0) \n");
    // Folded inverters stay, their pins on no net.
    EXPECT_EQ(names(top.insts), "i3 i2 i1 g2 g1");
    EXPECT_EQ(messages(t), "");
}

const char* const kTop2 =
    "(def-module top\n"
    " (def-pin a type input) (def-pin y1 type output) (def-pin y2 type output)\n"
    " (def-comp mid m1 m2)\n"
    " (def-net a m1.x m2.x)\n"
    " (def-net m1.z y1)\n"
    " (def-net m2.z y2))\n";
const char* const kMid =
    "(def-module mid\n"
    " (def-pin x type input) (def-pin z type output)\n"
    " (def-comp leaf l) (def-comp inv- i)\n"
    " (def-net x i.in) (def-net i.nout l.p) (def-net l.q z))\n";
const char* const kLeaf =
    "(def-module leaf\n"
    " (def-pin p type input) (def-pin q type output)\n"
    " (def-comp nand--2 g) (def-comp inv- j)\n"
    " (def-net p g.a g.b) (def-net g.nout j.in) (def-net j.nout q))\n";

// Three levels, two instances of mid, each with its own copy of leaf:
// modules top, mid/m2, mid/m1, leaf (under m2), leaf (under m1).
// Folding inside each copy: mid's i leaves [l.p(-1/-1) x(0/0)] (its input x
// is straight, so the output net is inverted); leaf's j leaves
// [q(-1/-1) g.nout(0/0)]. Linking walks the top's nets first:
//  - [y2 m2.z]: m2.z joins mid's port z ([z l.q], no inversion: z is +1),
//    then l.q joins leaf's q, which is -1, so the kept net is inverted:
//    y2 becomes -1 and g.nout of that leaf drives it;
//  - [y1 m1.z]: the same through m1;
//  - [m2.x m1.x a]: each x joins mid's port x, bringing l.p (-1); each l.p
//    is -1, so leaf's p net is inverted when joined: g.a, g.b at -1.
// y = not a, as in the hierarchy (leaf is a buffer, mid an inverter).
TEST(Flat, SeveralLevelsAndInstancesBecomeOneNetlist) {
    TestDesign t;
    ASSERT_EQ(load_and_flat(t, {{"top.nld", kTop2}, {"mid.nld", kMid}, {"leaf.nld", kLeaf}}), 1)
        << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [nout]: y2(-1/-1) g.nout(0/0) \n"
              "NET:1:(291:0): [nout]: y1(-1/-1) g.nout(0/0) \n"
              "NET:2:(291:0): [a]: a(0/0) g.b(-1/-1) g.a(-1/-1) g.b(-1/-1) g.a(-1/-1) \n");
    EXPECT_EQ(names(top.insts), "m2 m1 i i j g j g");
    EXPECT_EQ(messages(t), "");

    Module* m2 = top.next;
    Module* m1 = m2->next;
    Module* l_of_m2 = m1->next;
    ASSERT_STREQ(m2->inst_name, "m2");
    ASSERT_EQ(l_of_m2->parent, m2);
    // The drivers of y2 and y1 come from the two different leaf copies.
    EXPECT_EQ(top.nets->nodes->next->inst->owner, l_of_m2);
    EXPECT_EQ(top.nets->next->nodes->next->inst->owner, l_of_m2->next);
    // Copies give up their nets and instances; mid's leaf instance goes to
    // its `flattened` list.
    for (Module* m = top.next; m; m = m->next) {
        EXPECT_EQ(m->nets, nullptr);
        EXPECT_EQ(m->insts, nullptr);
    }
    EXPECT_EQ(names(m2->flattened), "l");
    EXPECT_EQ(m2->flattened->next, nullptr);
    EXPECT_EQ(l_of_m2->flattened, nullptr);
    // Joined pairs point at each other and belong to no net.
    Node* outer = m2->inst->node;
    while (outer && !test::same(outer->pin, "z")) outer = outer->same_inst;
    ASSERT_NE(outer, nullptr);
    Node* inner = named(m2->ports, "z")->node;
    EXPECT_EQ(outer->peer, inner);
    EXPECT_EQ(inner->peer, outer);
    EXPECT_TRUE(named(m2->ports, "z")->kept());
}

const char* const kClockInverters =
    "(def-module top\n"
    " (def-pin ck type input note clock)\n"
    " (def-pin d type input) (def-pin q type output)\n"
    " (def-comp inv- ic id) (def-comp reg-1 r)\n"
    " (def-net ck ic.in) (def-net ic.nout r.m_clock)\n"
    " (def-net d id.in) (def-net id.nout r.in)\n"
    " (def-net r.out q))\n";

// Lists: [q r.out] [r.in id.nout] [id.in d] [r.m_clock ic.nout] [ic.in ck].
// r.m_clock marks its net a clock net, ic carries it on to ck's net; id on
// the data path folds (r.in -1), ic between the two clock nets stays.
TEST(Flat, InverterOnAClockNetIsNotFolded) {
    TestDesign t;
    Module& top = t.load({{"top.nld", kClockInverters}});
    named(top.insts, "id")->set_on_clock(true);  // stale marks are cleared first
    ASSERT_EQ(flat(t.d), 1) << t.err.str();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [out]: q(1/1) r.out(0/0) \n"
              "NET:1:(291:0): [d]: r.in(-1/-1) d(0/0) \n"
              "NET:2:(290:0): []: r.m_clock(1/1) ic.nout(0/0) \n"
              "NET:3:(290:0): []: ic.in(1/1) ck(0/0) \n");
    EXPECT_TRUE(named(top.insts, "ic")->on_clock());
    EXPECT_TRUE(named(top.insts, "r")->on_clock());
    EXPECT_FALSE(named(top.insts, "id")->on_clock());
    EXPECT_TRUE(named(top.ports, "ck")->on_clock());
}

const char* const kClockTop =
    "(def-module top (def-pin clk type input) (def-pin d type input)\n"
    " (def-pin q type output) (def-comp sub s)\n"
    " (def-net clk s.ck) (def-net d s.d) (def-net s.q q))\n";
const char* const kClockSub =
    "(def-module sub (def-pin ck type input note clock) (def-pin d type input)\n"
    " (def-pin q type output) (def-comp inv- i k) (def-comp reg-1 r)\n"
    " (def-net ck i.in) (def-net i.nout r.m_clock) (def-net d k.in)\n"
    " (def-net k.nout r.in) (def-net r.out q))\n";

// The clock enters through s.ck, whose port is noted as a clock: the top's
// [s.ck clk], the copy's [i.in ck] and, through i, [r.m_clock i.nout] are
// clock nets. They are not linked, and the two inside stay in the copy in
// reverse order. k folds (r.in -1); the data nets are joined across the
// boundary: [q r.out], [d r.in].
TEST(Flat, ClockNetsStayInTheirCopy) {
    TestDesign t;
    Module& top = t.load({{"top.nld", kClockTop}, {"sub.nld", kClockSub}});
    Module& sub = *top.next;
    node_of(top, "s", "ck")->peer = node_of(top, "clk");  // pins of copies start unpaired
    ASSERT_EQ(flat(t.d), 1) << t.err.str();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [out]: q(1/1) r.out(0/0) \n"
              "NET:1:(291:0): [d]: d(0/0) r.in(-1/-1) \n"
              "NET:2:(290:0): []: s.ck(1/1) clk(0/0) \n");
    EXPECT_EQ(dump_nets(sub),
              "NET:0:(290:0): []: i.in(1/1) ck(0/0) \n"
              "NET:1:(290:0): []: r.m_clock(1/1) i.nout(0/0) \n");
    EXPECT_EQ(sub.insts, nullptr);
    EXPECT_EQ(names(top.insts), "s r k i");
    EXPECT_TRUE(named(top.insts, "s")->on_clock());
    EXPECT_EQ(node_of(top, "s", "ck")->port_note(), KW_CLOCK);
    EXPECT_EQ(node_of(top, "s", "ck")->pin, named(sub.ports, "ck")->name);  // shared text
    EXPECT_EQ(node_of(top, "s", "ck")->peer, nullptr);
}

// Black boxes: blk comes from a PCD file, rb only from the reference
// directory, and leaf (read from the read directory) sits below rb, so it
// becomes a reference too. Only the top is flattened: i folds (its input is
// straight: c.x and b.x become -1); the black-box pins stay cells.
TEST(Flat, BlackBoxesStayCells) {
    TestDesign t;
    t.add_read_dir("r");
    t.add_ref_dir("ref");
    t.load({{"r/top.nld",
             "(def-module top (def-pin a type input) (def-pin y type output)\n"
             " (def-pin w type output) (def-comp inv- i) (def-comp blk b) (def-comp rb c)\n"
             " (def-net a i.in) (def-net i.nout b.x c.x) (def-net b.z y) (def-net c.z w))\n"},
            {"r/blk.pcd", "(def-module blk (def-pin x type input) (def-pin z type output))\n"},
            {"ref/rb.nld",
             "(def-module rb (def-pin x type input) (def-pin z type output)\n"
             " (def-comp leaf f) (def-net x f.p) (def-net f.q z))\n"},
            {"r/leaf.nld",
             "(def-module leaf (def-pin p type input) (def-pin q type output)\n"
             " (def-comp inv- j) (def-net p j.in) (def-net j.nout q))\n"}});
    ASSERT_EQ(flat(t.d), 1) << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [z]: w(1/1) c.z(0/0) \n"
              "NET:1:(291:0): [z]: y(1/1) b.z(0/0) \n"
              "NET:2:(291:0): [a]: c.x(-1/-1) b.x(-1/-1) a(0/0) \n");
    EXPECT_EQ(names(top.insts), "c b i");
    const Module* rb = top.next;
    ASSERT_STREQ(rb->name, "rb");
    EXPECT_EQ(rb->kind(), MOD_REFERENCE);
    EXPECT_EQ(rb->next->kind(), MOD_PCD);
    EXPECT_STREQ(rb->next->next->name, "leaf");
    EXPECT_EQ(rb->next->next->kind(), MOD_REFERENCE);
    EXPECT_NE(rb->next->next->nets, nullptr);  // never collected
    EXPECT_EQ(names(rb->insts), "f");
    EXPECT_EQ(messages(t), "");
}

// i1 has only its input: it becomes a nameless one-pin buffer pushed at the
// front of the instances, its pin at (0/0); the fold-time mark on the pin
// goes with all the others before linking. i2 has no pin and is pruned.
TEST(Flat, InverterWithOnlyItsInputBecomesABuffer) {
    TestDesign t;
    ASSERT_EQ(load_and_flat(t, {{"top.nld",
                                 "(def-module top (def-pin a type input) (def-pin y type output)\n"
                                 " (def-comp inv- i1 i2) (def-comp nand--2 g)\n"
                                 " (def-net a i1.in g.a g.b) (def-net g.nout y))\n"}}),
              1)
        << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [nout]: y(1/1) g.nout(0/0) \n"
              "NET:1:(291:0): [a]: g.b(1/1) g.a(1/1) (null).in(0/0) a(0/0) \n");
    EXPECT_EQ(names(top.insts), "- g i1");
    Instance* buffer = top.insts;
    EXPECT_EQ(buffer->cell(), CELL_NINV);
    EXPECT_EQ(buffer->owner, &top);
    Node* pin = buffer->node;
    ASSERT_NE(pin, nullptr);
    EXPECT_EQ(pin->inst, buffer);
    EXPECT_STREQ(pin->pin, "in");
    EXPECT_EQ(pin->same_inst, pin);
    EXPECT_FALSE(pin->pinned());
}

TEST(Flat, InverterWithOnlyItsOutputFails) {
    TestDesign t;
    EXPECT_EQ(load_and_flat(t, {{"top.nld",
                                 "(def-module top (def-pin y type output) (def-comp inv- i1)\n"
                                 " (def-comp nand--2 g) (def-net i1.nout g.a g.b)\n"
                                 " (def-net g.nout y))\n"}}),
              0);
    EXPECT_EQ(messages(t), "vorp: the inverter instance (i1) has floating input, sorry.\n");
}

// An inverter whose pins share a net: merging the net with itself fails
// without a message.
TEST(Flat, InverterLoopFailsSilently) {
    TestDesign t;
    EXPECT_EQ(
        load_and_flat(t, {{"top.nld",
                           "(def-module top (def-pin a type input) (def-comp inv- i1)\n"
                           " (def-comp nand--2 g) (def-net a g.a) (def-net i1.in i1.nout))\n"}}),
        0);
    EXPECT_EQ(messages(t), "");
}

// Lists: [y3 g3.nout] [y2 g2.nout] [y1 g1.nout] [g3.a h3.out] [g2.b l2.nout]
// [g2.a h2.out] [g1.b l1.nout] [g1.a h1.out]. The first high net (h3's)
// takes the loads of the others without their drivers; the same for low.
TEST(Flat, ConstantNetsAreJoined) {
    TestDesign t;
    ASSERT_EQ(load_and_flat(t, {{"top.nld",
                                 "(def-module top (def-pin y1 type output)\n"
                                 " (def-pin y2 type output) (def-pin y3 type output)\n"
                                 " (def-comp high- h1 h2 h3) (def-comp low- l1 l2)\n"
                                 " (def-comp nand--2 g1 g2 g3)\n"
                                 " (def-net h1.out g1.a) (def-net l1.nout g1.b)\n"
                                 " (def-net h2.out g2.a) (def-net l2.nout g2.b)\n"
                                 " (def-net h3.out g3.a) (def-net g1.nout y1)\n"
                                 " (def-net g2.nout y2) (def-net g3.nout y3))\n"}}),
              1)
        << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [nout]: y3(1/1) g3.nout(0/0) \n"
              "NET:1:(291:0): [nout]: y2(1/1) g2.nout(0/0) \n"
              "NET:2:(291:0): [nout]: y1(1/1) g1.nout(0/0) \n"
              "NET:3:(291:0): [out]: g3.a(1/1) h3.out(0/0) g2.a(1/1) g1.a(1/1) \n"
              "NET:4:(291:0): [nout]: g2.b(1/1) l2.nout(0/0) g1.b(1/1) \n");
    EXPECT_EQ(node_of(top, "g1", "a")->net, net_at(top, 3));
}

const char* const kVddTop =
    "(def-module top (def-pin a type input) (def-pin y1 type output)\n"
    " (def-pin y2 type output) (def-comp sub s1 s2)\n"
    " (def-net a s1.a s2.a) (def-net s1.y y1) (def-net s2.y y2))\n";
const char* const kVddSub =
    "(def-module sub (def-pin a type input) (def-pin VDD type input)\n"
    " (def-pin y type output) (def-comp nand--2 g)\n"
    " (def-net a g.a) (def-net VDD g.b) (def-net g.nout y))\n";

// Copies s2 then s1. Their y and a ports join the top's nets; VDD has no pin
// outside, so each VDD port loses `kept` and its node is pinned, and the two
// VDD nets are joined into the first (s2's) without s1's VDD node.
TEST(Flat, SupplyPortsOfCopiesAreJoined) {
    TestDesign t;
    ASSERT_EQ(load_and_flat(t, {{"top.nld", kVddTop}, {"sub.nld", kVddSub}}), 1) << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [nout]: y2(1/1) g.nout(0/0) \n"
              "NET:1:(291:0): [nout]: y1(1/1) g.nout(0/0) \n"
              "NET:2:(291:0): [a]: a(0/0) g.a(1/1) g.a(1/1) \n"
              "NET:3:(291:0): [VDD]: g.b(1/1) VDD(0/0) g.b(1/1) \n");
    Module& s2 = *top.next;
    Module& s1 = *s2.next;
    ASSERT_STREQ(s2.inst_name, "s2");
    EXPECT_EQ(net_at(top, 3)->source, named(s2.ports, "VDD")->node);
    for (Module* m : {&s2, &s1}) {
        Instance* vdd = named(m->ports, "VDD");
        EXPECT_FALSE(vdd->kept());
        EXPECT_TRUE(vdd->node->pinned());
        EXPECT_TRUE(named(m->ports, "y")->kept());
    }
}

// gv (global) and e (input) have no pin outside. e is unlinked: not kept,
// pinned. gv is passed over: it stays kept and unpinned, and drives its net.
TEST(Flat, GlobalPortOfACopyIsNotLinked) {
    TestDesign t;
    ASSERT_EQ(load_and_flat(t, {{"top.nld",
                                 "(def-module top (def-pin a type input) (def-pin y type output)\n"
                                 " (def-comp sub s) (def-net a s.a) (def-net s.y y))\n"},
                                {"sub.nld",
                                 "(def-module sub (def-pin a type input) (def-pin gv type global)\n"
                                 " (def-pin e type input) (def-pin y type output)\n"
                                 " (def-comp nand--3 n) (def-net a n.a) (def-net gv n.b)\n"
                                 " (def-net e n.c) (def-net n.nout y))\n"}}),
              1)
        << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [nout]: y(1/1) n.nout(0/0) \n"
              "NET:1:(291:0): [a]: a(0/0) n.a(1/1) \n"
              "NET:2:(291:0): [e]: n.c(1/1) e(0/0) \n"
              "NET:3:(291:0): [gv]: n.b(1/1) gv(0/0) \n");
    Module& sub = *top.next;
    EXPECT_TRUE(named(sub.ports, "gv")->kept());
    EXPECT_FALSE(named(sub.ports, "gv")->node->pinned());
    EXPECT_EQ(named(sub.ports, "gv")->node->peer, nullptr);
    EXPECT_FALSE(named(sub.ports, "e")->kept());
    EXPECT_TRUE(named(sub.ports, "e")->node->pinned());
}

// Seen from outside, a global pin is an ordinary boundary pin: the top's net
// takes the copy's global net in (no polarity rule applies to it).
TEST(Flat, GlobalPortConnectedOutsideIsJoinedFromOutside) {
    TestDesign t;
    ASSERT_EQ(
        load_and_flat(t, {{"top.nld",
                           "(def-module top (def-pin a type input) (def-pin y type output)\n"
                           " (def-comp sub s) (def-comp inv- i) (def-net a i.in)\n"
                           " (def-net i.nout s.gv) (def-net s.y y))\n"},
                          {"sub.nld",
                           "(def-module sub (def-pin gv type global) (def-pin y type output)\n"
                           " (def-comp nand--2 n) (def-net gv n.a n.b) (def-net n.nout y))\n"}}),
        1)
        << t.err.str();
    // Lists: top [y s.y] [s.gv i.nout] [i.in a]; i folds with [s.gv] inverted
    // (-1) and a behind it; s.gv then joins gv without any inversion.
    EXPECT_EQ(dump_nets(*t.d.top()),
              "NET:0:(291:0): [nout]: y(1/1) n.nout(0/0) \n"
              "NET:1:(291:0): [a]: a(0/0) n.b(1/1) n.a(1/1) \n");
    const Node* gv = named(t.d.top()->next->ports, "gv")->node;
    ASSERT_NE(gv->peer, nullptr);
    EXPECT_STREQ(gv->peer->pin, "gv");
    EXPECT_EQ(gv->peer->peer, gv);
}

// Pins of a black box typed "unused" or "unused-connected" get a fixed
// polarity; its other pins stay as they were. Lists: [y s.z]
// [s.w s.u s.x h.nout] [h.a a], the pins of s typed from blk's ports.
TEST(Flat, UnusedPinsOfABlackBoxArePinned) {
    TestDesign t;
    ASSERT_EQ(
        load_and_flat(t, {{"top.nld",
                           "(def-module top (def-pin a type input) (def-pin y type output)\n"
                           " (def-comp blk s) (def-comp nand--2 h)\n"
                           " (def-net a h.a) (def-net h.nout s.x s.u s.w) (def-net s.z y))\n"},
                          {"blk.pcd",
                           "(def-module blk (def-pin x type input) (def-pin u type unused)\n"
                           " (def-pin w type unused-connected) (def-pin z type output))\n"}}),
        1)
        << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [z]: y(1/1) s.z(0/0) \n"
              "NET:1:(291:0): [nout]: s.w(0/0) s.u(0/0) s.x(1/1) h.nout(0/0) \n"
              "NET:2:(291:0): [a]: h.a(1/1) a(0/0) \n");
    EXPECT_TRUE(node_of(top, "s", "w")->pinned());
    EXPECT_TRUE(node_of(top, "s", "u")->pinned());
    EXPECT_FALSE(node_of(top, "s", "x")->pinned());
    EXPECT_FALSE(node_of(top, "s", "z")->pinned());
}

// In the copy, g and h have no pins and stay (none of its instances has
// one); its two empty nets go. In the top, g2 (no pin) is pruned, and so is
// s, which no net reaches.
TEST(Flat, PruningKeepsAllPinlessInstancesOnlyWhenNoneIsConnected) {
    TestDesign t;
    ASSERT_EQ(load_and_flat(t, {{"top.nld",
                                 "(def-module top (def-pin a type input) (def-pin y type output)\n"
                                 " (def-comp nand--2 g1 g2) (def-comp sub s)\n"
                                 " (def-net a g1.a) (def-net g1.nout y))\n"},
                                {"sub.nld",
                                 "(def-module sub (def-pin a type input) (def-comp nand--2 g h)\n"
                                 " (def-net) (def-net))\n"}}),
              1)
        << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(names(top.insts), "g1 h g");
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [nout]: y(1/1) g1.nout(0/0) \n"
              "NET:1:(291:0): [a]: g1.a(1/1) a(0/0) \n");
    EXPECT_FALSE(named(top.next->ports, "a")->kept());
    EXPECT_TRUE(named(top.ports, "a")->kept());
}

// A boundary pin with an irreversible net on both sides: the outer pin s.x
// (beside the top's bidirectional b) and the copy's port x (beside its own
// bidirectional c) each get a sticky, and both sticky nets have no kind.
// Linking walks only wired and signal nets, so nothing reaches the pair: s.x
// and x stay apart, each on its sticky net, and flattening succeeds.
// Folding i2 then i1 inverts y's net twice; c, a port of the copy without
// partner, is pinned.
TEST(Flat, BoundaryFencedOnBothSidesIsNotJoined) {
    TestDesign t;
    ASSERT_EQ(
        load_and_flat(t, {{"top.nld",
                           "(def-module top (def-pin a type input) (def-pin b type bidirect)\n"
                           " (def-pin y type output) (def-comp sub s) (def-comp inv- i1 i2)\n"
                           " (def-net a s.x b) (def-net s.z i1.in) (def-net i1.nout i2.in)\n"
                           " (def-net i2.nout y))\n"},
                          {"sub.nld",
                           "(def-module sub (def-pin x type input) (def-pin z type output)\n"
                           " (def-pin c type bidirect) (def-comp nand--2 g)\n"
                           " (def-net x g.a g.b c) (def-net g.nout z))\n"}}),
        1)
        << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(0:0): []: s.x(1/1) sticky-0.o(0/0) \n"
              "NET:1:(291:0): [nout]: y(1/1) g.nout(0/0) \n"
              "NET:2:(291:1): [a]: sticky-0.i(1/1) b(0/1) a(0/0) \n"
              "NET:3:(0:0): []: x(0/0) sticky-1.i(1/1) \n"
              "NET:4:(291:1): [o]: sticky-1.o(0/0) c(0/0) g.b(1/1) g.a(1/1) \n");
    EXPECT_EQ(names(top.insts), "sticky-0 i2 i1 s sticky-1 g");
    EXPECT_EQ(node_of(top, "s", "x")->peer, nullptr);
    EXPECT_EQ(node_of(top, "x")->peer, nullptr);
    EXPECT_TRUE(named(top.next->ports, "x")->kept());
    EXPECT_FALSE(named(top.next->ports, "c")->kept());
}

TEST(Flat, TopWithoutNetsFails) {
    TestDesign t;
    EXPECT_EQ(load_and_flat(
                  t, {{"top.nld", "(def-module top (def-pin a type input) (def-comp inv- i))\n"}}),
              0);
    EXPECT_EQ(messages(t),
              "vorp: internal net representation colapsed, or net set is empty, sorry.\n");
}

TEST(Flat, TopWithoutInstancesFails) {
    TestDesign t;
    EXPECT_EQ(load_and_flat(t, {{"top.nld",
                                 "(def-module top (def-pin a type input) (def-pin y type output)\n"
                                 " (def-net a y))\n"}}),
              0);
    EXPECT_EQ(messages(t),
              "vorp: internal instance representation colapsed, or instance set is empty, "
              "sorry.\n");
    EXPECT_EQ(t.d.top()->nets->source, node_of(*t.d.top(), "a"));  // sources came first
}

// s.zz names no port of the copy: it keeps the type and note it was read
// with, and linking reports the mismatch.
TEST(Flat, SubModulePinNamingNoPortFails) {
    TestDesign t;
    EXPECT_EQ(load_and_flat(t, {{"top.nld",
                                 "(def-module top (def-pin a type input) (def-pin y type output)\n"
                                 " (def-comp sub s) (def-net a s.zz) (def-net s.y y))\n"},
                                {"sub.nld",
                                 "(def-module sub (def-pin y type output) (def-comp high- h)\n"
                                 " (def-net h.out y))\n"}}),
              0);
    EXPECT_EQ(messages(t),
              "vorp: sub-module instance (s) does not match to its module defintion, net "
              "colapsed?\n");
    Node* zz = node_of(*t.d.top(), "s", "zz");
    ASSERT_NE(zz, nullptr);
    EXPECT_EQ(zz->pin_type(), CELL_SUBMODULE);
    EXPECT_EQ(zz->port_note(), 0);
}

// Lists: top [y i.nout] [i.in s.o]; copy [g.a o] (no driver inside; the
// output port gives no kind). i folds (y -1); s.o brings in g.a, and the
// joined net has nothing left to drive it.
TEST(Flat, NetWithoutSourceFails) {
    TestDesign t;
    EXPECT_EQ(load_and_flat(t, {{"top.nld",
                                 "(def-module top (def-pin y type output) (def-comp sub s)\n"
                                 " (def-comp inv- i) (def-net s.o i.in) (def-net i.nout y))\n"},
                                {"sub.nld",
                                 "(def-module sub (def-pin o type output) (def-comp nand--2 g)\n"
                                 " (def-net o g.a))\n"}}),
              0);
    EXPECT_EQ(messages(t), "vorp: net w/o source detected:\nNET:" + test::address(t.d.top()->nets) +
                               ":(291:0): []: y(-1/-1) g.a(1/1) \n");
}

// A bidirectional port of a copy, connected outside too, cannot be fenced
// by a sticky: flattening fails before anything is folded.
TEST(Flat, BidirectionalPortAcrossABoundaryFails) {
    TestDesign t;
    EXPECT_EQ(load_and_flat(t, {{"top.nld",
                                 "(def-module top (def-pin a type input) (def-comp sub s)\n"
                                 " (def-comp inv- i) (def-net a i.in) (def-net i.nout s.b))\n"},
                                {"sub.nld",
                                 "(def-module sub (def-pin b type bidirect) (def-comp nand--2 g)\n"
                                 " (def-net b g.a))\n"}}),
              0);
    EXPECT_EQ(messages(t),
              "vorp: protect_the_node() receives a node of the type 257, which cannot be "
              "handled, sorry.\n");
}

const char* const kFencedTop =
    "(def-module top (def-pin b type bidirect) (def-pin y type output)\n"
    " (def-comp sub s) (def-comp inv- i)\n"
    " (def-net b i.in s.o) (def-net i.nout y))\n";
const char* const kFencedSub =
    "(def-module sub (def-pin o type output) (def-comp high- h)\n"
    " (def-net h.out o))\n";

// A bidirectional top port b on a net with i's input and s's output.
// Lists: top [y i.nout] [s.o i.in b]; copy [o h.out]. Protection: s.o
// drives (sticky-0 net [s.o sticky-0.i], sticky-0.o on b's net), i.in is
// driven (sticky-1 net [i.in sticky-1.o], sticky-1.i on b's net). Folding i
// joins sticky-1's net into [y ...], inverted because i.in is +1. Sticky
// nets have no kind, so linking reaches s.o from the copy's port o, whose
// net takes sticky-0.i in. The irreversible net is never inverted.
TEST(Flat, StickiesFenceAnIrreversibleNet) {
    TestDesign t;
    ASSERT_EQ(load_and_flat(t, {{"top.nld", kFencedTop}, {"sub.nld", kFencedSub}}), 1)
        << t.err.str();
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top),
              "NET:0:(291:0): [o]: y(-1/-1) sticky-1.o(0/0) \n"
              "NET:1:(271:1): [o]: sticky-1.i(1/1) sticky-0.o(0/0) b(0/1) \n"
              "NET:2:(291:0): [out]: h.out(0/0) sticky-0.i(1/1) \n");
    EXPECT_EQ(names(top.insts), "sticky-1 sticky-0 i s h");
}

// After a successful reduction the two stickies above are resolved, first
// sticky-1 (first in the list): straight, two sinks on b's net but one
// source on y's, so it dissolves; b's net (3 nodes) is larger and takes y in
// at its head. Then sticky-0: straight with a single sink (itself) on h's
// net, so it dissolves too; b's net (3) is not smaller than h's (2) and
// takes h.out in at its head. The net keeps its former source.
TEST(Flat, StickiesResolveAfterFlattening) {
    TestDesign t;
    ASSERT_EQ(load_and_flat(t, {{"top.nld", kFencedTop}, {"sub.nld", kFencedSub}}), 1)
        << t.err.str();
    ASSERT_EQ(unprotect_irreversible_nets(t.d), 1);
    Module& top = *t.d.top();
    EXPECT_EQ(dump_nets(top), "NET:0:(271:1): [o]: h.out(0/0) y(-1/-1) b(0/1) \n");
    EXPECT_EQ(names(top.insts), "i s h");
    EXPECT_EQ(messages(t), "");
}

}  // namespace
}  // namespace vorp
