#include "rewrite/grouping.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::names_of_chain;
using test::RingOrder;
using Names = std::vector<std::string>;

std::vector<const CellGroup*> groups_of(const Module& m) {
    std::vector<const CellGroup*> out;
    for (const CellGroup* g = m.cell_groups; g; g = g->next) out.push_back(g);
    return out;
}

// The names of a gate tree in the writer's order: left, node, right.
void in_order(const CellGroup* g, Names& out) {
    if (!g) return;
    in_order(g->left, out);
    for (const Instance* i = g->first; i; i = i->next) out.push_back(i->name);
    in_order(g->right, out);
}

struct Grouping : ::testing::Test {
    DesignBuilder b{RingOrder::newest_then_oldest};
    Instance* kept(int cell, const char* name, int param = 0) {
        Instance* i = b.inst(b.top, cell, name, param);
        i->set_kept(true);
        return i;
    }
};

TEST_F(Grouping, GroupsInReverseOrderOfFirstMemberChainsInReverseListOrder) {
    kept(CELL_INV, "i1");
    kept(CELL_REG, "r1");
    kept(CELL_INV, "i2");
    kept(CELL_TS_BUF, "t1");
    kept(CELL_REG, "r2");
    kept(CELL_INV, "i3");
    build_cell_groups(b.d, *b.top);
    const auto groups = groups_of(*b.top);
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(names_of_chain(groups[0]->first), (Names{"t1"}));
    EXPECT_EQ(names_of_chain(groups[1]->first), (Names{"r2", "r1"}));
    EXPECT_EQ(names_of_chain(groups[2]->first), (Names{"i3", "i2", "i1"}));
    for (const CellGroup* g : groups) {
        EXPECT_EQ(g->left, nullptr);
        EXPECT_EQ(g->right, nullptr);
    }
}

TEST_F(Grouping, InstancesWithoutKeptAreDropped) {
    kept(CELL_INV, "i1");
    b.inst(b.top, CELL_INV, "gone");
    b.inst(b.top, CELL_NAND, "gone2", 2);
    kept(CELL_INV, "i2");
    build_cell_groups(b.d, *b.top);
    const auto groups = groups_of(*b.top);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(names_of_chain(groups[0]->first), (Names{"i2", "i1"}));
}

TEST_F(Grouping, TwoExclusiveOrGatesFormOneFlatGroup) {
    kept(CELL_EOR, "x1", 2);
    kept(CELL_EOR, "x2", 3);
    kept(CELL_ENOR, "x3", 2);
    kept(CELL_ENOR, "x4", 2);
    build_cell_groups(b.d, *b.top);
    const auto groups = groups_of(*b.top);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(names_of_chain(groups[0]->first), (Names{"x4", "x3"}));
    EXPECT_EQ(names_of_chain(groups[1]->first), (Names{"x2", "x1"}));
    for (const CellGroup* g : groups) EXPECT_EQ(g->left == nullptr && g->right == nullptr, true);
}

TEST_F(Grouping, NandGroupOfSizesTwoAndThreeIsATreeWithSizeTwoFirst) {
    kept(CELL_NAND, "big", 3);
    kept(CELL_NAND, "small", 2);
    build_cell_groups(b.d, *b.top);
    const auto groups = groups_of(*b.top);
    ASSERT_EQ(groups.size(), 1u);
    // Chain before sorting: small, big. small is the root, big goes right.
    const CellGroup* root = groups[0];
    EXPECT_EQ(names_of_chain(root->first), (Names{"small"}));
    EXPECT_EQ(root->left, nullptr);
    ASSERT_NE(root->right, nullptr);
    EXPECT_EQ(names_of_chain(root->right->first), (Names{"big"}));
    Names order;
    in_order(root, order);
    EXPECT_EQ(order, (Names{"small", "big"}));
}

