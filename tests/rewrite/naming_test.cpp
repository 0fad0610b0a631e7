#include "rewrite/naming.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "rewrite/grouping.h"
#include "rewrite/literal_naming.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::names_of_chain;
using test::RingOrder;
using Names = std::vector<std::string>;

// ---- make_name ----

TEST(MakeName, ModuleCopyFormPutsADashBetweenBaseAndNumber) {
    DesignBuilder b{RingOrder::newest_then_oldest};
    EXPECT_STREQ(make_name(b.d, "half", 1, NAME_MODULE_COPY), "half-1");
    EXPECT_STREQ(make_name(b.d, "inv-", 12, NAME_MODULE_COPY), "inv--12");
}

TEST(MakeName, OtherFormsAppendTheDigitsDirectly) {
    DesignBuilder b{RingOrder::newest_then_oldest};
    EXPECT_STREQ(make_name(b.d, "inv-", 1, NAME_CELL), "inv-1");
    EXPECT_STREQ(make_name(b.d, "in", 3, NAME_NEW_PORT), "in3");
    EXPECT_STREQ(make_name(b.d, "out", 0, NAME_NEW_PORT), "out0");
    EXPECT_STREQ(make_name(b.d, "nand-", 9999999, NAME_CELL), "nand-9999999");
    EXPECT_STREQ(make_name(b.d, "nand-", 10000000, NAME_CELL), "nand-10000000");
}

TEST(MakeName, EveryCallGivesAFreshString) {
    DesignBuilder b{RingOrder::newest_then_oldest};
    char* a = make_name(b.d, "inv-", 7, NAME_CELL);
    char* c = make_name(b.d, "inv-", 7, NAME_CELL);
    EXPECT_NE(a, c);
    EXPECT_STREQ(a, c);
    EXPECT_EQ(std::strlen(a), 5u);
}

// ---- instance numbering ----

struct Naming : ::testing::Test {
    DesignBuilder b{RingOrder::newest_then_oldest};
    Instance* kept(Module* m, int cell, const char* name, int param = 0) {
        Instance* i = b.inst(m, cell, name, param);
        i->set_kept(true);
        return i;
    }
    void group_and_name(Module* m) {
        build_cell_groups(b.d, *m);
        name_instances(b.d, *m);
    }
};

TEST_F(Naming, NumberingStartsAtOneForEachCell) {
    Instance* i1 = kept(b.top, CELL_INV, "x");
    Instance* n1 = kept(b.top, CELL_NAND, "y", 2);
    Instance* i2 = kept(b.top, CELL_INV, "z");
    group_and_name(b.top);
    // The inverter chain is i2, i1 (reverse list order).
    EXPECT_STREQ(i2->name, "inv-1");
    EXPECT_STREQ(i1->name, "inv-2");
    EXPECT_STREQ(n1->name, "nand-1");
}

TEST_F(Naming, GatesAreNumberedInAscendingSize) {
    Instance* a = kept(b.top, CELL_NAND, "a", 3);
    Instance* c = kept(b.top, CELL_NAND, "c", 2);
    Instance* e = kept(b.top, CELL_NAND, "e", 3);
    Instance* f = kept(b.top, CELL_NAND, "f", 2);
    group_and_name(b.top);
    // Size 2: chain f c, inserted f then c (head): c f. Size 3: a e.
    EXPECT_STREQ(c->name, "nand-1");
    EXPECT_STREQ(f->name, "nand-2");
    EXPECT_STREQ(a->name, "nand-3");
    EXPECT_STREQ(e->name, "nand-4");
}

TEST_F(Naming, APortNamedInvOneMakesTheFirstInverterInvTwo) {
    b.port(b.top, "inv-1", KW_INPUT);
    Instance* i = kept(b.top, CELL_INV, "x");
    Instance* j = kept(b.top, CELL_INV, "w");
    group_and_name(b.top);
    EXPECT_STREQ(j->name, "inv-2");
    EXPECT_STREQ(i->name, "inv-3");
}

TEST_F(Naming, TopPortsCountKeptOrNotOtherModulesOnlyKeptOnes) {
    b.port(b.top, "inv-1", KW_INPUT, false);
    Instance* i = kept(b.top, CELL_INV, "x");
    Module* m = b.sub(b.top, "sub", "s1");
    b.port(m, "inv-1", KW_INPUT, false);
    b.port(m, "inv-2", KW_INPUT, true);
    b.port(m, nullptr, KW_INPUT, true);
    Instance* j = kept(m, CELL_INV, "x");
    Instance* k = kept(m, CELL_INV, "y");
    group_and_name(b.top);
    group_and_name(m);
    EXPECT_STREQ(i->name, "inv-2");
    EXPECT_STREQ(k->name, "inv-1");
    EXPECT_STREQ(j->name, "inv-3");
}

