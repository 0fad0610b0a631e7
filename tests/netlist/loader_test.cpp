#include "netlist/loader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "netlist/reader.h"
#include "tests/support/fixture.h"

namespace vorp {
namespace {

using test::TestDesign;

// Run a load and return the exit status of a fault, or -1.
int try_load(TestDesign& t, const test::Files& files, const char* top = "top") {
    try {
        t.load(files, top);
    } catch (const Fatal& f) {
        return f.status;
    }
    return -1;
}

// The "\tRead" lines of files under the test's directory, in order.
std::string reads(const TestDesign& t, std::initializer_list<const char*> files) {
    std::string out;
    for (const char* f : files) out += "\tRead " + t.dir.path() + "/" + f + "\n";
    return out;
}

std::vector<std::string> module_names(const Design& d) {
    std::vector<std::string> out;
    for (const Module* m = d.modules; m; m = m->next)
        out.push_back(std::string(m->name) + "/" + m->inst_name);
    return out;
}

TEST(Loader, BreadthFirstOneCopyPerInstance) {
    TestDesign t;
    const int status =
        try_load(t, {{"top.nld", "(def-module top (def-comp mid m1 m2) (def-comp inv- i))\n"},
                     {"mid.nld", "(def-module mid (def-comp leaf l) (def-comp inv- j))\n"},
                     {"leaf.nld", "(def-module leaf (def-comp inv- k))\n"}});
    ASSERT_EQ(status, -1) << t.err.str();
    EXPECT_EQ(module_names(t.d),
              (std::vector<std::string>{"top/top", "mid/m2", "mid/m1", "leaf/l", "leaf/l"}));
    EXPECT_EQ(t.d.inverter_count, 1 + 2 + 2);
    const std::string path = t.dir.path();
    EXPECT_EQ(t.err.str(), "\tRead " + path + "/top.nld\n\tRead " + path + "/mid.nld\n\tRead " +
                               path + "/leaf.nld\n");
    const Module* m2 = t.d.modules->next;
    EXPECT_EQ(m2->parent, t.d.modules);
    EXPECT_EQ(m2->inst->sub, m2);
    EXPECT_EQ(m2->kind(), MOD_NLD);
}

TEST(Loader, CopiesKeepOrderAndBindByName) {
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp sub s1 s2))\n"},
                           {"sub.nld",
                            "(def-module sub (def-pin a type input) (def-pin y type output) "
                            "(def-comp nand--2 g h) (def-net a g.x h.x) (def-net g.nout y))\n"}}),
              -1);
    const Module* read = t.d.modules->next;
    const Module* copy = read->next;
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy->ports->name, read->ports->name);
    EXPECT_STREQ(copy->insts->name, read->insts->name);
    const Net* rn = read->nets;
    const Net* cn = copy->nets;
    for (; rn && cn; rn = rn->next, cn = cn->next) {
        const Node* a = rn->nodes;
        const Node* b = cn->nodes;
        for (; a && b; a = a->next, b = b->next) {
            EXPECT_STREQ(a->pin, b->pin);
            EXPECT_STREQ(a->inst->name, b->inst->name);
            EXPECT_EQ(b->inst->owner, copy);
            EXPECT_EQ(b->net, cn);
            EXPECT_EQ(a->pin_type(), b->pin_type());
        }
        EXPECT_EQ(a, nullptr);
        EXPECT_EQ(b, nullptr);
    }
    EXPECT_EQ(rn, nullptr);
    EXPECT_EQ(cn, nullptr);
    // A port's node shares the port's name in copies too.
    EXPECT_EQ(copy->ports->node->pin, copy->ports->name);
}

TEST(Loader, SameInstanceRingsRunFirstLastToSecond) {
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld",
                            "(def-module top (def-comp nand--3 g) (def-net g.a) (def-net g.b g.c) "
                            "(def-net g.nout))\n"}}),
              -1);
    // Nets in memory: [g.nout], [g.c, g.b], [g.a]; g.nout is first.
    const Node* first = t.d.modules->nets->nodes;
    ASSERT_STREQ(first->pin, "nout");
    std::vector<std::string> ring;
    const Node* n = first;
    do {
        ring.push_back(n->pin);
        n = n->same_inst;
    } while (n != first);
    EXPECT_EQ(ring, (std::vector<std::string>{"nout", "a", "b", "c"}));
}