TEST_F(Grouping, GateTreeOrdersBySizeAndReversesEqualSizesTwice) {
    kept(CELL_NOR, "a", 3);
    kept(CELL_NOR, "b", 2);
    kept(CELL_NOR, "c", 3);
    kept(CELL_NOR, "d", 4);
    kept(CELL_NOR, "e", 2);
    build_cell_groups(b.d, *b.top);
    // Chain e d c b a is inserted in that order: root e(2), d(4) right of it,
    // c(3) left of d, b joins e at the head, a joins c at the head.
    const CellGroup* root = b.top->cell_groups;
    EXPECT_EQ(names_of_chain(root->first), (Names{"b", "e"}));
    ASSERT_NE(root->right, nullptr);
    EXPECT_EQ(names_of_chain(root->right->first), (Names{"d"}));
    ASSERT_NE(root->right->left, nullptr);
    EXPECT_EQ(names_of_chain(root->right->left->first), (Names{"a", "c"}));
    Names order;
    in_order(root, order);
    EXPECT_EQ(order, (Names{"b", "e", "a", "c", "d"}));
}

TEST_F(Grouping, EveryTreeCellIsSortedAndOnlyThose) {
    for (int cell :
         {CELL_AND, CELL_NAND, CELL_OR, CELL_NOR, CELL_AOI, CELL_OAI, CELL_EOR, CELL_ENOR}) {
        DesignBuilder hb{RingOrder::newest_then_oldest};
        Instance* x = hb.inst(hb.top, cell, "x", 3);
        Instance* y = hb.inst(hb.top, cell, "y", 2);
        x->set_kept(true);
        y->set_kept(true);
        build_cell_groups(hb.d, *hb.top);
        const CellGroup* g = hb.top->cell_groups;
        const bool tree = cell != CELL_EOR && cell != CELL_ENOR;
        if (tree) {
            EXPECT_EQ(names_of_chain(g->first), (Names{"y"})) << cell;
            ASSERT_NE(g->right, nullptr) << cell;
            EXPECT_EQ(names_of_chain(g->right->first), (Names{"x"})) << cell;
        } else {
            EXPECT_EQ(names_of_chain(g->first), (Names{"y", "x"})) << cell;
            EXPECT_EQ(g->right, nullptr) << cell;
        }
    }
}

TEST_F(Grouping, SubModuleInstancesOfAFlattenedModuleStayAlone) {
    b.sub(b.top, "half", "h1")->inst->set_kept(true);
    b.sub(b.top, "half", "h2")->inst->set_kept(true);
    build_cell_groups(b.d, *b.top);
    const auto groups = groups_of(*b.top);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(names_of_chain(groups[0]->first), (Names{"h2"}));
    EXPECT_EQ(names_of_chain(groups[1]->first), (Names{"h1"}));
}

TEST_F(Grouping, SubModuleInstancesElsewhereGroupByModuleName) {
    b.top->set_kind(MOD_REFERENCE);
    b.sub(b.top, "half", "h1")->inst->set_kept(true);
    b.sub(b.top, "full", "f1")->inst->set_kept(true);
    b.sub(b.top, "half", "h2")->inst->set_kept(true);
    b.sub(b.top, "halfx", "h3")->inst->set_kept(true);
    build_cell_groups(b.d, *b.top);
    const auto groups = groups_of(*b.top);
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(names_of_chain(groups[0]->first), (Names{"h3"}));
    EXPECT_EQ(names_of_chain(groups[1]->first), (Names{"f1"}));
    EXPECT_EQ(names_of_chain(groups[2]->first), (Names{"h2", "h1"}));
}

TEST_F(Grouping, TreeInsertMakesGroupsFillsEmptyOnesAndClearsNext) {
    Instance* a = b.inst(b.top, CELL_NAND, "a", 2);
    Instance* c = b.inst(b.top, CELL_NAND, "c", 1);
    Instance* e = b.inst(b.top, CELL_NAND, "e", 2);
    ASSERT_NE(a->next, nullptr);
    CellGroup* root = tree_insert(b.d, a, nullptr);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->first, a);
    EXPECT_EQ(a->next, nullptr);
    EXPECT_EQ(tree_insert(b.d, c, root), root);
    ASSERT_NE(root->left, nullptr);
    EXPECT_EQ(root->left->first, c);
    EXPECT_EQ(c->next, nullptr);
    EXPECT_EQ(tree_insert(b.d, e, root), root);
    EXPECT_EQ(names_of_chain(root->first), (Names{"e", "a"}));
    CellGroup empty;
    EXPECT_EQ(tree_insert(b.d, c, &empty), &empty);
    EXPECT_EQ(empty.first, c);
}

}  // namespace
}  // namespace vorp
