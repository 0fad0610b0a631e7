// Random hierarchical designs of gates, inverters and sub-module instances
// are flattened; the flat netlist, read with its polarities (a load at -1
// sees its net inverted), must compute what the hierarchy computes, for
// random input values, and hold together as a list structure.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "db/check.h"
#include "flatten/flatten.h"
#include "flatten/net_ops.h"
#include "flatten/sticky.h"
#include "tests/flatten/flat_support.h"

namespace vorp {
namespace {

enum class Kind { Gate, Inverter, Sub };

struct Gate {
    const char* cell;  // and--2, or--2, nand--2, nor--2
    const char* out;
};
const Gate kGates[] = {
    {"and--2", "out"}, {"or--2", "out"}, {"nand--2", "nout"}, {"nor--2", "nout"}};

struct Element {
    Kind kind;
    int gate = 0;           // index into kGates
    int sub = 0;            // index of the instantiated module
    std::vector<int> ins;   // signals read
    std::vector<int> outs;  // signals driven
};

struct RandomModule {
    std::string name;
    int inputs = 0;
    int outputs = 0;
    std::vector<Element> elements;
    std::vector<int> out_signal;  // the signal each output port shows
    int bidirect_signal = -1;     // the signal a bidirectional port "b0" sits on
    int signals = 0;              // inputs first, then element outputs
};

// Modules 0 (top), 1 and 2; a module instantiates only modules after it.
struct RandomDesign {
    std::vector<RandomModule> modules;
    bool with_bidirect;
    int bidirect_module = -1;

    RandomDesign(std::mt19937& rng, bool with_bidirect = false) : with_bidirect(with_bidirect) {
        const char* const names[] = {"top", "mid", "leaf"};
        for (int m = 0; m < 3; ++m) {
            RandomModule mod;
            mod.name = names[m];
            mod.inputs = 1 + static_cast<int>(rng() % 3);
            mod.outputs = 1 + static_cast<int>(rng() % 3);
            modules.push_back(mod);
        }
        // One module at most gets a bidirectional port: with one on each
        // side of a boundary pin, both sides are fenced and never joined.
        bidirect_module = with_bidirect ? static_cast<int>(rng() % 3) : -1;
        for (int m = 2; m >= 0; --m) build(m, rng);
    }

    void build(int m, std::mt19937& rng) {
        RandomModule& mod = modules[m];
        mod.signals = mod.inputs;
        const int count = 2 + static_cast<int>(rng() % 6);
        for (int e = 0; e < count; ++e) {
            Element el;
            const int pick = static_cast<int>(rng() % 10);
            el.kind = pick < 4 ? Kind::Inverter : (pick < 8 || m == 2) ? Kind::Gate : Kind::Sub;
            auto any_signal = [&] { return static_cast<int>(rng() % mod.signals); };
            if (el.kind == Kind::Inverter) {
                el.ins = {any_signal()};
                el.outs = {mod.signals++};
            } else if (el.kind == Kind::Gate) {
                el.gate = static_cast<int>(rng() % 4);
                el.ins = {any_signal(), any_signal()};
                el.outs = {mod.signals++};
            } else {
                el.sub = m + 1 + static_cast<int>(rng() % (2 - m));
                for (int i = 0; i < modules[el.sub].inputs; ++i) el.ins.push_back(any_signal());
                for (int o = 0; o < modules[el.sub].outputs; ++o) el.outs.push_back(mod.signals++);
            }
            mod.elements.push_back(el);
        }
        if (m == bidirect_module) mod.bidirect_signal = static_cast<int>(rng() % mod.signals);
        for (int o = 0; o < mod.outputs; ++o)
            mod.out_signal.push_back(mod.inputs +
                                     static_cast<int>(rng() % (mod.signals - mod.inputs)));
    }