TEST_F(Naming, SubModuleInstanceNamesAreTaken) {
    kept(b.top, CELL_INV, "x");
    b.sub(b.top, "half", "inv-1")->inst->set_kept(true);
    b.sub(b.top, "half", "inv-3")->inst->set_kept(true);
    Instance* i = b.top->insts;
    Instance* j = kept(b.top, CELL_INV, "y");
    group_and_name(b.top);
    EXPECT_STREQ(j->name, "inv-2");
    EXPECT_STREQ(i->name, "inv-4");
}

TEST_F(Naming, RegisterAndConstantNamesAreNotConsulted) {
    // A register named like a generated name does not hold the name back.
    Instance* r = kept(b.top, CELL_REG, "inv-1");
    Instance* h = kept(b.top, CELL_HIGH, "nand-1");
    Instance* i = kept(b.top, CELL_INV, "x");
    Instance* n = kept(b.top, CELL_NAND, "y", 2);
    group_and_name(b.top);
    EXPECT_STREQ(r->name, "inv-1");
    EXPECT_STREQ(h->name, "nand-1");
    EXPECT_STREQ(i->name, "inv-1");
    EXPECT_STREQ(n->name, "nand-1");
}

TEST_F(Naming, OnlyCellsBelowRegistersAreRenumbered) {
    std::vector<Instance*> keep;
    for (int cell = CELL_REG; cell <= CELL_BGATE; ++cell)
        keep.push_back(kept(b.top, cell, ("k" + std::to_string(cell)).c_str()));
    Instance* buf = kept(b.top, CELL_NINV, "buf");
    Instance* aoi = kept(b.top, CELL_AOI, "a", 21);
    Instance* xo = kept(b.top, CELL_ENOR, "e", 2);
    group_and_name(b.top);
    for (Instance* i : keep) EXPECT_EQ(std::string(i->name), "k" + std::to_string(i->cell()));
    EXPECT_STREQ(buf->name, "ninv-1");
    EXPECT_STREQ(aoi->name, "aoi-1");
    EXPECT_STREQ(xo->name, "enor-1");
}

TEST_F(Naming, AModuleOfRegistersOnlyKeepsEveryName) {
    Instance* r1 = kept(b.top, CELL_REG, "q0");
    Instance* r2 = kept(b.top, CELL_SREG3, "q1");
    group_and_name(b.top);
    EXPECT_STREQ(r1->name, "q0");
    EXPECT_STREQ(r2->name, "q1");
}

TEST_F(Naming, PortRecordsAmongTheInstancesKeepTheirNames) {
    Instance* vss = kept(b.top, CELL_PORT, "VSS");
    Instance* i = kept(b.top, CELL_INV, nullptr);
    group_and_name(b.top);
    EXPECT_STREQ(vss->name, "VSS");
    EXPECT_STREQ(i->name, "inv-1");
}

// ---- module copies ----

TEST_F(Naming, KeptCopiesOfOneModuleGetDistinctNumberedNames) {
    Module* h1 = b.sub(b.top, "half", "h1");
    Module* h2 = b.sub(b.top, "half", "h2");
    Module* h3 = b.sub(b.top, "half", "h3");
    Module* ref = b.sub(b.top, "half", "h4", MOD_REFERENCE);
    h1->inst->set_kept(true);
    h3->inst->set_kept(true);
    ref->inst->set_kept(true);
    name_modules(b.d);
    EXPECT_STREQ(h1->name, "half-1");
    EXPECT_STREQ(h2->name, "half");
    EXPECT_STREQ(h3->name, "half-2");
    EXPECT_STREQ(ref->name, "half");
    EXPECT_STREQ(b.top->name, "top");
}

