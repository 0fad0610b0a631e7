// Merges that append to a net through the net-list index, which keeps each
// net's last node, must leave the nets exactly as merges that walk to the
// end do.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "flatten/net_list_index.h"
#include "flatten/net_merge.h"
#include "flatten/net_ops.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;

// A net of many loads, some of them inverters whose output nets carry loads
// and further inverters, so that folding appends to the net again and again,
// its last node leaves it, and chains of inverters fold in one walk.
void build_fan(DesignBuilder& b, unsigned seed) {
    std::mt19937 rng(seed);
    Net* fan = b.net();
    b.drive(fan, b.inst(CELL_NAND, "d"), "nout");
    const int loads = 1 + static_cast<int>(rng() % 40);
    for (int k = 0; k < loads; ++k) {
        const std::string name = "l" + std::to_string(k);
        if (rng() % 2) {
            b.load(fan, b.inst(CELL_NAND, name.c_str()), "a", rng() % 3 ? 1 : -1);
            continue;
        }
        Net* at = fan;
        for (int depth = 0; depth == 0 || rng() % 3 == 0; ++depth) {
            Instance* inv = b.inst(CELL_INV, (name + "i" + std::to_string(depth)).c_str());
            b.load(at, inv, "in", 1);
            at = b.net();
            b.drive(at, inv, "nout");
            for (unsigned j = rng() % 3; j > 0; --j)
                b.load(at, b.inst(CELL_NAND, (name + "g" + std::to_string(j)).c_str()), "a", 1);
        }
    }
}

// Fold every inverter met while walking the first net, from the node the
// merge hands back; with `indexed`, through the index and with the node
// before each inverter given.
bool fold_fan(DesignBuilder& b, bool indexed) {
    Net* fan = b.top->nets;
    for (Node *n = fan->nodes, *before = nullptr; n;) {
        if (n->inst->cell() != CELL_INV || n->same_inst == n) {
            before = n;
            n = n->next;
            continue;
        }
        n = merge_net(b.d, n, n->same_inst, *b.top, indexed ? before : nullptr);
        if (!n) return false;
    }
    return true;
}

TEST(NetTails, MergesThroughTheIndexGiveTheNetsOfTheWalk) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        DesignBuilder walked, indexed;
        build_fan(walked, seed);
        build_fan(indexed, seed);
        ASSERT_EQ(dump_nets(*walked.top), dump_nets(*indexed.top));
        const bool walked_ok = fold_fan(walked, false);
        bool indexed_ok = false;
        {
            ScopedNetListIndex index(indexed.d, *indexed.top);
            indexed_ok = fold_fan(indexed, true);
        }
        EXPECT_EQ(walked_ok, indexed_ok) << seed;
        EXPECT_EQ(dump_nets(*walked.top), dump_nets(*indexed.top)) << seed;
        // Something was folded: only the first net is left of the inverters'.
        EXPECT_EQ(indexed.top->nets->next, nullptr) << seed;
    }
}

// A hint that is not the node before is not trusted.
TEST(NetTails, AWrongHintFallsBackToTheWalk) {
    DesignBuilder b;
    Net* net = b.net();
    Node* d = b.drive(net, b.inst(CELL_NAND, "d"), "nout");
    Node* x = b.load(net, b.inst(CELL_NAND, "x"), "a", 1);
    Node* y = b.load(net, b.inst(CELL_NAND, "y"), "a", 1);
    Node* z = b.load(net, b.inst(CELL_NAND, "z"), "a", 1);
    ASSERT_TRUE(unlink_node(b.d, z, x));
    EXPECT_EQ(y->next, nullptr);
    ASSERT_TRUE(unlink_node(b.d, x, y));
    EXPECT_EQ(net->nodes, d);
    EXPECT_EQ(d->next, y);
    EXPECT_EQ(y->next, nullptr);
}

}  // namespace
}  // namespace vorp
