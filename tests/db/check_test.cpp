#include "db/check.h"

#include <gtest/gtest.h>

#include <sstream>

#include "db/lists.h"

namespace vorp {
namespace {

// top: port a -> inverter i1 (in, nout) -> port y
struct Small {
    std::ostringstream err;
    Design d{err};
    Module* m = d.make<Module>();
    Instance* a = d.make<Instance>();
    Instance* i1 = d.make<Instance>();
    Net* n1 = d.make<Net>();
    Node* pa = d.make<Node>();
    Node* pin = d.make<Node>();
    Node* pout = d.make<Node>();

    Small() {
        d.modules = m;
        a->set_cell(CELL_PORT);
        a->node = pa;
        i1->set_cell(CELL_INV);
        pa->inst = a;
        pin->inst = i1;
        pout->inst = i1;
        pa->same_inst = pa;
        pin->same_inst = pout;
        pout->same_inst = pin;
        for (Node* n : {pin, pa}) {
            n->net = n1;
            push_front(n1->nodes, n);
        }
        n1->source = pa;
        push_front(m->nets, n1);
    }
};

TEST(CheckDesign, AcceptsAConsistentDesign) {
    Small s;
    EXPECT_EQ(check_design(s.d), "");
}

TEST(CheckDesign, FindsANodeThatPointsAtAnotherNet) {
    Small s;
    s.pin->net = nullptr;
    EXPECT_NE(check_design(s.d).find("does not point back"), std::string::npos);
}

TEST(CheckDesign, FindsASourceOnAnotherNet) {
    Small s;
    Net* n2 = s.d.make<Net>();
    s.pout->net = n2;
    push_front(n2->nodes, s.pout);
    push_front(s.m->nets, n2);
    s.n1->source = s.pout;
    EXPECT_NE(check_design(s.d).find("source"), std::string::npos);
}

TEST(CheckDesign, AcceptsASourceDroppedFromEveryNet) {
    Small s;
    s.n1->source = s.pout;  // pout is on no net, as a dissolved sticky's pin
    EXPECT_EQ(check_design(s.d), "");
}

TEST(CheckDesign, FindsAnOpenRing) {
    Small s;
    s.pout->same_inst = nullptr;
    EXPECT_NE(check_design(s.d).find("ring is open"), std::string::npos);
}

TEST(CheckDesign, FindsANodeOnTwoNets) {
    Small s;
    Net* n2 = s.d.make<Net>();
    n2->nodes = s.pin;  // pin is already on n1; its next leads on into n1's list
    push_front(s.m->nets, n2);
    EXPECT_FALSE(check_design(s.d).empty());
}

TEST(CheckDesign, FindsAPortNodeThatIsNotItsPortsNode) {
    Small s;
    s.a->node = nullptr;
    EXPECT_NE(check_design(s.d).find("port node"), std::string::npos);
}

}  // namespace
}  // namespace vorp
