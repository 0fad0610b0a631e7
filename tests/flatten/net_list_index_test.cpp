#include "flatten/net_list_index.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <sstream>
#include <vector>

#include "db/lists.h"

namespace vorp {
namespace {

std::vector<Net*> listed(const Module& m) {
    std::vector<Net*> nets;
    for (Net* n = m.nets; n; n = n->next) nets.push_back(n);
    return nets;
}

// Removals and pushes through the index leave the list exactly as the walk
// from the head and a plain push would, and refuse what the walk refuses.
TEST(NetListIndex, GivesTheAnswersOfTheWalk) {
    std::ostringstream err;
    Design d(err);
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937 rng(seed);
        Module indexed, walked;
        std::vector<Net*> a, b;
        const int count = 1 + static_cast<int>(rng() % 60);
        for (int i = 0; i < count; ++i) {
            a.push_back(d.make<Net>());
            b.push_back(d.make<Net>());
        }
        for (int i = count - 1; i >= 0; --i) {
            push_front(indexed.nets, a[i]);
            push_front(walked.nets, b[i]);
        }
        d.net_index = nullptr;
        NetListIndex index(indexed);
        Net* stranger = d.make<Net>();
        EXPECT_FALSE(index.unlink(stranger));
        for (int step = 0; step < 3 * count; ++step) {
            const std::size_t k = rng() % a.size();
            if (rng() % 4 == 0) {
                a.push_back(d.make<Net>());
                b.push_back(d.make<Net>());
                index.push_front(a.back());
                push_front(walked.nets, b.back());
            } else {
                EXPECT_EQ(index.unlink(a[k]), unlink_from(walked.nets, b[k])) << seed;
            }
            const std::vector<Net*> x = listed(indexed), y = listed(walked);
            ASSERT_EQ(x.size(), y.size());
            for (std::size_t i = 0; i < x.size(); ++i) {
                const auto at = std::find(a.begin(), a.end(), x[i]) - a.begin();
                const auto bt = std::find(b.begin(), b.end(), y[i]) - b.begin();
                ASSERT_EQ(at, bt) << "seed " << seed << " step " << step;
            }
        }
    }
}

TEST(NetListIndex, RemovalsGoThroughTheRunOnlyForItsModule) {
    std::ostringstream err;
    Design d(err);
    Module top, other;
    Net* n1 = d.make<Net>();
    Net* n2 = d.make<Net>();
    Net* n3 = d.make<Net>();
    push_front(top.nets, n2);
    push_front(top.nets, n1);
    push_front(other.nets, n3);
    {
        ScopedNetListIndex scope(d, top);
        ASSERT_NE(d.net_index, nullptr);
        EXPECT_TRUE(unlink_listed_net(d, top, n2));
        EXPECT_FALSE(unlink_listed_net(d, top, n2));   // already gone
        EXPECT_TRUE(unlink_listed_net(d, other, n3));  // walked
        EXPECT_EQ(top.nets, n1);
        EXPECT_EQ(n1->next, nullptr);
        EXPECT_EQ(other.nets, nullptr);
    }
    EXPECT_EQ(d.net_index, nullptr);
}

}  // namespace
}  // namespace vorp
