#include "netlist/loader.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace vorp