TEST_F(Naming, ModuleNameFreeRules) {
    Module* a = b.sub(b.top, "m", "m-1");  // its instance's name is m-1
    Module* c = b.sub(b.top, "m", "c");
    Module* p = b.sub(b.top, "m-3", "p", MOD_PCD);
    Module* later = b.sub(b.top, "m-4", "q");
    kept(c, CELL_REG, "m-5");
    kept(c, CELL_NAND, "m-6", 2);
    (void)p;
    (void)later;
    // Before c: top and a, by name or instance name.
    EXPECT_EQ(module_name_free(b.d, "top", *c), 0);
    EXPECT_EQ(module_name_free(b.d, "m-1", *c), 0);
    EXPECT_EQ(module_name_free(b.d, "m", *c), 0);
    // After c: a PCD module by name, any module by instance name; a later
    // flattened module is not compared by name.
    EXPECT_EQ(module_name_free(b.d, "m-3", *c), 0);
    EXPECT_EQ(module_name_free(b.d, "q", *c), 0);
    EXPECT_EQ(module_name_free(b.d, "m-4", *c), 1);
    // c's own registers and other non-numbered cells; not its gates.
    EXPECT_EQ(module_name_free(b.d, "m-5", *c), 0);
    EXPECT_EQ(module_name_free(b.d, "m-6", *c), 1);
    // c's own instance name is not compared.
    EXPECT_EQ(module_name_free(b.d, "c", *c), 1);
    // After a: "m" is c's name, but c is a flattened module after a.
    EXPECT_EQ(module_name_free(b.d, "m", *a), 1);
    EXPECT_EQ(module_name_free(b.d, "m-1", *a), 1);
}

TEST_F(Naming, ACopyNameTakenByALaterInstanceIsSkipped) {
    Module* first = b.sub(b.top, "half", "h1");
    Module* second = b.sub(b.top, "half", "half-1");
    first->inst->set_kept(true);
    second->inst->set_kept(true);
    name_modules(b.d);
    EXPECT_STREQ(first->name, "half-2");
    // The second copy's own instance name is not held against it.
    EXPECT_STREQ(second->name, "half-1");
}

TEST_F(Naming, TopPortNamesDoNotHoldBackCopyNames) {
    // Ports are compared only for the top module itself.
    b.port(b.top, "half-1", KW_INPUT);
    Module* m = b.sub(b.top, "half", "h1");
    m->inst->set_kept(true);
    name_modules(b.d);
    EXPECT_STREQ(m->name, "half-1");
}

// Copies of a few modules under random parents, of every kind, kept or not,
// with instance and register names drawn from the names the copies want.
void random_copies(DesignBuilder& b, unsigned seed) {
    std::mt19937 rng(seed);
    const char* const bases[] = {"m", "half", "m-1", "m-2", "half-1", "top", "m-1-1"};
    const char* const names[] = {"u", "m-1", "m-2", "m-3", "half-1", "half-3", "m", "top"};
    const int kinds[] = {MOD_NLD, MOD_NLD, MOD_NLD, MOD_PCD, MOD_REFERENCE};
    std::vector<Module*> parents{b.top};
    for (int k = 0; k < 14; ++k) {
        Module* m = b.sub(parents[rng() % parents.size()], bases[rng() % 7], names[rng() % 8],
                          kinds[rng() % 5]);
        m->inst->set_kept(rng() % 4 != 0);
        if (rng() % 3 == 0) b.inst(m, CELL_REG, names[rng() % 8])->set_kept(true);
        if (m->kind() == MOD_NLD) parents.push_back(m);
    }
}

Names module_names(const Design& d) {
    Names out;
    for (const Module* m = d.modules; m; m = m->next) out.emplace_back(m->name);
    return out;
}

TEST(CopyNames, KeptCountsNameCopiesAsTheLiteralWalkDoes) {
    int renamed = 0;
    for (unsigned seed = 0; seed < 400; ++seed) {
        DesignBuilder fast{RingOrder::newest_then_oldest};
        DesignBuilder literal{RingOrder::newest_then_oldest};
        random_copies(fast, seed);
        random_copies(literal, seed);
        const Names before = module_names(fast.d);
        name_modules(fast.d);
        name_modules(literal.d, true);
        const Names after = module_names(fast.d);
        ASSERT_EQ(after, module_names(literal.d)) << "seed " << seed;
        for (std::size_t k = 0; k < after.size(); ++k) renamed += after[k] != before[k];
    }
    EXPECT_GT(renamed, 1000);
}

// ---- new ports ----