    // The module as NLD text; the connections of each net come in a random
    // order, and a signal that nothing reads gets no net.
    std::string text(int m, std::mt19937& rng) const {
        const RandomModule& mod = modules[m];
        std::string out = "(def-module " + mod.name + "\n";
        for (int i = 0; i < mod.inputs; ++i)
            out += " (def-pin x" + std::to_string(i) + " type input)\n";
        for (int o = 0; o < mod.outputs; ++o)
            out += " (def-pin y" + std::to_string(o) + " type output)\n";
        if (mod.bidirect_signal >= 0) out += " (def-pin b0 type bidirect)\n";
        std::vector<std::string> driver(mod.signals);
        std::vector<std::vector<std::string>> loads(mod.signals);
        for (int i = 0; i < mod.inputs; ++i) driver[i] = "x" + std::to_string(i);
        for (std::size_t e = 0; e < mod.elements.size(); ++e) {
            const Element& el = mod.elements[e];
            const std::string name = "e" + std::to_string(e);
            if (el.kind == Kind::Inverter) {
                out += " (def-comp inv- " + name + ")\n";
                loads[el.ins[0]].push_back(name + ".in");
                driver[el.outs[0]] = name + ".nout";
            } else if (el.kind == Kind::Gate) {
                out += std::string(" (def-comp ") + kGates[el.gate].cell + " " + name + ")\n";
                loads[el.ins[0]].push_back(name + ".a");
                loads[el.ins[1]].push_back(name + ".b");
                driver[el.outs[0]] = name + "." + kGates[el.gate].out;
            } else {
                out += " (def-comp " + modules[el.sub].name + " " + name + ")\n";
                for (std::size_t i = 0; i < el.ins.size(); ++i)
                    loads[el.ins[i]].push_back(name + ".x" + std::to_string(i));
                for (std::size_t o = 0; o < el.outs.size(); ++o)
                    driver[el.outs[o]] = name + ".y" + std::to_string(o);
            }
        }
        for (int o = 0; o < mod.outputs; ++o)
            loads[mod.out_signal[o]].push_back("y" + std::to_string(o));
        if (mod.bidirect_signal >= 0) loads[mod.bidirect_signal].push_back("b0");
        for (int s = 0; s < mod.signals; ++s) {
            if (loads[s].empty()) continue;
            std::vector<std::string> net = loads[s];
            net.push_back(driver[s]);
            std::shuffle(net.begin(), net.end(), rng);
            out += " (def-net";
            for (const std::string& c : net) out += " " + c;
            out += ")\n";
        }
        return out + ")\n";
    }

    std::vector<int> evaluate(int m, const std::vector<int>& in) const {
        const RandomModule& mod = modules[m];
        std::vector<int> v(mod.signals, 0);
        for (int i = 0; i < mod.inputs; ++i) v[i] = in[i];
        for (const Element& el : mod.elements) {
            if (el.kind == Kind::Inverter) {
                v[el.outs[0]] = !v[el.ins[0]];
            } else if (el.kind == Kind::Gate) {
                v[el.outs[0]] = gate_value(el.gate, v[el.ins[0]], v[el.ins[1]]);
            } else {
                std::vector<int> sub_in;
                for (int s : el.ins) sub_in.push_back(v[s]);
                const std::vector<int> sub_out = evaluate(el.sub, sub_in);
                for (std::size_t o = 0; o < el.outs.size(); ++o) v[el.outs[o]] = sub_out[o];
            }
        }
        std::vector<int> out;
        for (int s : mod.out_signal) out.push_back(v[s]);
        return out;
    }

    static int gate_value(int gate, int a, int b) {
        switch (gate) {
            case 0:
                return a & b;
            case 1:
                return a | b;
            case 2:
                return !(a & b);
            default:
                return !(a | b);
        }
    }
};

// Reads the flat netlist: a net's value comes from its source, a top input
// port or a gate output; a load at -1 sees it inverted.
struct FlatReader {
    const Module& top;
    const std::vector<int>& inputs;
    std::map<const Net*, int> memo;
    std::string fault;

    int seen(const Node* load) {
        if (load->pol_a() == 0) fault = "load with polarity 0 on pin " + std::string(load->pin);
        return net_value(load->net) ^ (load->pol_a() == -1 ? 1 : 0);
    }