TEST(Loader, TooManyConnections) {
    TestDesign t;
    EXPECT_EQ(
        try_load(t,
                 {{"top.nld",
                   "(def-module top (def-comp inv- i) (def-net i.in) (def-net i.nout i.in))\n"}}),
        1);
    EXPECT_NE(t.err.str().find("/top.nld\", i appears 3 times in def-net\n"), std::string::npos);
    TestDesign four;
    EXPECT_EQ(
        try_load(four, {{"top.nld",
                         "(def-module top (def-comp nand--2 g) (def-net g.a g.b g.c g.nout))\n"}}),
        1);
    EXPECT_NE(four.err.str().find("g appears 4 times"), std::string::npos);
    TestDesign three;
    EXPECT_EQ(
        try_load(three,
                 {{"top.nld", "(def-module top (def-comp nand--2 g) (def-net g.a g.b g.nout))\n"}}),
        -1);
}

TEST(Loader, RecursionEndsSilently) {
    TestDesign self;
    EXPECT_EQ(try_load(self, {{"top.nld", "(def-module top (def-comp a u))\n"},
                              {"a.nld", "(def-module a (def-comp a u))\n"}}),
              1);
    EXPECT_EQ(self.err.str().find("undefined"), std::string::npos);
    TestDesign siblings;
    EXPECT_EQ(try_load(siblings, {{"top.nld", "(def-module top (def-comp a u v))\n"},
                                  {"a.nld", "(def-module a)\n"}}),
              -1);
}

TEST(Loader, TopIsSearchedOnlyAsNldInReadDirectories) {
    TestDesign pcd;
    EXPECT_EQ(try_load(pcd, {{"top.pcd", "(def-module top)\n"}}), 1);
    EXPECT_EQ(pcd.err.str(), "Could not find \"top.nld\"\n");
    TestDesign ref;
    ref.add_read_dir("r");
    ref.add_ref_dir("x");
    EXPECT_EQ(try_load(ref, {{"x/top.nld", "(def-module top)\n"}}), 1);
    EXPECT_EQ(ref.err.str(), "Could not find \"top.nld\"\n");
}

TEST(Loader, PcdAnywhereWinsOverNld) {
    TestDesign t;
    t.add_read_dir("r");
    t.add_ref_dir("x");
    ASSERT_EQ(try_load(t, {{"r/top.nld", "(def-module top (def-comp sub s))\n"},
                           {"r/sub.nld", "(def-module sub (def-comp deeper d))\n"},
                           {"x/sub.pcd", "(def-module sub (def-pin p type input))\n"}}),
              -1)
        << t.err.str();
    EXPECT_EQ(t.d.modules->next->kind(), MOD_PCD);
    EXPECT_EQ(t.d.modules->next->next, nullptr);
}

TEST(Loader, ReferenceDirectoryModulesAreKind311) {
    TestDesign t;
    t.add_read_dir("r");
    t.add_ref_dir("x");
    ASSERT_EQ(try_load(t, {{"r/top.nld", "(def-module top (def-comp lib l))\n"},
                           {"x/lib.nld", "(def-module lib)\n"}}),
              -1);
    EXPECT_EQ(t.d.modules->next->kind(), MOD_REFERENCE);
}

TEST(Loader, MissingSubModule) {
    TestDesign t;
    EXPECT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp gone g))\n"}}), 1);
    EXPECT_NE(t.err.str().find("Could not find \"gone.pcd/nld\"\n"), std::string::npos);
}

TEST(Loader, ModuleWithoutPortsCopiesWithoutPorts) {
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp e a b))\n"},
                           {"e.nld", "(def-module e)\n"}}),
              -1);
    EXPECT_EQ(t.d.modules->next->next->ports, nullptr);
}

TEST(Loader, DirectoryOpensAsAnEmptyFile) {
    TestDesign t;
    t.dir.mkdir("top.nld");
    EXPECT_EQ(try_load(t, {}), 1);
    EXPECT_EQ(t.err.str(), "\"" + t.dir.path() + "/top.nld\", line 1: error\n");
}

