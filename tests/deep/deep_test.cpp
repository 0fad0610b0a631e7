// Designs of a million gates and more, run in this process on the default
// stack: a gate chain with an inverter after every other gate, the same
// chain cut into modules whose gates all share one input net, nets of a
// million loads, and one flat module of a million varied cells. Each must
// end normally with the counts and the cells that its construction calls
// for. Too slow for every build: `make test-deep` runs them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/reliability/process.h"
#include "tests/support/chains.h"
#include "tests/support/fixture.h"

namespace vorp::test {
namespace {

constexpr long kMillion = 1000000;

struct Written {
    Outcome run;
    std::string top;  // the written file of the top module
};

// vorp on dir/r with top module `top`, written into dir/out; `option` (-a)
// goes first when given.
Written reduce(const TempDir& dir, const std::string& top = "top", const char* option = nullptr) {
    dir.mkdir("out");
    std::vector<std::string> words = {top, dir.path() + "/r", "-w", dir.path() + "/out"};
    if (option) words.insert(words.begin(), option);
    Written w;
    w.run = run_in_process(words);
    w.top = read_file(dir.path() + "/out/" + top + ".nld");
    return w;
}

std::string counts(long before, long after) {
    return "Number of inverters\n\t" + std::to_string(before) + " ---> " + std::to_string(after) +
           "\n";
}

// Instances of `cell` in a written file: one "(def-comp" line each.
long cells_of(const std::string& text, const std::string& cell) {
    const std::string line = "\t(def-comp\t" + cell + "\t";
    long n = 0;
    for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1))
        ++n;
    return n;
}

// Instances of every cell this file's designs use.
std::vector<long> cell_census(const std::string& text) {
    std::vector<long> census;
    for (const char* cell :
         {"inv-", "ninv-", "nand--2", "nor--2", "and--2", "or--2", "nand--3", "nor--3", "and--3",
          "or--3", "eor--2", "enor--2", "aoi--21", "oai--21", "reg-1"})
        census.push_back(cells_of(text, cell));
    return census;
}

TEST(MillionGates, ChainWithAnInverterAfterEveryOtherGate) {
    const long gates = kMillion;
    TempDir dir;
    dir.write("r/top.nld", gate_chain(gates, 2));
    const Written w = reduce(dir);
    EXPECT_EQ(w.run.status, 0);
    const long after = gate_chain_inverters_left(gates, 2);
    EXPECT_TRUE(ends_with(w.run.err, counts(gate_chain_inverters(gates, 2), after)))
        << w.run.err.substr(w.run.err.size() - 100);
    EXPECT_EQ(cells_of(w.top, "inv-"), after);
    EXPECT_EQ(cells_of(w.top, "nand--2") + cells_of(w.top, "nor--2"), gates);
    EXPECT_TRUE(ends_with(w.top, ")\n"));
}

// The chain of `bench/nand_chain.sh`: modules of a hundred NAND gates with
// an inverter after every other one, whose second inputs all hang on the
// shared input x, chained at the top.
std::string segment(long gates) {
    std::string s =
        "(def-module seg\n (def-pin a type input) (def-pin x type input)"
        " (def-pin y type output)\n";
    s += " (def-comp nand--2" + numbered_names("g", 0, gates) + ")\n (def-comp inv-";
    for (long k = 0; k < gates; k += 2) s += " i" + std::to_string(k);
    s += ")\n";
    std::string prev = "a";
    for (long k = 0; k < gates; ++k) {
        const std::string g = "g" + std::to_string(k);
        s += " (def-net " + prev + " " + g + ".a)\n";
        prev = g + ".nout";
        if (k % 2) continue;
        const std::string i = "i" + std::to_string(k);
        s += " (def-net " + prev + " " + i + ".in)\n";
        prev = i + ".nout";
    }
    s += " (def-net " + prev + " y)\n (def-net x";
    for (long k = 0; k < gates; ++k) s += " g" + std::to_string(k) + ".b";
    return s + "))\n";
}

