#include "reduce/group_nets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "reduce/counting.h"
#include "reduce/reduction.h"
#include "reduce/top_graph.h"
#include "tests/support/design_builder.h"

namespace vorp {
namespace {

using test::DesignBuilder;
using test::dump_state;

// A port joined to two nets: its second node names the port but lies
// outside the port's ring, as the reader leaves it.
//   p -> a -> g.i0 (an and- gate), g.out -> y
//   p (second node) -> b -> x.in1 (-1), x.in2 (+1); x.out -> z
struct PortOnTwoNets {
    DesignBuilder b;
    Instance* p = b.port("p", KW_INPUT);
    Instance* y = b.port("y", KW_OUTPUT);
    Instance* z = b.port("z", KW_OUTPUT);
    Instance* g = b.inst(CELL_AND, "g");
    Instance* x = b.inst(CELL_EOR, "x");
    Net* a = b.net();
    Net* second = b.net();
    Net* out = b.net();
    Net* xout = b.net();
    Node* stray = nullptr;

    PortOnTwoNets() {
        b.drive(a, p, "p", KW_INPUT);
        b.load(a, g, "i0", 1);
        stray = b.d.make<Node>();
        stray->set_pin_type(KW_INPUT);
        stray->inst = p;
        stray->pin = p->name;
        stray->net = second;
        push_back(second->nodes, stray);
        second->source = stray;
        b.load(second, x, "in1", -1);
        b.load(second, x, "in2", 1);
        b.drive(out, g, "out");
        b.load(out, y, "y", 1);
        b.drive(xout, x, "out");
        b.load(xout, z, "z", 1);
    }
};

// What settling walks for a group: every signal net whose source node's
// instance belongs to it, in list order.
std::vector<Net*> nets_driven_by(const Module& top, const Instance* leader) {
    std::vector<Net*> nets;
    for (Net* net = top.nets; net; net = net->next)
        if (is_signal_net(net) && net->source && net->source->inst &&
            net->source->inst->group == leader)
            nets.push_back(net);
    return nets;
}

TEST(GroupNets, NetDrivenByANodeOutsideItsInstancesRingJoinsThatInstancesGroup) {
    PortOnTwoNets t;
    build_groups(*t.b.top);
    ASSERT_EQ(t.x->group, t.p->group);
    TopGraph graph;
    graph.build(t.b.d, *t.b.top);
    EXPECT_EQ(graph.member_of(t.stray->seq - 1), TopGraph::NONE);
    GroupNets group_nets;
    group_nets.build(graph);
    for (const Instance* g = t.b.top->groups; g; g = g->next_group) {
        const auto span = group_nets.of(g);
        EXPECT_EQ(std::vector<Net*>(span.begin(), span.end()), nets_driven_by(*t.b.top, g))
            << "group led by " << g->name;
    }
    const auto of_p = group_nets.of(t.p->group);
    EXPECT_NE(std::find(of_p.begin(), of_p.end(), t.second), of_p.end());
}

// The first settling absorbs the inverted exclusive-or input on the second
// net whichever reduction runs.
TEST(GroupNets, BothReductionsSettleTheSecondNetOfAPort) {
    std::string state[2];
    for (const bool literal : {true, false}) {
        PortOnTwoNets t;
        t.b.d.has_xor = 1;
        ReduceParams params;
        params.literal = literal;
        EXPECT_EQ(red_inv(t.b.d, params), 1);
        EXPECT_EQ(t.second->nodes->next->pol_a(), 1) << (literal ? "literal" : "fast");
        state[literal] = dump_state(t.b.d);
    }
    EXPECT_EQ(state[0], state[1]);
}

}  // namespace
}  // namespace vorp
