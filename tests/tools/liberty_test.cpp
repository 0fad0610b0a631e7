// The Liberty reader (groups, attributes, functions, ff groups, comments and
// continuations, faults with file and line) and the recognition of cells by
// their logic.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tools/liberty_cells.h"
#include "tools/liberty_choice.h"
#include "tools/liberty_reader.h"

namespace vorp::liberty {
namespace {

using Pins = std::vector<std::pair<std::string, std::string>>;

// A library of one combinational cell with the given inputs and function.
std::string gate_library(const std::vector<std::string>& inputs, const std::string& function) {
    std::string text = "library(t) {\n cell(G) {\n  area : 2.5 ;\n";
    for (const std::string& i : inputs) text += "  pin(" + i + ") { direction : input ; }\n";
    return text + "  pin(Y) { direction : output ; function : \"" + function + "\" ; }\n }\n}\n";
}

CellMapping map_function(const std::vector<std::string>& inputs, const std::string& function) {
    const Library lib = read_liberty("t.lib", gate_library(inputs, function));
    EXPECT_EQ(lib.cells.size(), 1u);
    return map_cell(lib.cells.at(0));
}

std::string refusal(const std::string& text) {
    try {
        read_liberty("bad.lib", text);
    } catch (const LibertyError& e) {
        return e.what();
    }
    return "";
}

// The truth table of a function over the given names, as a string of 0/1.
std::string table(const std::string& function, const std::vector<std::string>& names) {
    const Expr e = parse_function("t.lib", 1, function);
    std::string out;
    for (unsigned long long v = 0; v < (1ull << names.size()); ++v)
        out += evaluate(e, names, v) ? '1' : '0';
    return out;
}

TEST(LibertyFunction, OperatorsOfEveryWriting) {
    const std::vector<std::string> ab = {"A", "B"};  // bit 0 is A
    EXPECT_EQ(table("!A", ab), "1010");
    EXPECT_EQ(table("A'", ab), "1010");
    EXPECT_EQ(table("A*B", ab), "0001");
    EXPECT_EQ(table("A&B", ab), "0001");
    EXPECT_EQ(table("A B", ab), "0001");
    EXPECT_EQ(table("A+B", ab), "0111");
    EXPECT_EQ(table("A|B", ab), "0111");
    EXPECT_EQ(table("A^B", ab), "0110");
    EXPECT_EQ(table("(A B)'", ab), "1110");
    EXPECT_EQ(table(" ! ( A + B ) ", ab), "1000");
    EXPECT_EQ(table("A''", ab), "0101");
    EXPECT_EQ(table("1", ab), "1111");
    EXPECT_EQ(table("0", ab), "0000");
}

TEST(LibertyFunction, AndBindsTighterThanOrAndImplicitAndBeforeParentheses) {
    const std::vector<std::string> abc = {"A", "B", "C"};
    EXPECT_EQ(table("A B+C", abc), table("(A&B)|C", abc));
    EXPECT_EQ(table("A+B C", abc), table("A|(B&C)", abc));
    EXPECT_EQ(table("A(B+C)", abc), table("A&(B|C)", abc));
    EXPECT_EQ(table("!A B", abc), table("(!A)&B", abc));
    EXPECT_EQ(table("A^B C", abc), table("(A^B)&C", abc));
}

TEST(LibertyFunction, MalformedFunctionsNameTheLine) {
    for (const char* bad : {"A+", "(A", "A)", "A # B", "", "!"}) {
        try {
            parse_function("f.lib", 7, bad);
            ADD_FAILURE() << "accepted: " << bad;
        } catch (const LibertyError& e) {
            EXPECT_EQ(std::string(e.what()).rfind("f.lib:7: ", 0), 0u) << e.what();
        }
    }
}

TEST(LibertyReader, CellsPinsAreasAndDirections) {
    const Library lib = read_liberty("t.lib",
                                     "library (demo) {\n"
                                     "  time_unit : \"1ns\" ;\n"
                                     "  capacitive_load_unit (1, pf) ;\n"
                                     "  cell (NAND2) {\n"
                                     "    area : 3 ;\n"
                                     "    pin (A, B) { direction : input ; capacitance : 0.01 ; }\n"
                                     "    pin (Y) { direction : output ;\n"
                                     "      function : \"(A B)'\" ;\n"
                                     "      timing () { related_pin : \"A\" ; }\n"
                                     "    }\n"
                                     "  }\n"
                                     "}\n");
    EXPECT_EQ(lib.name, "demo");
    ASSERT_EQ(lib.cells.size(), 1u);
    const Cell& c = lib.cells[0];
    EXPECT_EQ(c.name, "NAND2");
    EXPECT_EQ(c.area, 3);
    EXPECT_EQ(c.line, 4);
    ASSERT_EQ(c.pins.size(), 3u);
    EXPECT_EQ(c.pins[0].name, "A");
    EXPECT_EQ(c.pins[1].name, "B");
    EXPECT_EQ(c.pins[1].direction, Direction::Input);
    EXPECT_EQ(c.pins[2].direction, Direction::Output);
    ASSERT_TRUE(c.pins[2].function);
    EXPECT_EQ(variables(*c.pins[2].function), (std::vector<std::string>{"A", "B"}));
}

TEST(LibertyReader, CommentsAndContinuationsKeepLineNumbers) {
    const std::string text =
        "/* a library\n   over two lines */\n"
        "library (demo) { // trailing\n"
        "  cell (INV) { area : \\\n 1 ;\n"
        "    pin (A) { direction : input ; }\n"
        "    pin (Y) { direction : output ; function : \"!\\\nA\" ; }\n"
        "  }\n"
        "  cell (BAD) { pin (Y) { direction : sideways ; } }\n"
        "}\n";
    const std::string message = refusal(text);
    EXPECT_EQ(message, "bad.lib:10: unknown pin direction 'sideways'");
}

TEST(LibertyReader, FlipFlopGroup) {
    const Library lib =
        read_liberty("t.lib",
                     "library (demo) {\n"
                     " cell (DFF) {\n"
                     "  ff (IQ, IQN) { next_state : \"D\" ; clocked_on : \"CK\" ; }\n"
                     "  pin (D) { direction : input ; }\n"
                     "  pin (CK) { direction : input ; clock : true ; }\n"
                     "  pin (Q) { direction : output ; function : \"IQ\" ; }\n"
                     "  pin (QN) { direction : output ; function : \"IQN\" ; }\n"
                     " }\n"
                     "}\n");
    ASSERT_TRUE(lib.cells.at(0).ff);
    const FlipFlop& ff = *lib.cells[0].ff;
    EXPECT_EQ(ff.state, "IQ");
    EXPECT_EQ(ff.state_inverted, "IQN");
    EXPECT_EQ(ff.line, 3);
    EXPECT_FALSE(ff.clear);
    const CellMapping m = map_cell(lib.cells[0]);
    EXPECT_EQ(m.nld_cell, "reg-1");
    EXPECT_EQ(m.pins, (Pins{{"D", "in"}, {"CK", "m_clock"}, {"Q", "out"}, {"QN", "nout"}}));
}

TEST(LibertyReader, MalformedFilesGiveFileAndLine) {
    EXPECT_EQ(refusal(""), "bad.lib:1: expected an attribute or a group, found end of file");
    EXPECT_EQ(refusal("library (x) {\n cell (A) {\n"),
              "bad.lib:3: end of file inside group 'cell'");
    EXPECT_EQ(refusal("library (x) {\n cell (A) { area : 1 ; }\n cell (A) { }\n}\n"),
              "bad.lib:3: cell 'A' is defined twice");
    EXPECT_EQ(refusal("library (x) {\n area : \"open\n"), "bad.lib:2: string not closed");
    EXPECT_EQ(refusal("library (x) {\n cell (A) { area : big ; }\n}\n"),
              "bad.lib:2: area is not a number");
    EXPECT_EQ(refusal("library (x) { }\n}\n"), "bad.lib:2: text after the library group: '}'");
    EXPECT_EQ(refusal("cell (x) { }\n"), "bad.lib:1: expected a library group");
    EXPECT_EQ(refusal("library (x) {\n\n cell (A) {\n  pin (Y) { direction : output ; "
                      "function : \"A +\" ; }\n }\n}\n"),
              "bad.lib:4: function \"A +\": an operand is missing");
    EXPECT_EQ(refusal("library (x) {\n /* open\n"), "bad.lib:2: comment not closed");
}

TEST(LibertyCells, GatesAreRecognisedByTheirLogic) {
    struct Case {
        std::vector<std::string> inputs;
        const char* function;
        const char* nld;
    };
    const std::vector<Case> cases = {
        {{"A"}, "!A", "inv-"},
        {{"A"}, "A", "ninv-"},
        {{"A", "B"}, "!(A&B)", "nand--2"},
        {{"A", "B"}, "A'+B'", "nand--2"},
        {{"A", "B", "C"}, "!A !B !C", "nor--3"},
        {{"A", "B", "C", "D"}, "A B C D", "and--4"},
        {{"A", "B"}, "A|B", "or--2"},
        {{"A", "B"}, "A^B", "eor--2"},
        {{"A", "B"}, "!(A^B)", "enor--2"},
        {{"A", "B"}, "A B' + A' B", "eor--2"},
        {{"A1", "A2", "B"}, "!((A1 A2) + B)", "aoi--21"},
        {{"B", "A1", "A2"}, "!(B | A1 & A2)", "aoi--21"},
        {{"A1", "A2", "B"}, "!((A1+A2) B)", "oai--21"},
        {{"A1", "A2", "B1", "B2"}, "!(A1 A2 + B1 B2)", "aoi--22"},
        {{"A", "B", "C", "D"}, "!((A+B) (C+D))", "oai--22"},
        {{"A", "B", "C", "D", "E"}, "((A+B) (C+D) E)'", "oai--221"},
        {{}, "1", "high-"},
        {{}, "0", "low-"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(map_function(c.inputs, c.function).nld_cell, c.nld) << c.function;
}

TEST(LibertyCells, AndOrInvertInputsFollowTheGroups) {
    const CellMapping m = map_function({"B", "A1", "A2"}, "!(B | A1 & A2)");
    EXPECT_EQ(m.nld_cell, "aoi--21");
    EXPECT_EQ(m.area, 2.5);
    EXPECT_EQ(m.pins, (Pins{{"A1", "in0"}, {"A2", "in1"}, {"B", "in2"}, {"Y", "nout"}}));
    EXPECT_EQ(map_function({"A", "B"}, "A^B").pins,
              (Pins{{"A", "in1"}, {"B", "in2"}, {"Y", "out"}}));
}

TEST(LibertyCells, OtherLogicIsABlackBoxWithItsOwnPins) {
    for (const auto& [inputs, function] :
         std::vector<std::pair<std::vector<std::string>, const char*>>{
             {{"A", "B", "S"}, "(A !S) + (B S)"},  // a multiplexer
             {{"A", "B"}, "A !B"},
             {{"A", "B", "C"}, "A B"},  // an input that does not count
             {{"A"}, "Z"}}) {           // a name that is no input
        const CellMapping m = map_function(inputs, function);
        EXPECT_TRUE(m.black_box()) << function << " became " << m.nld_cell;
        EXPECT_EQ(m.pins.size(), inputs.size() + 1) << function;
        for (const auto& [lib_pin, nld_pin] : m.pins) EXPECT_EQ(lib_pin, nld_pin);
    }
}

TEST(LibertyCells, MultiOutputCellsAndOtherFlipFlopsAreBlackBoxes) {
    const Library lib = read_liberty(
        "t.lib",
        "library (demo) {\n"
        " cell (HA) {\n  pin (A, B) { direction : input ; }\n"
        "  pin (S) { direction : output ; function : \"A^B\" ; }\n"
        "  pin (CO) { direction : output ; function : \"A B\" ; }\n }\n"
        " cell (DFFR) {\n  ff (IQ, IQN) { next_state : \"D\" ; clocked_on : \"C\" ; clear : \"R\" "
        "; }\n"
        "  pin (D, C, R) { direction : input ; }\n"
        "  pin (Q) { direction : output ; function : \"IQ\" ; }\n }\n"
        " cell (DFFN) {\n  ff (IQ, IQN) { next_state : \"D\" ; clocked_on : \"!C\" ; }\n"
        "  pin (D, C) { direction : input ; }\n"
        "  pin (Q) { direction : output ; function : \"IQ\" ; }\n }\n"
        " cell (DFFQN) {\n  ff (S, SN) { next_state : \"D\" ; clocked_on : \"C\" ; }\n"
        "  pin (D, C) { direction : input ; }\n"
        "  pin (QN) { direction : output ; function : \"!S\" ; }\n }\n"
        " cell (LATCH) {\n  latch (IQ, IQN) { data_in : \"D\" ; enable : \"G\" ; }\n"
        "  pin (D, G) { direction : input ; }\n"
        "  pin (Q) { direction : output ; function : \"IQ\" ; }\n }\n"
        "}\n");
    const std::vector<CellMapping> m = map_libraries({lib});
    ASSERT_EQ(m.size(), 5u);
    EXPECT_TRUE(m[0].black_box());
    EXPECT_EQ(m[0].pin_order, (std::vector<std::string>{"A", "B", "S", "CO"}));
    EXPECT_TRUE(m[1].black_box());
    EXPECT_TRUE(m[2].black_box());
    EXPECT_EQ(m[3].nld_cell, "reg-1");
    EXPECT_EQ(m[3].pins, (Pins{{"D", "in"}, {"C", "m_clock"}, {"QN", "nout"}}));
    EXPECT_TRUE(m[4].black_box());
}

TEST(LibertyCells, ACellInTwoLibrariesIsRefused) {
    const Library a = read_liberty("a.lib", gate_library({"A"}, "!A"));
    const Library b = read_liberty("b.lib", gate_library({"A"}, "A"));
    try {
        map_libraries({a, b});
        ADD_FAILURE() << "accepted";
    } catch (const LibertyError& e) {
        EXPECT_EQ(std::string(e.what()), "b.lib:2: cell 'G' is defined twice");
    }
}

std::vector<CellMapping> two_strengths() {
    const Library lib =
        read_liberty("t.lib",
                     "library (demo) {\n"
                     " cell (NAND2_X2) { area : 2 ; pin (A, B) { direction : input ; }\n"
                     "  pin (Y) { direction : output ; function : \"!(A B)\" ; } }\n"
                     " cell (NAND2_X1) { area : 1 ; pin (A, B) { direction : input ; }\n"
                     "  pin (Y) { direction : output ; function : \"!(A B)\" ; } }\n"
                     " cell (MUX) { area : 3 ; pin (A, B, S) { direction : input ; }\n"
                     "  pin (Y) { direction : output ; function : \"A !S + B S\" ; } }\n"
                     "}\n");
    return map_libraries({lib});
}

TEST(LibertyChoice, KeptInstancesKeepTheirCellOthersGetTheSmallest) {
    const PinMap map =
        read_pin_map("m.map",
                     "# comment\n"
                     "cell NAND2_X2 nand--2 A=in0 B=in1 Y=nout\n"
                     "cell $_NOT_ inv- A=in Y=nout\n"
                     "port top a 3 0\n"
                     "inst top g1 NAND2_X2\ninst sub g2 NAND2_X2\ninst top n $_NOT_\n");
    CellChooser chooser(two_strengths(), map);
    const std::vector<std::string> nand_pins = {"in0", "in1", "nout"};
    auto kept = chooser.choose("top", "g1", "nand--2", nand_pins);
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->type, "NAND2_X2");
    EXPECT_EQ(kept->pins,
              (std::map<std::string, std::string>{{"in0", "A"}, {"in1", "B"}, {"nout", "Y"}}));
    auto copy = chooser.choose("sub-2", "g2", "nand--2", nand_pins);  // a module copy of sub
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->type, "NAND2_X2");
    auto changed = chooser.choose("top", "g1", "nor--2", {"in0", "in1", "nout"});
    EXPECT_FALSE(changed);  // no NOR in the library, nor in the netlist
    chooser.note_missing("nor--2");
    auto fresh = chooser.choose("top", "nand-1", "nand--2", nand_pins);
    ASSERT_TRUE(fresh);
    EXPECT_EQ(fresh->type, "NAND2_X1");
    auto inverter = chooser.choose("top", "inv-1", "inv-", {"in", "nout"});
    ASSERT_TRUE(inverter);  // no library inverter: the netlist's own cell type
    EXPECT_EQ(inverter->type, "$_NOT_");
    EXPECT_TRUE(chooser.black_box("MUX"));
    EXPECT_FALSE(chooser.black_box("NAND2_X1"));
    EXPECT_EQ(chooser.vector_ports("top"),
              (std::map<std::string, std::pair<int, int>>{{"a", {3, 0}}}));
    EXPECT_EQ(chooser.report(),
              "nld2verilog: 2 instances kept their library cells\n"
              "nld2verilog: $_NOT_ chosen for 1 inv- instance\n"
              "nld2verilog: NAND2_X1 chosen for 1 nand--2 instance\n"
              "nld2verilog: no library cell for 1 nor--2 instance: written as vorp's cell, model "
              "appended\n");
}

TEST(LibertyChoice, MalformedPinMapsGiveFileAndLine) {
    auto refusal = [](const std::string& text) -> std::string {
        try {
            read_pin_map("m.map", text);
        } catch (const LibertyError& e) {
            return e.what();
        }
        return "";
    };
    EXPECT_EQ(refusal("cell A nand--2 A=in0\nwhat\n"), "m.map:2: expected a cell or inst line");
    EXPECT_EQ(refusal("cell A nand--2 A\n"), "m.map:1: malformed pin 'A'");
    EXPECT_EQ(refusal("port top a x 0\n"), "m.map:1: malformed port range");
    EXPECT_EQ(refusal("inst top g B\n"),
              "m.map:1: instance 'g' of cell 'B' that the map does not describe");
}

}  // namespace
}  // namespace vorp::liberty