std::string segment_chain(long segments) {
    std::string s =
        "(def-module chain\n (def-pin a type input) (def-pin x type input)"
        " (def-pin y type output)\n";
    s += " (def-comp seg" + numbered_names("s", 0, segments) + ")\n";
    std::string prev = "a";
    for (long k = 0; k < segments; ++k) {
        s += " (def-net " + prev + " s" + std::to_string(k) + ".a)\n";
        prev = "s" + std::to_string(k) + ".y";
    }
    s += " (def-net " + prev + " y)\n (def-net x";
    for (long k = 0; k < segments; ++k) s += " s" + std::to_string(k) + ".x";
    return s + "))\n";
}

// Without a flipped gate every inverter stays. A flipped gate takes x
// inverted, which one inverter serves for all; then, as in `gate_chain`,
// each inverter between two gates falls away when their flips differ, and
// the output needs one more when the last gate ends up flipped.
long segment_chain_inverters_left(long inverters) {
    return 1 + inverters % 2;
}

TEST(MillionGates, ChainOfModulesSharingOneInputNet) {
    const long per_segment = 100, segments = kMillion / per_segment;
    TempDir dir;
    dir.write("r/seg.nld", segment(per_segment));
    dir.write("r/chain.nld", segment_chain(segments));
    const Written w = reduce(dir, "chain");
    EXPECT_EQ(w.run.status, 0);
    const long inverters = segments * per_segment / 2;
    const long after = segment_chain_inverters_left(inverters);
    EXPECT_TRUE(ends_with(w.run.err, counts(inverters, after)))
        << w.run.err.substr(w.run.err.size() - 100);
    // x's inverter serves every copy, so it sits in the top; each copy of
    // the segment is written as a module of its own, all of its gates kept.
    EXPECT_EQ(cells_of(w.top, "inv-"), after);
    EXPECT_TRUE(ends_with(w.top, ")\n"));
    for (long k = 1; k <= segments; k += segments / 10) {
        const std::string copy = read_file(dir.path() + "/out/seg-" + std::to_string(k) + ".nld");
        EXPECT_EQ(cells_of(copy, "nand--2") + cells_of(copy, "nor--2"), per_segment) << k;
        EXPECT_EQ(cells_of(copy, "inv-"), 0) << k;
        EXPECT_TRUE(ends_with(copy, ")\n")) << k;
    }
}

// The input a drives a million loads: the even gates g<k> directly, the odd
// ones through an inverter; every gate's second input is b, its output goes
// through an inverter to its register, whose clock is clk (another million
// loads). No gate gains alone (b would need an inverter); flipping them all
// moves every output inverter onto a and b: one each.
std::string fan_out(long gates) {
    std::string s =
        "(def-module top\n (def-pin a type input)\n (def-pin b type input)\n"
        " (def-pin clk type input)\n (def-pin q type output)\n";
    s += " (def-comp inv-" + numbered_names("h", 0, gates);
    for (long k = 1; k < gates; k += 2) s += " e" + std::to_string(k);
    s += ")\n (def-comp nand--2" + numbered_names("g", 0, gates) + ")\n";
    s += " (def-comp reg-1" + numbered_names("r", 0, gates) + ")\n (def-net a";
    for (long k = 0; k < gates; ++k)
        s += (k % 2 ? " e" : " g") + std::to_string(k) + (k % 2 ? ".in" : ".a");
    s += ")\n (def-net b";
    for (long k = 0; k < gates; ++k) s += " g" + std::to_string(k) + ".b";
    s += ")\n (def-net clk";
    for (long k = 0; k < gates; ++k) s += " r" + std::to_string(k) + ".m_clock";
    s += ")\n";
    for (long k = 0; k < gates; ++k) {
        const std::string n = std::to_string(k);
        if (k % 2) s += " (def-net e" + n + ".nout g" + n + ".a)\n";
        s += " (def-net g" + n + ".nout h" + n + ".in)\n (def-net h" + n + ".nout r" + n + ".in)\n";
    }
    return s + " (def-net r" + std::to_string(gates - 1) + ".out q))\n";
}