TEST_F(Naming, NewPortsAreNamedByDirectionSkippingTakenNames) {
    Module* m = b.sub(b.top, "sub", "s");
    b.port(m, "in1", KW_INPUT);
    Instance* p_in = b.port(m, nullptr, KW_INPUT);
    Instance* p_out = b.port(m, nullptr, KW_OUTPUT);
    Instance* p_in2 = b.port(m, nullptr, KW_INPUT_CONNECTED);
    Instance* p_bi = b.port(m, nullptr, KW_BIDIRECT);
    Instance* p_ts = b.port(m, nullptr, KW_TRISTATE);
    Instance* p_glob = b.port(m, nullptr, KW_GLOBAL);
    Instance* p_empty = b.port(m, "", KW_INPUT);
    for (Instance* p : {p_in, p_out, p_in2, p_bi, p_ts, p_glob}) {
        Node* n = b.d.make<Node>();
        n->inst = p;
        p->node = n;
    }
    build_cell_groups(b.d, *m);
    name_new_ports(b.d, *m);
    EXPECT_STREQ(p_in->name, "in2");
    EXPECT_STREQ(p_out->name, "out1");
    EXPECT_STREQ(p_in2->name, "in3");
    EXPECT_STREQ(p_bi->name, "out2");
    EXPECT_STREQ(p_ts->name, "out3");
    EXPECT_EQ(p_glob->name, nullptr);
    EXPECT_STREQ(p_empty->name, "");
    for (Instance* p : {p_in, p_out, p_in2, p_bi, p_ts}) EXPECT_EQ(p->node->pin, p->name);
}

TEST_F(Naming, UnusedPortsAreNamedByWhetherTheirPeerDrives) {
    Module* m = b.sub(b.top, "sub", "s");
    Net* driven = b.net(b.top);
    Node* drives = b.drive(driven, m->inst, "x");
    Node* loads = b.pin(driven, m->inst, "y", CELL_SUBMODULE);
    Instance* p1 = b.port(m, nullptr, KW_UNUSED);
    Instance* p2 = b.port(m, nullptr, KW_UNUSED_CONNECTED);
    Instance* p3 = b.port(m, nullptr, KW_UNUSED);
    Node* n1 = b.d.make<Node>();
    Node* n2 = b.d.make<Node>();
    Node* n3 = b.d.make<Node>();
    p1->node = n1, p2->node = n2, p3->node = n3;
    n1->peer = drives;
    n2->peer = loads;
    (void)n3;
    build_cell_groups(b.d, *m);
    name_new_ports(b.d, *m);
    EXPECT_STREQ(p1->name, "out1");
    EXPECT_STREQ(p2->name, "in1");
    EXPECT_STREQ(p3->name, "in2");
}

TEST_F(Naming, ANewPortNotKeptDoesNotHoldItsNameBack) {
    Module* m = b.sub(b.top, "sub", "s");
    Instance* p1 = b.port(m, nullptr, KW_INPUT, false);
    Instance* p2 = b.port(m, nullptr, KW_INPUT, true);
    Instance* p3 = b.port(m, nullptr, KW_INPUT, true);
    build_cell_groups(b.d, *m);
    name_new_ports(b.d, *m);
    EXPECT_STREQ(p1->name, "in1");
    EXPECT_STREQ(p2->name, "in1");
    EXPECT_STREQ(p3->name, "in2");
}

TEST_F(Naming, NewPortNamesSkipSubModuleInstanceNamesButNotGates) {
    Module* m = b.sub(b.top, "sub", "s");
    Module* inner = b.sub(m, "leaf", "out1");
    inner->inst->set_kept(true);
    kept(m, CELL_NAND, "out2", 2);
    Instance* p = b.port(m, nullptr, KW_OUTPUT);
    Instance* q = b.port(m, nullptr, KW_OUTPUT);
    build_cell_groups(b.d, *m);
    name_new_ports(b.d, *m);
    EXPECT_STREQ(p->name, "out2");
    EXPECT_STREQ(q->name, "out3");
}

// ---- pins of sub-module instances ----

TEST_F(Naming, SubModulePinsTakeTheirPeersNames) {
    Module* m = b.sub(b.top, "sub", "s");
    Module* ref = b.sub(b.top, "ref", "r", MOD_REFERENCE);
    Instance* in = b.port(m, "in7", KW_INPUT);
    Instance* rin = b.port(ref, "a", KW_INPUT);
    Net* outer = b.net(b.top);
    Node* x = b.pin(outer, m->inst, nullptr, 0);
    Node* lone = b.pin(outer, m->inst, "keep", 0);
    Node* rx = b.pin(outer, ref->inst, "old", 0);
    Net* clock = b.net(b.top, NET_CLOCK);
    Node* cx = b.pin(clock, m->inst, "clk", 0);
    Net* inner = b.net(m);
    Node* p = b.pin(inner, in, nullptr, KW_INPUT);
    Node* rp = b.pin(b.net(ref), rin, nullptr, KW_INPUT);
    x->peer = p, p->peer = x;
    rx->peer = rp, rp->peer = rx;
    cx->peer = p;
    sync_sub_pins(*b.top);
    EXPECT_EQ(x->pin, p->pin);
    EXPECT_STREQ(x->pin, "in7");
    EXPECT_STREQ(lone->pin, "keep");
    EXPECT_STREQ(rx->pin, "old");
    EXPECT_STREQ(cx->pin, "clk");
}