TEST(Loader, MakePathPutsTheDirectoryFirst) {
    std::ostringstream err;
    Design d(err);
    EXPECT_STREQ(make_path(d, "name", "dir", "nld"), "dir/name.nld");
}

TEST(Loader, ThreeInstancesReadOnceAndCopiedTwice) {
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp sub a b c) (def-comp inv- x))\n"},
                           {"sub.nld", "(def-module sub (def-comp inv- i j))\n"}}),
              -1);
    const std::string path = t.dir.path();
    EXPECT_EQ(t.err.str(), "\tRead " + path + "/top.nld\n\tRead " + path + "/sub.nld\n");
    EXPECT_EQ(t.d.inverter_count, 1 + 3 * 2);
    EXPECT_EQ(module_names(t.d), (std::vector<std::string>{"top/top", "sub/c", "sub/b", "sub/a"}));
    // Each instance owns a distinct module; the copies keep the source's order.
    const Module* c = t.d.modules->next;
    const Module* b = c->next;
    EXPECT_NE(c->insts, b->insts);
    EXPECT_STREQ(b->insts->name, "j");
    EXPECT_STREQ(b->insts->next->name, "i");
    EXPECT_EQ(b->kind(), MOD_NLD);
    EXPECT_EQ(b->parent, t.d.modules);
    EXPECT_EQ(b->inst_name, b->inst->name);
    EXPECT_EQ(t.d.modules->inst, nullptr);
    EXPECT_EQ(t.d.modules->parent, nullptr);
    EXPECT_EQ(t.d.modules->inst_name, t.d.modules->name);
}

TEST(Loader, PinCountMessageNamesTheFileAndTheCount) {
    TestDesign t;
    EXPECT_EQ(
        try_load(t,
                 {{"top.nld", "(def-module top (def-comp sub s))\n"},
                  {"sub.nld",
                   "(def-module sub (def-comp inv- i) (def-net i.in) (def-net i.nout i.in))\n"}}),
        1);
    const std::string path = t.dir.path();
    EXPECT_EQ(t.err.str(), "\tRead " + path + "/top.nld\n\tRead " + path + "/sub.nld\n\"" + path +
                               "/sub.nld\", i appears 3 times in def-net\n");
}

TEST(Loader, PinCountsByCell) {
    struct Case {
        const char* comp;
        const char* pins;  // connections of instance g, one net each
        int status;
    };
    for (const Case& c : std::vector<Case>{
             {"ninv-", "in out", -1},
             {"ninv-", "in out in", 1},
             {"and--3", "a b c out", -1},
             {"and--3", "a b c d out", 1},
             {"eor--2", "in1 in2 out in1", 1},
             {"enor--2", "in1 nout", -1},
             {"aoi--21", "a b c nout", -1},
             {"aoi--21", "a b c d nout", 1},
             {"oai--222", "a b c d e f nout", -1},
             {"oai--222", "a b c d e f g nout", 1},
             {"aoi--33", "a b c d e f nout x", 1},
             // The count limit uses the number kept modulo 256.
             {"nand--257", "a nout", -1},
             {"nand--256", "a nout", 1},
             // Registers, buffers and sub-modules are not counted.
             {"reg-1", "in in in in out out nout", -1},
             {"ts_buf-", "in in in out", -1},
             {"sub", "x y z w v", -1},
         }) {
        std::string nets;
        std::istringstream pins(c.pins);
        int count = 0;
        for (std::string pin; pins >> pin; ++count) nets += " (def-net g." + pin + ")";
        TestDesign t;
        const int status = try_load(t, {{"top.nld", std::string("(def-module top (def-comp ") +
                                                        c.comp + " g)" + nets + ")\n"},
                                        {"sub.nld", "(def-module sub)\n"}});
        EXPECT_EQ(status, c.status) << c.comp << " " << c.pins;
        if (status == 1) {
            EXPECT_NE(t.err.str().find(", g appears " + std::to_string(count) + " times"),
                      std::string::npos)
                << t.err.str();
        }
    }
}