TEST(MillionLoads, OneInputDrivesAMillionGates) {
    const long gates = kMillion;
    TempDir dir;
    dir.write("r/top.nld", fan_out(gates));
    const Written w = reduce(dir);
    EXPECT_EQ(w.run.status, 0);
    EXPECT_TRUE(ends_with(w.run.err, counts(gates + gates / 2, 2)))
        << w.run.err.substr(w.run.err.size() - 100);
    EXPECT_EQ(cells_of(w.top, "inv-"), 2);
    EXPECT_EQ(cells_of(w.top, "nor--2"), gates);
    EXPECT_EQ(cells_of(w.top, "nand--2"), 0);
    EXPECT_EQ(cells_of(w.top, "reg-1"), gates);
    EXPECT_TRUE(ends_with(w.top, ")\n"));
}

// A seeded random block of logic: gates of many kinds, inverters, buffers,
// registers on the clock, and three hub inputs that a fifth of all gate
// inputs read.
struct Cell {
    const char* type;
    std::vector<const char*> pins;  // the inputs, then the output
    std::vector<long> inputs;       // signals read
    long output = 0;                // signal driven
};

struct Block {
    long inputs = 8, hubs = 3, outputs = 4;
    long signals = 0;  // ports first: inputs, then hubs
    std::vector<Cell> cells;
};

// A seeded generator whose sequence the standard fixes, so the block is the
// same everywhere.
struct Rng {
    std::mt19937_64 engine;
    long below(long n) { return static_cast<long>(engine() % static_cast<uint64_t>(n)); }
};

long pick_signal(Rng& rng, const Block& b) {
    const long roll = rng.below(100);
    if (roll < 20) return b.inputs + rng.below(b.hubs);
    if (roll < 75) return b.signals - 1 - rng.below(std::min(b.signals, 16L));
    return rng.below(b.signals);
}

Cell random_cell(Rng& rng, const Block& b) {
    static const Cell kinds[] = {{"inv-", {"in", "nout"}, {}, 0},
                                 {"inv-", {"in", "nout"}, {}, 0},
                                 {"inv-", {"in", "nout"}, {}, 0},
                                 {"ninv-", {"in", "out"}, {}, 0},
                                 {"nand--2", {"a", "b", "nout"}, {}, 0},
                                 {"nor--2", {"a", "b", "nout"}, {}, 0},
                                 {"and--2", {"a", "b", "out"}, {}, 0},
                                 {"or--2", {"a", "b", "out"}, {}, 0},
                                 {"nand--3", {"a", "b", "c", "nout"}, {}, 0},
                                 {"nor--3", {"a", "b", "c", "nout"}, {}, 0},
                                 {"and--3", {"a", "b", "c", "out"}, {}, 0},
                                 {"or--3", {"a", "b", "c", "out"}, {}, 0},
                                 {"eor--2", {"in1", "in2", "out"}, {}, 0},
                                 {"enor--2", {"in1", "in2", "nout"}, {}, 0},
                                 {"aoi--21", {"a", "b", "c", "nout"}, {}, 0},
                                 {"oai--21", {"a", "b", "c", "nout"}, {}, 0},
                                 {"reg-1", {"in", "out"}, {}, 0}};
    Cell c = kinds[rng.below(sizeof kinds / sizeof kinds[0])];
    for (std::size_t i = 0; i + 1 < c.pins.size(); ++i) c.inputs.push_back(pick_signal(rng, b));
    return c;
}

Block random_block(uint64_t seed, long cells) {
    Rng rng{std::mt19937_64(seed)};
    Block b;
    b.signals = b.inputs + b.hubs;
    for (long i = 0; i < cells; ++i) {
        Cell c = random_cell(rng, b);
        c.output = b.signals++;
        b.cells.push_back(c);
    }
    return b;
}

