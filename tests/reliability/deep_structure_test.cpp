// Designs far deeper than any recursion on the call stack could follow: a
// hierarchy thousands of levels deep, chains of a million inverters, clock
// buffers and gates, and millions of nested parentheses. Each run happens in
// this process, on the default stack, and must end normally with the counts
// that the design calls for.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/reliability/process.h"
#include "tests/support/chains.h"
#include "tests/support/fixture.h"

namespace vorp::test {
namespace {

Outcome run_top(const TempDir& dir, const char* mode = nullptr) {
    dir.mkdir("out");
    std::vector<std::string> words = {"top", dir.path() + "/r", "-w", dir.path() + "/out"};
    if (mode) words.push_back(mode);
    return run_in_process(words);
}

std::string counts(long before, long after) {
    return "Number of inverters\n\t" + std::to_string(before) + " ---> " + std::to_string(after) +
           "\n";
}

// top: a -> inv t -> m1 -> m2 -> ... -> m<levels-1>, whose inverter and
// NAND end the path at y. The two inverters cancel across every level.
void write_deep_hierarchy(const TempDir& dir, int levels) {
    const char* ports = " (def-pin a type input)\n (def-pin y type output)\n";
    dir.write("r/top.nld", std::string("(def-module top\n") + ports +
                               " (def-comp inv- t)\n (def-comp m1 u)\n"
                               " (def-net a t.in)\n (def-net t.nout u.a)\n (def-net u.y y))\n");
    for (int k = 1; k < levels - 1; ++k) {
        const std::string name = "m" + std::to_string(k);
        dir.write("r/" + name + ".nld", "(def-module " + name + "\n" + ports + " (def-comp m" +
                                            std::to_string(k + 1) +
                                            " u)\n (def-net a u.a)\n (def-net u.y y))\n");
    }
    const std::string last = "m" + std::to_string(levels - 1);
    dir.write("r/" + last + ".nld", "(def-module " + last + "\n" + ports +
                                        " (def-comp inv- i)\n (def-comp nand--2 g)\n"
                                        " (def-net a i.in)\n (def-net i.nout g.a g.b)\n"
                                        " (def-net g.nout y))\n");
}

TEST(DeepStructure, HierarchyFiveThousandLevelsDeep) {
    TempDir dir;
    const int levels = 5000;
    write_deep_hierarchy(dir, levels);
    const Outcome r = run_top(dir);
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(ends_with(r.err, counts(2, 0))) << r.err.substr(r.err.size() - 200);
    // Every level is written, as a copy of its own.
    EXPECT_NE(r.err.find("/out/m" + std::to_string(levels - 1) + "-1.nld\n"), std::string::npos);
    EXPECT_EQ(read_file(dir.path() + "/out/m4999-1.nld").find("\tinv-"), std::string::npos);
}

TEST(DeepStructure, HierarchyFiveThousandLevelsDeepWrittenFlat) {
    TempDir dir;
    write_deep_hierarchy(dir, 5000);
    const Outcome r = run_top(dir, "-f");
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(ends_with(r.err, counts(2, 0)));
    EXPECT_EQ(read_file(dir.path() + "/out/top.nld").find("\tinv-"), std::string::npos);
}

// a -> inv i0 -> inv i1 -> ... -> y; an even number folds away completely.
std::string inverter_chain(long cells) {
    std::string s = "(def-module top\n (def-pin a type input)\n (def-pin y type output)\n";
    s += " (def-comp inv-" + numbered_names("i", 0, cells) + ")\n (def-net a i0.in)\n";
    for (long i = 0; i + 1 < cells; ++i)
        s += " (def-net i" + std::to_string(i) + ".nout i" + std::to_string(i + 1) + ".in)\n";
    s += " (def-net i" + std::to_string(cells - 1) + ".nout y))\n";
    return s;
}

TEST(DeepStructure, InverterChainOfAMillionCells) {
    TempDir dir;
    const long cells = 1000000;
    dir.write("r/top.nld", inverter_chain(cells));
    const Outcome r = run_top(dir);
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(ends_with(r.err, counts(cells, 0)));
    const std::string written = read_file(dir.path() + "/out/top.nld");
    EXPECT_EQ(written.find("\tinv-"), std::string::npos);
    EXPECT_TRUE(ends_with(written, ")\n"));
}

// clk -> ninv b0 -> ... -> b<cells-1> -> the register's m_clock; the data
// path holds two inverters that the reduction removes.
TEST(DeepStructure, ClockThroughAMillionBuffers) {
    TempDir dir;
    const long cells = 1000000;
    std::string s =
        "(def-module top\n (def-pin clk type input)\n (def-pin d type input)\n"
        " (def-pin q type output)\n";
    s += " (def-comp ninv-" + numbered_names("b", 0, cells) + ")\n";
    s += " (def-comp reg-1 r)\n (def-comp inv- d1 d2)\n (def-net clk b0.in)\n";
    for (long i = 0; i + 1 < cells; ++i)
        s += " (def-net b" + std::to_string(i) + ".out b" + std::to_string(i + 1) + ".in)\n";
    s += " (def-net b" + std::to_string(cells - 1) + ".out r.m_clock)\n";
    s += " (def-net d d1.in)\n (def-net d1.nout d2.in)\n (def-net d2.nout r.in)\n"
         " (def-net r.out q))\n";
    dir.write("r/top.nld", s);
    const Outcome r = run_top(dir);
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(ends_with(r.err, counts(2, 0)));
    const std::string written = read_file(dir.path() + "/out/top.nld");
    EXPECT_NE(written.find("m_clock"), std::string::npos);
    EXPECT_EQ(written.find("\tinv-"), std::string::npos);
}

// The chain runs through, every inverter goes, the file is written whole.
void expect_gate_chain_reduced(long gates, long every) {
    TempDir dir;
    dir.write("r/top.nld", gate_chain(gates, every));
    const Outcome r = run_top(dir);
    EXPECT_EQ(r.status, 0);
    const long before = gate_chain_inverters(gates, every);
    const long after = gate_chain_inverters_left(gates, every);
    EXPECT_TRUE(ends_with(r.err, counts(before, after))) << r.err.substr(r.err.size() - 100);
    EXPECT_TRUE(ends_with(read_file(dir.path() + "/out/top.nld"), ")\n"));
}

TEST(DeepStructure, GateChainOfAMillionCells) {
    expect_gate_chain_reduced(1000000, 0);
}

// A checked build compares the kept state with a rebuild after every step:
// this size takes it under ten seconds, a million near two minutes
// (`make test-deep` runs the million in the release build).
TEST(DeepStructure, GateChainWithInvertersBetweenTheGates) {
    expect_gate_chain_reduced(100000, 2);
}

// An unknown form nested millions deep is skipped whole; cut short, it is
// reported at the end of the file.
TEST(DeepStructure, MillionsOfNestedParentheses) {
    const std::size_t depth = 3000000;
    const std::string open(depth, '('), close(depth, ')');
    {
        TempDir dir;
        dir.write("r/top.nld",
                  "(def-module top\n (timing " + open + close + ")\n (def-comp inv- i))\n");
        const Outcome r = run_top(dir);
        EXPECT_EQ(r.status, 0);
        EXPECT_TRUE(ends_with(r.err, counts(1, 1)));
    }
    {
        TempDir dir;
        dir.write("r/top.nld", "(def-module top\n (timing " + open + "\n");
        const Outcome r = run_top(dir);
        EXPECT_EQ(r.status, 1);
        EXPECT_TRUE(ends_with(r.err, "\", line 3: too many )'s\n")) << r.err;
    }
    {
        TempDir dir;
        dir.write("r/top.nld", "(def-module top)" + close + "\n");
        const Outcome r = run_top(dir);
        EXPECT_EQ(r.status, 1);
        EXPECT_TRUE(ends_with(r.err, "\", line 1: error\n")) << r.err;
    }
}

}  // namespace
}  // namespace vorp::test