// ---- which records survive ----

TEST_F(Naming, KeptMarksWhatANetTouchesAndNeverClearsTopPorts) {
    Module* m = b.sub(b.top, "sub", "s");
    Instance* unused_top = b.port(b.top, "z", KW_OUTPUT, true);
    Instance* a = b.port(b.top, "a", KW_INPUT, false);
    Instance* lone_port = b.port(m, "p", KW_INPUT, true);
    Instance* used_port = b.port(m, "q", KW_INPUT, false);
    Instance* g = b.inst(b.top, CELL_NAND, "g", 2);
    Instance* dead = b.inst(b.top, CELL_INV, "dead");
    dead->set_kept(true);
    Instance* inner = b.inst(m, CELL_INV, "i");
    Net* n = b.net(b.top);
    b.drive(n, a, "a", KW_INPUT);
    b.pin(n, g, "a", KW_INPUT);
    b.pin(n, m->inst, "q", CELL_SUBMODULE);
    Net* k = b.net(m);
    b.drive(k, used_port, "q", KW_INPUT);
    b.pin(k, inner, "in", KW_INPUT);
    mark_kept(b.d);
    EXPECT_TRUE(unused_top->kept());
    EXPECT_TRUE(a->kept());
    EXPECT_FALSE(lone_port->kept());
    EXPECT_TRUE(used_port->kept());
    EXPECT_TRUE(g->kept());
    EXPECT_FALSE(dead->kept());
    EXPECT_TRUE(inner->kept());
    EXPECT_TRUE(m->inst->kept());
    EXPECT_STREQ(m->name, "sub-1");
    EXPECT_STREQ(g->name, "nand-1");
    EXPECT_STREQ(inner->name, "inv-1");
}

TEST_F(Naming, FlatModeMarksAndNamesTheTopOnly) {
    b.d.write_mode = WRITE_FLAT;
    Module* m = b.sub(b.top, "sub", "s");
    m->inst->set_kept(true);
    Instance* g = b.inst(b.top, CELL_NAND, "g", 2);
    Instance* dead = b.inst(b.top, CELL_NAND, "dead", 2);
    dead->set_kept(true);
    Instance* inner = b.inst(m, CELL_INV, "i");
    Instance* a = b.port(b.top, "a", KW_INPUT, false);
    Net* n = b.net(b.top, NET_NONE);  // every net counts, whatever its kind
    b.drive(n, a, "a", KW_INPUT);
    b.pin(n, g, "a", KW_INPUT);
    mark_kept(b.d);
    EXPECT_TRUE(a->kept());
    EXPECT_TRUE(g->kept());
    EXPECT_FALSE(dead->kept());
    EXPECT_FALSE(m->inst->kept());
    EXPECT_STREQ(g->name, "nand-1");
    EXPECT_STREQ(m->name, "sub");
    EXPECT_STREQ(inner->name, "i");
    EXPECT_EQ(m->cell_groups, nullptr);
}

}  // namespace
}  // namespace vorp

namespace vorp {
namespace {

// The last number below the limit is still given; the next one ends the
// run with status 1 and prints nothing.
TEST(NamingLimit, NumberingStopsSilentlyAtTenMillion) {
    test::DesignBuilder b{test::RingOrder::newest_then_oldest};
    Instance* first = b.inst(b.top, CELL_NAND, "x", 2);
    Instance* second = b.inst(b.top, CELL_NAND, "y", 2);
    first->next = nullptr;
    CellGroup one;
    one.first = first;
    const TakenNames taken(*b.top, true);
    EXPECT_EQ(number_group(b.d, &one, taken, 9999999), 10000000);
    EXPECT_STREQ(first->name, "nand-9999999");

    first->next = second;
    second->next = nullptr;
    const std::string printed_before = b.err.str();
    try {
        number_group(b.d, &one, taken, 9999999);
        FAIL() << "numbering went past the limit";
    } catch (const Fatal& fault) {
        EXPECT_EQ(fault.status, 1);
    }
    EXPECT_EQ(b.err.str(), printed_before);
}

}  // namespace
}  // namespace vorp