    int net_value(const Net* net) {
        if (auto it = memo.find(net); it != memo.end()) return it->second;
        const Node* s = net->source;
        int value = 0;
        if (!s) {
            fault = "net without source";
        } else if (s->inst->cell() == CELL_STICKY || s->inst->cell() == CELL_STICKY_TS) {
            value = seen(s->same_inst);  // a sticky passes its "i" pin on
        } else if (s->inst->cell() == CELL_PORT) {
            if (s->inst->owner != &top) fault = "net driven by a port of a copy";
            value = inputs[std::stoi(s->pin + 1)];
        } else {
            std::vector<int> in;
            for (const Node* p = s->same_inst; p != s; p = p->same_inst)
                if (p->pin_type() == KW_INPUT) in.push_back(seen(p));
            const int cell = s->inst->cell();
            const int gate = cell == CELL_AND ? 0 : cell == CELL_OR ? 1 : cell == CELL_NAND ? 2 : 3;
            if (in.size() != 2 ||
                (cell != CELL_AND && cell != CELL_OR && cell != CELL_NAND && cell != CELL_NOR))
                fault = "unexpected driver " + std::string(text_or_null(s->inst->name));
            else
                value = RandomDesign::gate_value(gate, in[0], in[1]);
        }
        memo[net] = value;
        return value;
    }
};

// Flattens the random design of `seed` and compares the flat netlist with
// the hierarchy on random inputs.
void flatten_and_compare(test::TestDesign& t, unsigned seed, bool with_bidirect) {
    std::mt19937 rng(seed);
    RandomDesign design(rng, with_bidirect);
    const test::Files files = {{"top.nld", design.text(0, rng)},
                               {"mid.nld", design.text(1, rng)},
                               {"leaf.nld", design.text(2, rng)}};
    const std::string texts = files[0].second + files[1].second + files[2].second;
    Module& top = t.load(files);
    ASSERT_EQ(flat(t.d), 1) << t.err.str() << texts;
    ASSERT_EQ(check_design(t.d), "") << texts;
    for (const Net* net = top.nets; net; net = net->next)
        for (const Node* n = net->nodes; n; n = n->next)
            ASSERT_NE(n->inst->cell(), CELL_INV) << "inverter left on a net\n" << texts;
    const RandomModule& shape = design.modules[0];
    for (int trial = 0; trial < 8; ++trial) {
        std::vector<int> in;
        for (int i = 0; i < shape.inputs; ++i) in.push_back(static_cast<int>(rng() % 2));
        const std::vector<int> want = design.evaluate(0, in);
        FlatReader reader{top, in, {}, {}};
        for (int o = 0; o < shape.outputs; ++o) {
            const Node* y = test::named(top.ports, ("y" + std::to_string(o)).c_str())->node;
            ASSERT_EQ(reader.seen(y), want[o]) << "output y" << o << "\n"
                                               << texts << dump_nets(top);
        }
        ASSERT_EQ(reader.fault, "") << texts << dump_nets(top);
    }
}

TEST(FlatEquivalence, RandomHierarchiesComputeTheSameOutputs) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        test::TestDesign t;
        flatten_and_compare(t, seed, false);
        if (testing::Test::HasFatalFailure()) return;
    }
}

bool on_sticky(const Node* n) {
    return n->inst->cell() == CELL_STICKY || n->inst->cell() == CELL_STICKY_TS;
}

// Bidirectional ports (the top's, and copies' ports connected inside only)
// make irreversible nets: stickies fence every inverter and boundary pin on
// them, so the top's bidirectional ports are never inverted (a copy's one
// has no partner and is pinned at 0). After resolution no sticky has a pin
// on a net; a dissolved sticky of a copy stays in the top's instance list,
// since it is taken off its owner's list only.
TEST(FlatEquivalence, IrreversibleNetsAreFencedAndResolved) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        test::TestDesign t;
        flatten_and_compare(t, seed, true);
        if (testing::Test::HasFatalFailure()) return;
        const Module& top = *t.d.top();
        for (const Net* net = top.nets; net; net = net->next) {
            for (const Node* n = net->nodes; n; n = n->next) {
                if (n->pin_type() != KW_BIDIRECT) continue;
                EXPECT_EQ(n->pol_b(), n->inst->owner == &top ? 1 : 0);
            }
        }
        ASSERT_EQ(unprotect_irreversible_nets(t.d), 1);
        EXPECT_EQ(t.err.str().find("vorp:"), std::string::npos) << t.err.str();
        for (const Module* m = t.d.modules; m; m = m->next) {
            for (const Net* net = m->nets; net; net = net->next) {
                for (const Node* n = net->nodes; n; n = n->next) {
                    ASSERT_EQ(n->net, net);
                    EXPECT_FALSE(on_sticky(n)) << n->inst->name;
                }
            }
        }
    }
}

}  // namespace
}  // namespace vorp