TEST(Loader, FirstRefusedInstanceInNetOrderIsReported) {
    TestDesign t;
    // In memory the nets run [j, i, i], [j, j, i]: j is met first.
    EXPECT_EQ(try_load(t, {{"top.nld",
                            "(def-module top (def-comp inv- i j) (def-net i.in j.in j.in) "
                            "(def-net i.in i.in j.in))\n"}}),
              1);
    EXPECT_NE(t.err.str().find(", j appears 3 times in def-net\n"), std::string::npos);
    EXPECT_EQ(t.err.str().find(", i appears"), std::string::npos);
}

TEST(Loader, PortNodesStayAloneAndFewerConnectionsPass) {
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld",
                            "(def-module top (def-pin a type input) (def-comp nand--3 g) "
                            "(def-net a g.x) (def-net a))\n"}}),
              -1);
    for (const Net* net = t.d.modules->nets; net; net = net->next)
        for (const Node* n = net->nodes; n; n = n->next) EXPECT_EQ(n->same_inst, n);
}

TEST(Loader, MutualRecursionEndsSilently) {
    TestDesign t;
    EXPECT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp a u))\n"},
                           {"a.nld", "(def-module a (def-comp b v))\n"},
                           {"b.nld", "(def-module b (def-comp a w))\n"}}),
              1);
    EXPECT_EQ(t.err.str(), reads(t, {"top.nld", "a.nld", "b.nld"}));
}

TEST(Loader, ModulesAreMatchedByTheirDeclaredName) {
    // Files s1 and s2 both declare module x: the second instance reads its own
    // file, and an instance of x copies the first module named x.
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld",
                            "(def-module top (def-comp x w) (def-comp s2 v) "
                            "(def-comp s1 u))\n"},
                           {"s1.nld", "(def-module x (def-comp inv- one))\n"},
                           {"s2.nld", "(def-module x (def-comp inv- a b))\n"},
                           {"x.nld", "(def-module x (def-comp inv- p q r s))\n"}}),
              -1)
        << t.err.str();
    EXPECT_EQ(t.err.str(), reads(t, {"top.nld", "s1.nld", "s2.nld"}));
    EXPECT_EQ(t.d.inverter_count, 1 + 2 + 1);
    const Module* w = t.d.modules->next->next->next;
    EXPECT_STREQ(w->inst_name, "w");
    EXPECT_STREQ(w->insts->name, "one");
}

TEST(Loader, RecursionComparesDeclaredNames) {
    // The file alias.nld declares module sub, whose instance of top is recursion.
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp inv- i) (def-comp alias a))\n"},
                           {"alias.nld", "(def-module sub (def-comp top t))\n"}}),
              1);
    EXPECT_EQ(t.err.str(), reads(t, {"top.nld", "alias.nld"}));
}

TEST(Loader, SearchOrderOfSubModules) {
    TestDesign t;
    t.add_read_dir("r1");
    t.add_read_dir("r2");
    t.add_ref_dir("x1");
    t.add_ref_dir("x2");
    ASSERT_EQ(try_load(t, {{"r1/top.nld",
                            "(def-module top (def-comp d l) (def-comp c k) (def-comp b j) "
                            "(def-comp a i))\n"},
                           {"r2/top.nld", "(def-module top)\n"},
                           {"x2/a.pcd", "(def-module a)\n"},
                           {"r2/a.nld", "(def-module a)\n"},
                           {"x1/b.nld", "(def-module b)\n"},
                           {"r2/b.pcd", "(def-module b)\n"},
                           {"r1/b.pcd", "(def-module b)\n"},
                           {"x2/c.nld", "(def-module c)\n"},
                           {"r2/d.nld", "(def-module d)\n"},
                           {"x1/d.nld", "(def-module d)\n"}}),
              -1)
        << t.err.str();
    EXPECT_EQ(t.err.str(),
              reads(t, {"r1/top.nld", "x2/a.pcd", "r1/b.pcd", "x2/c.nld", "r2/d.nld"}));
    std::vector<int> kinds;
    for (const Module* m = t.d.modules; m; m = m->next) kinds.push_back(m->kind());
    EXPECT_EQ(kinds, (std::vector<int>{MOD_NLD, MOD_PCD, MOD_PCD, MOD_REFERENCE, MOD_NLD}));
}

