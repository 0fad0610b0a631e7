// The loader's name indexes and per-instance grouping against the plain
// linear searches they replace, on random modules full of repeated names.
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "netlist/loader.h"
#include "netlist/module_copy.h"
#include "netlist/reader.h"

namespace vorp {
namespace {

template <class T>
const T& pick(std::mt19937& rng, const std::vector<T>& from) {
    return from[std::uniform_int_distribution<std::size_t>(0, from.size() - 1)(rng)];
}

int roll(std::mt19937& rng, int lo, int hi) {
    return std::uniform_int_distribution<int>(lo, hi)(rng);
}

// A module whose instance names repeat across forms and whose ports repeat
// too; every connection is valid for the reader ("in" and "nout" are pins of
// every cell used).
std::string random_module(std::mt19937& rng) {
    static const std::vector<std::string> cells = {"inv-", "nand--2", "and--3", "sub",
                                                   "sub",  "reg-1",   "reg-1"};
    static const std::vector<std::string> inst_names = {"a", "b", "c", "d", "e"};
    static const std::vector<std::string> port_names = {"p", "q"};
    static const std::vector<std::string> pins = {"in", "nout"};
    std::ostringstream text;
    text << "(def-module m\n";
    const int ports = roll(rng, 0, 3);
    std::vector<std::string> declared_ports;
    for (int i = 0; i < ports; ++i) {
        declared_ports.push_back(pick(rng, port_names));
        text << " (def-pin " << declared_ports.back() << " type input)\n";
    }
    std::vector<std::string> declared;
    const int forms = roll(rng, 1, 4);
    for (int f = 0; f < forms; ++f) {
        text << " (def-comp " << pick(rng, cells);
        const int count = roll(rng, 1, 3);
        for (int i = 0; i < count; ++i) {
            declared.push_back(pick(rng, inst_names));
            text << ' ' << declared.back();
        }
        text << ")\n";
    }
    const int nets = roll(rng, 1, 6);
    for (int n = 0; n < nets; ++n) {
        text << " (def-net";
        const int nodes = roll(rng, 0, 4);
        for (int i = 0; i < nodes; ++i) {
            if (ports > 0 && roll(rng, 0, 3) == 0)
                text << ' ' << pick(rng, declared_ports);
            else
                text << ' ' << pick(rng, declared) << '.' << pick(rng, pins);
        }
        text << ")\n";
    }
    text << ")\n";
    return text.str();
}

// One random module read from "r.nld" into a design of its own.
struct RandomRead {
    std::ostringstream err;
    Design d{err};
    std::string text;
    Module* module = nullptr;
    explicit RandomRead(std::mt19937& rng) : text(random_module(rng)) {
        d.cur_path = "r.nld";
        module = read_nld(d, text);
    }
};

std::vector<Node*> nodes_of(const Module& m) {
    std::vector<Node*> out;
    for (Net* net = m.nets; net; net = net->next)
        for (Node* n = net->nodes; n; n = n->next) out.push_back(n);
    return out;
}

int literal_pin_limit(const Instance& inst) {
    const int cell = inst.cell();
    if (cell == CELL_INV || cell == CELL_NINV) return 2;
    if (cell >= CELL_AND && cell <= CELL_ENOR) return inst.param() + 1;
    return 0;
}

// The rings and the check as a direct walk: each instance's first node
// searches every later node for others of its instance.
std::string literal_check_nets(Module& m) {
    for (Node* n : nodes_of(m)) n->same_inst = n;
    for (Net* net = m.nets; net; net = net->next) {
        for (Node* n = net->nodes; n; n = n->next) {
            if (n->same_inst != n || n->inst->cell() == CELL_PORT) continue;
            int k = 0;
            auto take = [&](Node* x) {
                if (x->inst != n->inst) return;
                x->same_inst = n->same_inst;
                n->same_inst = x;
                ++k;
            };
            for (Node* x = n->next; x; x = x->next) take(x);
            for (Net* later = net->next; later; later = later->next)
                for (Node* x = later->nodes; x; x = x->next) take(x);
            const int limit = literal_pin_limit(*n->inst);
            if (limit != 0 && k + 1 > limit)
                return std::string("\"r.nld\", ") + n->inst->name + " appears " +
                       std::to_string(k + 1) + " times in def-net\n";
        }
    }
    return "";
}

TEST(IndexedLookups, CheckNetsEqualsTheDirectWalk) {
    std::mt19937 rng(12345);
    int passed = 0, refused = 0;
    for (int round = 0; round < 3000; ++round) {
        RandomRead read(rng);
        Design& d = read.d;
        const std::string& text = read.text;
        Module* m = read.module;
        std::vector<Node*> attached;
        for (Instance* i = m->insts; i; i = i->next) attached.push_back(i->node);
        std::vector<Node*> read_rings;
        for (Node* n : nodes_of(*m)) read_rings.push_back(n->same_inst);
        const bool over_limit = d.pins_over_limit;
        const CopyPlan plan = plan_copy(*m);
        try {
            check_nets(d, *m);
        } catch (const Fatal& f) {
            EXPECT_EQ(f.status, 1);
        }
        // The instances keep the node last attached to them.
        std::vector<Node*> after;
        for (Instance* i = m->insts; i; i = i->next) after.push_back(i->node);
        ASSERT_EQ(after, attached) << text;
        std::vector<Node*> rings;
        for (Node* n : nodes_of(*m)) rings.push_back(n->same_inst);
        const std::string expected = literal_check_nets(*m);
        ASSERT_EQ(read.err.str(), expected) << text;
        // The reader flags exactly the files that the check refuses.
        ASSERT_EQ(over_limit, !expected.empty()) << text;
        if (!expected.empty()) {
            ++refused;
            continue;
        }
        // The reader built the rings the check builds.
        ASSERT_EQ(read_rings, rings) << text;
        ++passed;
        std::vector<Node*> literal;
        for (Node* n : nodes_of(*m)) literal.push_back(n->same_inst);
        ASSERT_EQ(rings, literal) << text;

        // A copy lists its nodes in the source's order and attaches them in
        // that order: its instances keep the last one too.
        Module* copy = copy_module(d, plan);
        std::vector<Node*> copy_attached;
        for (Instance* i = copy->insts; i; i = i->next) copy_attached.push_back(i->node);
        std::vector<Node*> copied_rings;
        for (Node* n : nodes_of(*copy)) copied_rings.push_back(n->same_inst);
        ASSERT_EQ(plan.refused, CopyPlan::kNone) << text;
        check_nets(d, *copy);
        std::vector<Node*> copy_after, copy_rings;
        for (Instance* i = copy->insts; i; i = i->next) copy_after.push_back(i->node);
        ASSERT_EQ(copy_after, copy_attached) << text;
        for (Node* n : nodes_of(*copy)) copy_rings.push_back(n->same_inst);
        ASSERT_EQ(literal_check_nets(*copy), "");
        std::vector<Node*> copy_literal;
        for (Node* n : nodes_of(*copy)) copy_literal.push_back(n->same_inst);
        ASSERT_EQ(copy_rings, copy_literal) << text;
        ASSERT_EQ(copied_rings, copy_rings) << text;
    }
    // Both outcomes must have been exercised for the comparison to mean anything.
    EXPECT_GT(passed, 500);
    EXPECT_GT(refused, 200);
}

// A copy binds by name to the first record of each name, where the file
// bound to the latest declared: a copy may be refused where its source was
// not. The plan refuses what the check refuses on the copy, with its count.
TEST(IndexedLookups, CopyPlanRefusesWhatTheCheckRefusesOnTheCopy) {
    std::mt19937 rng(4242);
    int refused = 0;
    for (int round = 0; round < 3000; ++round) {
        RandomRead read(rng);
        Design& d = read.d;
        const Module* source = read.module;
        const CopyPlan plan = plan_copy(*source);
        Module* copy = copy_module(d, plan);
        const std::string expected = literal_check_nets(*copy);
        std::ostringstream planned;
        if (plan.refused != CopyPlan::kNone)
            planned << "\"r.nld\", " << plan.records[plan.refused]->name << " appears "
                    << plan.refused_count << " times in def-net\n";
        ASSERT_EQ(planned.str(), expected);
        refused += !expected.empty();
    }
    EXPECT_GT(refused, 200);
}

TEST(IndexedLookups, CopyBindsLikeTheLinearSearches) {
    std::mt19937 rng(777);
    int duplicated = 0;
    for (int round = 0; round < 2000; ++round) {
        RandomRead read(rng);
        Design& d = read.d;
        const std::string& text = read.text;
        const Module* source = read.module;
        const int inverters = d.inverter_count;
        const Module* copy = copy_module(d, *source);
        int copied_inverters = 0;
        for (const Instance* i = copy->insts; i; i = i->next) {
            copied_inverters += i->cell() == CELL_INV;
            if (find_inst(i->name, *copy) != i) ++duplicated;
        }
        EXPECT_EQ(d.inverter_count, 2 * inverters);
        EXPECT_EQ(copied_inverters, inverters);

        std::vector<const Instance*> last_node_owner;
        const Net* sn = source->nets;
        const Net* cn = copy->nets;
        for (; sn && cn; sn = sn->next, cn = cn->next) {
            const Node* s = sn->nodes;
            const Node* c = cn->nodes;
            for (; s && c; s = s->next, c = c->next) {
                const bool on_port = s->inst->cell() == CELL_PORT;
                const Instance* expected =
                    on_port ? find_port(s->pin, *copy) : find_inst(s->inst->name, *copy);
                ASSERT_EQ(c->inst, expected) << text;
                EXPECT_EQ(c->inst->owner, copy);
                EXPECT_EQ(c->net, cn);
                EXPECT_EQ(c->pin_type(), s->pin_type());
                if (on_port)
                    EXPECT_EQ(c->pin, c->inst->name);
                else
                    EXPECT_STREQ(c->pin, s->pin);
            }
            EXPECT_EQ(s, nullptr);
            EXPECT_EQ(c, nullptr);
        }
        EXPECT_EQ(sn, nullptr);
        EXPECT_EQ(cn, nullptr);

        // Each bound record's node is the last node bound to it.
        std::vector<std::pair<const Instance*, const Node*>> last;
        for (const Node* n : nodes_of(*copy)) {
            bool found = false;
            for (auto& entry : last)
                if (entry.first == n->inst) entry.second = n, found = true;
            if (!found) last.emplace_back(n->inst, n);
        }
        for (const auto& [inst, node] : last) EXPECT_EQ(inst->node, node);
        for (const Instance* i = copy->insts; i; i = i->next) {
            bool bound = false;
            for (const auto& entry : last) bound |= entry.first == i;
            if (!bound) {
                EXPECT_EQ(i->node, nullptr);
            }
        }
    }
    EXPECT_GT(duplicated, 1000);
}

}  // namespace
}  // namespace vorp
