// The reader's binding of connections to ports and instances, on random
// modules whose names are long, share their first sixteen bytes or end
// around them, and repeat: each connection must bind the record its own name
// finds by a walk of the lists, the rings must run in reading order, and the
// pin-count verdict must be the count's.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "db/queries.h"
#include "netlist/reader.h"
#include "netlist/record_index.h"

namespace vorp {
namespace {

int roll(std::mt19937& rng, int lo, int hi) {
    return std::uniform_int_distribution<int>(lo, hi)(rng);
}

// Names of 1 to 40 bytes, many sharing their first sixteen bytes.
std::vector<std::string> name_pool(std::mt19937& rng) {
    const std::string stem = "abcdefghijklmnop";  // sixteen bytes
    std::vector<std::string> pool;
    for (int k = 0; k < 12; ++k) {
        const int size = roll(rng, 0, 3) == 0 ? roll(rng, 1, 40) : roll(rng, 14, 19);
        std::string name = stem.substr(0, std::min<std::size_t>(size, stem.size()));
        while (name.size() < static_cast<std::size_t>(size))
            name += static_cast<char>('a' + roll(rng, 0, 2));
        if (roll(rng, 0, 4) == 0 && !name.empty()) name.back() = 'z';
        pool.push_back(name);
    }
    return pool;
}

struct ModuleText {
    std::string text;
    std::vector<std::string> connections;  // the names connected, in reading order
    // For each connection to an instance, how many instances were declared
    // before it: the one it binds is the last of its name among them.
    std::vector<std::size_t> declared_before;
};

const std::string& one_of(std::mt19937& rng, const std::vector<std::string>& from) {
    return from[static_cast<std::size_t>(roll(rng, 0, static_cast<int>(from.size()) - 1))];
}

ModuleText random_module(std::mt19937& rng) {
    const std::vector<std::string> pool = name_pool(rng);
    ModuleText out;
    std::ostringstream text;
    text << "(def-module m\n";
    std::vector<std::string> ports, insts;
    for (int k = roll(rng, 0, 2); k > 0; --k) {
        ports.push_back(one_of(rng, pool));
        text << " (def-pin " << ports.back() << " type input)\n";
    }
    // Instances may be declared again after nets connected the earlier ones.
    for (int f = roll(rng, 2, 12); f > 0; --f) {
        if (insts.empty() || roll(rng, 0, 2) == 0) {
            text << " (def-comp " << (roll(rng, 0, 1) ? "inv-" : "nand--2");
            for (int k = roll(rng, 1, 4); k > 0; --k) {
                insts.push_back(one_of(rng, pool));
                text << ' ' << insts.back();
            }
            text << ")\n";
            continue;
        }
        text << " (def-net";
        for (int k = roll(rng, 0, 5); k > 0; --k) {
            const bool port = !ports.empty() && roll(rng, 0, 3) == 0;
            const std::string& name = one_of(rng, port ? ports : insts);
            out.connections.push_back(name);
            out.declared_before.push_back(insts.size());
            text << ' ' << name;
            // A name that is a port's binds the port, with no pin.
            if (std::find(ports.begin(), ports.end(), name) == ports.end()) text << ".in";
        }
        text << ")\n";
    }
    text << ")\n";
    out.text = text.str();
    return out;
}

// The module's nodes in the order they were read: the lists run backwards.
std::vector<Node*> nodes_in_reading_order(const Module& m) {
    std::vector<Node*> out;
    for (Net* net = m.nets; net; net = net->next)
        for (Node* n = net->nodes; n; n = n->next) out.push_back(n);
    std::reverse(out.begin(), out.end());
    return out;
}

int pin_limit_of(const Instance& inst) {
    return inst.cell() == CELL_INV ? 2 : 3;
}

// The instance of the name that a walk of the list as it was after
// `declared` declarations finds first.
const Instance* found_after(const Module& m, const std::string& name, std::size_t declared) {
    std::vector<const Instance*> in_order;
    for (const Instance* i = m.insts; i; i = i->next) in_order.push_back(i);
    std::reverse(in_order.begin(), in_order.end());
    for (std::size_t k = declared; k > 0; --k)
        if (in_order[k - 1]->name == name) return in_order[k - 1];
    return nullptr;
}

TEST(RecordBinding, LongAndSimilarNamesBindWhatTheListWalkFinds) {
    std::mt19937 rng(4242);
    int long_names = 0, over_limit = 0, rings = 0, hidden = 0;
    for (int round = 0; round < 3000; ++round) {
        const ModuleText made = random_module(rng);
        std::ostringstream err;
        Design d(err);
        d.cur_path = "r.nld";
        const Module* m = read_nld(d, made.text);
        const std::vector<Node*> nodes = nodes_in_reading_order(*m);
        ASSERT_EQ(nodes.size(), made.connections.size()) << made.text;
        std::map<const Instance*, std::vector<const Node*>> bound;
        for (std::size_t k = 0; k < nodes.size(); ++k) {
            const std::string& name = made.connections[k];
            long_names += name.size() > 16;
            if (const Instance* port = find_port(name.c_str(), *m)) {
                ASSERT_EQ(nodes[k]->inst, port) << made.text;
                EXPECT_EQ(nodes[k]->pin, port->name);
                continue;
            }
            ASSERT_EQ(nodes[k]->inst, found_after(*m, name, made.declared_before[k])) << made.text;
            hidden += nodes[k]->inst != find_inst(name.c_str(), *m);
            EXPECT_STREQ(nodes[k]->pin, "in");
            bound[nodes[k]->inst].push_back(nodes[k]);
        }
        bool too_many = false;
        for (const auto& [inst, its] : bound) {
            // The instance keeps its last node; the ring runs on from there
            // to the first and on in reading order.
            ASSERT_EQ(inst->node, its.back()) << made.text;
            const Node* n = inst->node;
            for (const Node* expected : its) {
                n = n->same_inst;
                ASSERT_EQ(n, expected) << made.text;
            }
            rings += its.size() > 1;
            too_many |= static_cast<int>(its.size()) > pin_limit_of(*inst);
        }
        for (const Instance* i = m->insts; i; i = i->next) {
            if (!bound.count(i)) {
                EXPECT_EQ(i->node, nullptr) << made.text;
            }
        }
        EXPECT_EQ(d.pins_over_limit, too_many ? 1 : 0) << made.text;
        over_limit += too_many;
    }
    // The rounds met what they are for.
    EXPECT_GT(long_names, 1000);
    EXPECT_GT(over_limit, 100);
    EXPECT_GT(rings, 1000);
    EXPECT_GT(hidden, 1000);  // connections to instances declared again later
}

// Names that share a hash tell themselves apart by their bytes alone: those
// of sixteen bytes and less by the bytes kept in the slot, longer ones by
// their whole text.
TEST(RecordBinding, NamesOfOneHashAreToldApartByTheirBytes) {
    const std::vector<std::string> names = {"abcdefghijklmno",
                                            "abcdefghijklmnop",
                                            "abcdefghijklmnoq",
                                            "abcdefghijklmnopq",
                                            "abcdefghijklmnopr",
                                            "abcdefghijklmnopqrstuvwxyz0123456789",
                                            "abcdefghijklmnopqrstuvwxyz0123456788",
                                            "a",
                                            "b",
                                            ""};
    std::ostringstream err;
    Design d(err);
    RecordIndex index(0);
    constexpr uint64_t kOneHash = 0x123456789abcdef0ull;
    std::vector<Instance*> insts;
    for (const std::string& name : names) {
        Instance* inst = d.make<Instance>();
        inst->name = d.copy_string(name.c_str());
        inst->set_cell(CELL_INV);
        index.put_inst(inst, {inst->name, name.size()}, kOneHash, 2);
        insts.push_back(inst);
    }
    for (std::size_t k = 0; k < names.size(); ++k) {
        RecordIndex::Entry* entry = index.find(names[k], kOneHash);
        ASSERT_NE(entry, nullptr) << names[k];
        EXPECT_EQ(entry->inst, insts[k]) << names[k];
    }
    EXPECT_EQ(index.find("abcdefghijklmnopqrstuvwxyz012345678", kOneHash), nullptr);
    EXPECT_EQ(index.find("abcdefghijklmnopqrstuvwxyz01234567890", kOneHash), nullptr);
    EXPECT_EQ(index.find("abcdefghijklmnoz", kOneHash), nullptr);
    EXPECT_EQ(index.find("c", kOneHash), nullptr);
}

}  // namespace
}  // namespace vorp