TEST(Loader, PcdModulesAreLeaves) {
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp leaf l))\n"},
                           {"leaf.pcd", "(def-module leaf (def-comp missing m))\n"}}),
              -1)
        << t.err.str();
    EXPECT_EQ(t.d.modules->next->insts, nullptr);
    EXPECT_EQ(t.d.modules->next->next, nullptr);
}

TEST(Loader, NotFoundLeavesTheLastTriedPath) {
    TestDesign t;
    t.add_read_dir("r");
    t.add_ref_dir("x");
    EXPECT_EQ(try_load(t, {{"r/top.nld", "(def-module top (def-comp gone g))\n"}}), 1);
    EXPECT_EQ(t.err.str(),
              "\tRead " + t.dir.path() + "/r/top.nld\nCould not find \"gone.pcd/nld\"\n");
    EXPECT_EQ(std::string(t.d.cur_path), t.dir.path() + "/x/gone.nld");
    TestDesign top;
    top.add_read_dir("r1");
    top.add_read_dir("r2");
    EXPECT_EQ(try_load(top, {}), 1);
    EXPECT_EQ(std::string(top.d.cur_path), top.dir.path() + "/r2/top.nld");
}

TEST(Loader, ReaderFaultsEndTheLoad) {
    TestDesign t;
    EXPECT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp sub s))\n"},
                           {"sub.nld", "(def-module sub\n(def-net nowhere.in))\n"}}),
              1);
    EXPECT_EQ(t.err.str(), "\tRead " + t.dir.path() + "/top.nld\n\"" + t.dir.path() +
                               "/sub.nld\", line 2: nowhere undefined\n");
}

TEST(Loader, CopiedNodesStartWithoutMarks) {
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp sub s1 s2))\n"},
                           {"sub.nld",
                            "(def-module sub (def-pin a type input note clock) "
                            "(def-comp nand--2 g) (def-net a g.x g.y))\n"}}),
              -1);
    const Module* read = t.d.modules->next;
    read->nets->nodes->set_pols(-1, 1);
    const Module* copy = read->next;
    for (const Node* n = copy->nets->nodes; n; n = n->next) {
        EXPECT_EQ(n->pol_a(), 0);
        EXPECT_EQ(n->pol_b(), 0);
        EXPECT_EQ(n->peer, nullptr);
    }
    EXPECT_EQ(copy->ports->note(), KW_CLOCK);
    EXPECT_EQ(copy->ports->pin_type(), KW_INPUT);
    EXPECT_EQ(copy->ports->cell(), CELL_PORT);
    EXPECT_EQ(copy->insts->param(), 2);
    // The copy's rings are built as for a read module.
    const Node* first = copy->nets->nodes;
    EXPECT_EQ(first->same_inst->same_inst, first);
    EXPECT_NE(first->same_inst, first);
}

TEST(Loader, DuplicateNamesBindToTheFirstInListOrder) {
    TestDesign t;
    ASSERT_EQ(try_load(t, {{"top.nld", "(def-module top (def-comp sub s1 s2))\n"},
                           {"sub.nld",
                            "(def-module sub (def-pin p type input) "
                            "(def-pin p type output) (def-comp inv- i) "
                            "(def-comp nand--2 i) (def-net i.a p))\n"}}),
              -1)
        << t.err.str();
    const Module* copy = t.d.modules->next->next;
    const Node* port_node = copy->nets->nodes;
    const Node* gate_node = port_node->next;
    EXPECT_EQ(port_node->inst, copy->ports);
    EXPECT_EQ(copy->ports->pin_type(), KW_OUTPUT);
    EXPECT_EQ(copy->ports->next->node, nullptr);
    EXPECT_EQ(gate_node->inst, copy->insts);
    EXPECT_EQ(copy->insts->cell(), CELL_NAND);
    EXPECT_EQ(copy->insts->next->node, nullptr);
}

}  // namespace
}  // namespace vorp