// Copies of the block, each with ports and instances of its own ("c<k>_"),
// and one clock for all of their registers, as one flat module.
std::string flat_copies(const Block& b, long copies) {
    std::string pins, comps, nets;
    std::vector<std::vector<std::string>> loads;
    std::vector<std::string> clocked;
    for (long k = 0; k < copies; ++k) {
        const std::string p = "c" + std::to_string(k) + "_";
        loads.assign(static_cast<std::size_t>(b.signals), {});
        for (long i = 0; i < b.inputs + b.hubs; ++i) {
            pins += " (def-pin " + p + "i" + std::to_string(i) + " type input)\n";
            loads[static_cast<std::size_t>(i)].push_back(p + "i" + std::to_string(i));
        }
        for (std::size_t i = 0; i < b.cells.size(); ++i) {
            const Cell& c = b.cells[i];
            const std::string name = p + "u" + std::to_string(i);
            comps += " (def-comp " + std::string(c.type) + " " + name + ")\n";
            for (std::size_t j = 0; j < c.inputs.size(); ++j)
                loads[static_cast<std::size_t>(c.inputs[j])].push_back(name + "." + c.pins[j]);
            loads[static_cast<std::size_t>(c.output)].insert(
                loads[static_cast<std::size_t>(c.output)].begin(), name + "." + c.pins.back());
            if (std::string(c.type) == "reg-1") clocked.push_back(name + ".m_clock");
        }
        for (long o = 0; o < b.outputs; ++o) {
            const std::string port = p + "o" + std::to_string(o);
            pins += " (def-pin " + port + " type output)\n";
            loads[static_cast<std::size_t>(b.signals - 1 - o)].push_back(port);
        }
        for (const std::vector<std::string>& net : loads) {
            if (net.size() < 2) continue;
            nets += " (def-net";
            for (const std::string& node : net) nets += " " + node;
            nets += ")\n";
        }
    }
    nets += " (def-net clk";
    for (const std::string& node : clocked) nets += " " + node;
    return "(def-module top\n (def-pin clk type input)\n" + pins + comps + nets + "))\n";
}

long inverters_in(const Block& b) {
    long n = 0;
    for (const Cell& c : b.cells) n += std::string(c.type) == "inv-";
    return n;
}

// The inverter counts a run printed last.
std::pair<long, long> printed_counts(const std::string& err) {
    const std::size_t at = err.rfind("Number of inverters\n\t");
    if (at == std::string::npos) return {-1, -1};
    const std::string tail = err.substr(at + 21);
    return {std::stol(tail), std::stol(tail.substr(tail.find("---> ") + 5))};
}

// Copies that share nothing but their clock are separate groups of the
// reduction, whose moves weigh only their own nets: the million-cell module
// must end as that many copies of the block run alone.
void expect_copies_reduced_alike(const char* option) {
    const long copies = 4, per_copy = kMillion / copies;
    const Block block = random_block(20261123, per_copy);

    TempDir alone;
    alone.write("r/top.nld", flat_copies(block, 1));
    const Written one = reduce(alone, "top", option);
    ASSERT_EQ(one.run.status, 0);
    const auto [one_before, one_after] = printed_counts(one.run.err);
    ASSERT_EQ(one_before, inverters_in(block));
    ASSERT_LT(one_after, one_before);  // the block gains: its reduced design is written

    TempDir dir;
    dir.write("r/top.nld", flat_copies(block, copies));
    const Written all = reduce(dir, "top", option);
    EXPECT_EQ(all.run.status, 0);
    EXPECT_TRUE(ends_with(all.run.err, counts(copies * one_before, copies * one_after)))
        << all.run.err.substr(all.run.err.size() - 100);
    std::vector<long> expected = cell_census(one.top);
    for (long& n : expected) n *= copies;
    EXPECT_EQ(cell_census(all.top), expected);
    EXPECT_TRUE(ends_with(all.top, ")\n"));
}

TEST(MillionCells, OneFlatModuleOfVariedCells) {
    expect_copies_reduced_alike(nullptr);
}

// With -a the and/or gates also take inversions into their outputs.
TEST(MillionCells, OneFlatModuleOfVariedCellsWithOutputComplements) {
    expect_copies_reduced_alike("-a");
}

}  // namespace
}  // namespace vorp::test
