// verilog2nld: every construct of the structural subset, the NLD it gives
// (and that vorp's loader reads it), and every refusal with its file and line.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "db/codes.h"
#include "db/design.h"
#include "tests/support/fixture.h"
#include "tools/nld_from_verilog.h"
#include "tools/verilog_reader.h"

namespace vorp::verilog {
namespace {

using test::TestDesign;

std::map<std::string, NldFile> convert(const std::string& text) {
    std::map<std::string, NldFile> out;
    for (NldFile& f : convert_modules(read_verilog("t.v", text))) out[f.module] = f;
    return out;
}

std::string nld(const std::string& text, const std::string& module = "top") {
    return convert(text).at(module).text;
}

// The message of the refusal, or "" when the text converts.
std::string refusal(const std::string& text) {
    try {
        convert(text);
    } catch (const VerilogError& e) {
        return e.what();
    }
    return "";
}

std::vector<std::string> names(const Instance* list) {
    std::vector<std::string> out;
    for (; list; list = list->next) out.push_back(list->name ? list->name : "(null)");
    return out;
}

std::vector<std::string> net_nodes(const Net* net) {
    std::vector<std::string> out;
    for (const Node* n = net->nodes; n; n = n->next)
        out.push_back(n->inst->cell() == CELL_PORT ? std::string(n->pin)
                                                   : std::string(n->inst->name) + "." + n->pin);
    return out;
}

using Strings = std::vector<std::string>;

TEST(Verilog2Nld, PortsInHeaderOrderWithTheirDirections) {
    EXPECT_EQ(nld("module top(y, a, b);\n input a;\n inout b;\n output y;\nendmodule\n"),
              "(def-module top\n"
              " (def-pin y type output)\n"
              " (def-pin a type input)\n"
              " (def-pin b type bidirect)\n"
              ")\n");
}

TEST(Verilog2Nld, VectorPortsGiveOneBitPerIndexInRangeOrder) {
    const std::string text =
        nld("module top(a, b);\n input [2:0] a;\n output [0:1] b;\n wire [0:1] b;\nendmodule\n");
    EXPECT_EQ(text,
              "(def-module top\n (def-pin a[2] type input)\n (def-pin a[1] type input)\n"
              " (def-pin a[0] type input)\n (def-pin b[0] type output)\n"
              " (def-pin b[1] type output)\n)\n");
}

TEST(Verilog2Nld, YosysGatesBecomeLibraryCellsWithLibraryPins) {
    struct Case {
        const char* yosys;
        const char* cell;
        std::vector<std::pair<const char*, const char*>> pins;  // yosys pin, NLD pin
    };
    const std::vector<Case> cases = {
        {"$_NOT_", "inv-", {{"A", "in"}, {"Y", "nout"}}},
        {"$_BUF_", "ninv-", {{"A", "in"}, {"Y", "out"}}},
        {"$_AND_", "and--2", {{"A", "in0"}, {"B", "in1"}, {"Y", "out"}}},
        {"$_NAND_", "nand--2", {{"A", "in0"}, {"B", "in1"}, {"Y", "nout"}}},
        {"$_OR_", "or--2", {{"A", "in0"}, {"B", "in1"}, {"Y", "out"}}},
        {"$_NOR_", "nor--2", {{"A", "in0"}, {"B", "in1"}, {"Y", "nout"}}},
        {"$_XOR_", "eor--2", {{"A", "in1"}, {"B", "in2"}, {"Y", "out"}}},
        {"$_XNOR_", "enor--2", {{"A", "in1"}, {"B", "in2"}, {"Y", "nout"}}},
        {"$_AOI3_", "aoi--21", {{"A", "in0"}, {"B", "in1"}, {"C", "in2"}, {"Y", "nout"}}},
        {"$_OAI3_", "oai--21", {{"A", "in0"}, {"B", "in1"}, {"C", "in2"}, {"Y", "nout"}}},
        {"$_AOI4_",
         "aoi--22",
         {{"A", "in0"}, {"B", "in1"}, {"C", "in2"}, {"D", "in3"}, {"Y", "nout"}}},
        {"$_OAI4_",
         "oai--22",
         {{"A", "in0"}, {"B", "in1"}, {"C", "in2"}, {"D", "in3"}, {"Y", "nout"}}},
        {"$_DFF_P_", "reg-1", {{"C", "m_clock"}, {"D", "in"}, {"Q", "out"}}},
    };
    for (const Case& c : cases) {
        // Each pin on a net of its own with the port p_<pin>.
        std::string ports, decls, connections;
        for (const auto& [pin, nld_pin] : c.pins) {
            ports += std::string(ports.empty() ? "" : ", ") + "p_" + pin;
            decls += std::string(" input p_") + pin + ";\n";
            connections +=
                std::string(connections.empty() ? "" : ", ") + "." + pin + "(p_" + pin + ")";
        }
        const std::string text = nld("module top(" + ports + ");\n" + decls + " \\" + c.yosys +
                                     " g (" + connections + ");\nendmodule\n");
        EXPECT_NE(text.find(std::string("(def-comp ") + c.cell + " g)"), std::string::npos)
            << c.yosys << "\n"
            << text;
        for (const auto& [pin, nld_pin] : c.pins)
            EXPECT_NE(text.find(std::string("(def-net g.") + nld_pin + " p_" + pin + ")"),
                      std::string::npos)
                << c.yosys << " " << pin << "\n"
                << text;
    }
}

TEST(Verilog2Nld, YosysGatesLoadIntoVorpWithTheirDirections) {
    const std::string text =
        nld("module top(a, b, c, d, clk, y, q);\n input a, b, c, d, clk;\n output y, q;\n"
            " wire n1, n2, n3;\n"
            " \\$_AOI4_ g1 (.A(a), .B(b), .C(c), .D(d), .Y(n1));\n"
            " \\$_XOR_ g2 (.A(n1), .B(a), .Y(n2));\n"
            " \\$_NOT_ g3 (.A(n2), .Y(n3));\n"
            " \\$_DFF_P_ r (.C(clk), .D(n3), .Q(q));\n"
            " \\$_OAI3_ g4 (.A(n1), .B(n2), .C(n3), .Y(y));\nendmodule\n");
    TestDesign t;
    vorp::Module& m = t.load({{"top.nld", text}});
    EXPECT_EQ(names(m.insts), (Strings{"g1", "g2", "g3", "r", "g4"}));
    EXPECT_EQ(m.insts->cell(), CELL_AOI);
    EXPECT_EQ(m.insts->param(), 22);
    EXPECT_EQ(t.d.inverter_count, 1);
    EXPECT_EQ(t.d.has_xor, 1);
    EXPECT_EQ(t.d.has_registers, 1);
}

TEST(Verilog2Nld, LibraryCellsKeepTheirNamesAndPins) {
    const std::string text =
        nld("module top(a, b, c, e, y, z, q);\n input a, b, c, e;\n output y, z, q;\n wire w, v;\n"
            " \\nand--3  n (.in0(a), .in1(b), .in2(c), .nout(w));\n"
            " \\aoi--211  o (.in0(a), .in1(b), .in2(c), .in3(w), .nout(v));\n"
            " \\ts_buf-  t (.in(v), .nenb(e), .out(y));\n"
            " \\sreg-1  s (.in(v), .scan_in(a), .m_clock(e), .out(q), .scan_out(z));\n"
            "endmodule\n");
    EXPECT_NE(text.find("(def-comp sreg-1 s)\n (def-comp ts_buf- t)\n (def-comp aoi--211 o)\n"
                        " (def-comp nand--3 n)\n"),
              std::string::npos)
        << text;
    TestDesign t;
    vorp::Module& m = t.load({{"top.nld", text}});
    EXPECT_EQ(names(m.insts), (Strings{"n", "o", "t", "s"}));
}

TEST(Verilog2Nld, InstancesNetsAndNodesComeBackInVerilogOrder) {
    const std::string text =
        nld("module top(a, y);\n input a;\n output y;\n wire w2, w1;\n"
            " \\$_NOT_ i1 (.A(a), .Y(w1));\n \\$_NOT_ i2 (.A(w1), .Y(w2));\n"
            " \\$_AND_ i3 (.A(w1), .B(w2), .Y(y));\nendmodule\n");
    EXPECT_EQ(text,
              "(def-module top\n (def-pin a type input)\n (def-pin y type output)\n"
              " (def-comp and--2 i3)\n (def-comp inv- i2 i1)\n"
              " (def-net i3.in0 i2.in i1.nout)\n (def-net i3.in1 i2.nout)\n"
              " (def-net i3.out y)\n (def-net i1.in a)\n)\n");
    TestDesign t;
    vorp::Module& m = t.load({{"top.nld", text}});
    EXPECT_EQ(names(m.insts), (Strings{"i1", "i2", "i3"}));
    // Nets by declaration: a and y (ports), then w2, then w1.
    const Net* net = m.nets;
    EXPECT_EQ(net_nodes(net), (Strings{"a", "i1.in"}));
    EXPECT_EQ(net_nodes(net = net->next), (Strings{"y", "i3.out"}));
    EXPECT_EQ(net_nodes(net = net->next), (Strings{"i2.nout", "i3.in1"}));
    EXPECT_EQ(net_nodes(net = net->next), (Strings{"i1.nout", "i2.in", "i3.in0"}));
    EXPECT_EQ(net->next, nullptr);
}

TEST(Verilog2Nld, WireDeclarationOrdersPortNetsAmongTheOthers) {
    // As yosys writes it: every port also declared a wire, the wires in order.
    const std::string text =
        nld("module top(a, y);\n input a;\n output y;\n wire n;\n wire y;\n wire a;\n"
            " \\$_NOT_ i1 (.A(a), .Y(n));\n \\$_NOT_ i2 (.A(n), .Y(y));\nendmodule\n");
    TestDesign t;
    vorp::Module& m = t.load({{"top.nld", text}});
    EXPECT_EQ(net_nodes(m.nets), (Strings{"i1.nout", "i2.in"}));
    EXPECT_EQ(net_nodes(m.nets->next), (Strings{"y", "i2.nout"}));
    EXPECT_EQ(net_nodes(m.nets->next->next), (Strings{"a", "i1.in"}));
}

TEST(Verilog2Nld, AssignJoinsNetsRightSideFirst) {
    const std::string text =
        nld("module top(a, y, z);\n input a;\n output y, z;\n wire w;\n"
            " assign y = w;\n assign z = y;\n \\$_NOT_ i (.A(a), .Y(w));\nendmodule\n");
    TestDesign t;
    vorp::Module& m = t.load({{"top.nld", text}});
    EXPECT_EQ(net_nodes(m.nets), (Strings{"a", "i.in"}));
    EXPECT_EQ(net_nodes(m.nets->next), (Strings{"y", "z", "i.nout"}));
}

TEST(Verilog2Nld, AssignOfTwoPortsAndDeclarationAssign) {
    const std::string text =
        nld("module top(a, y);\n input a;\n output y;\n wire w = a;\n assign y = w;\nendmodule\n");
    EXPECT_NE(text.find("(def-net y a)"), std::string::npos) << text;
}

TEST(Verilog2Nld, ConstantsBecomeHighAndLowCells) {
    const std::string text =
        nld("module top(a, y, z, u);\n input a;\n output y, z, u;\n"
            " assign y = 1'h1;\n assign u = 1'b1;\n"
            " \\$_AND_ g (.A(a), .B(1'b0), .Y(z));\nendmodule\n");
    EXPECT_NE(text.find("(def-comp high- const1)\n (def-comp low- const0)\n"), std::string::npos)
        << text;
    EXPECT_NE(text.find("(def-net u y const1.out)"), std::string::npos) << text;
    EXPECT_NE(text.find("(def-net g.in1 const0.nout)"), std::string::npos) << text;
    TestDesign t;
    vorp::Module& m = t.load({{"top.nld", text}});
    EXPECT_EQ(names(m.insts), (Strings{"g", "const0", "const1"}));
}

TEST(Verilog2Nld, ConstantCellNamesAvoidTakenNames) {
    const std::string text =
        nld("module top(const1, y);\n input const1;\n output y;\n"
            " \\$_AND_ const1_1 (.A(const1), .B(1'b1), .Y(y));\nendmodule\n");
    EXPECT_NE(text.find("(def-comp high- const1_2)"), std::string::npos) << text;
}

TEST(Verilog2Nld, WideConstantsAndVectorsBitByBit) {
    const std::string text =
        nld("module top(y);\n output [3:0] y;\n assign y = 4'b1010;\nendmodule\n");
    EXPECT_NE(text.find("(def-net y[0] y[2] const0.nout)"), std::string::npos) << text;
    EXPECT_NE(text.find("(def-net y[1] y[3] const1.out)"), std::string::npos) << text;
    EXPECT_NE(nld("module top(y);\n output [7:0] y;\n assign y = 8'h0f;\nendmodule\n")
                  .find("(def-net y[0] y[1] y[2] y[3] const1.out)"),
              std::string::npos);
    EXPECT_NE(nld("module top(y);\n output [1:0] y;\n assign y = 2'd2;\nendmodule\n")
                  .find("(def-net y[1] const1.out)"),
              std::string::npos);
    EXPECT_NE(nld("module top(y);\n output [2:0] y;\n assign y = 0;\nendmodule\n")
                  .find("(def-net y[0] y[1] y[2] const0.nout)"),
              std::string::npos);
}

TEST(Verilog2Nld, BitSelectsPartSelectsAndConcatenations) {
    const std::string text =
        nld("module top(a, y);\n input [3:0] a;\n output [1:0] y;\n wire [1:0] p;\n"
            " assign p = a[2:1];\n assign {y[0], y[1]} = {p[1], a[3]};\nendmodule\n");
    EXPECT_NE(text.find("(def-net y[0] a[2])"), std::string::npos) << text;
    EXPECT_NE(text.find("(def-net y[1] a[3])"), std::string::npos) << text;
}

TEST(Verilog2Nld, SubModuleInstancesConnectEveryPortBit) {
    const auto files = convert(
        "module sub(x, q);\n input [1:0] x;\n output q;\n"
        " \\$_AND_ g (.A(x[1]), .B(x[0]), .Y(q));\nendmodule\n"
        "module top(a, b, y);\n input a, b;\n output y;\n"
        " sub u1 (.x({a, b}), .q(y));\nendmodule\n");
    EXPECT_NE(files.at("top").text.find("(def-comp sub u1)"), std::string::npos);
    EXPECT_NE(files.at("top").text.find("(def-net u1.x[1] a)"), std::string::npos);
    EXPECT_NE(files.at("top").text.find("(def-net u1.x[0] b)"), std::string::npos);
    TestDesign t;
    vorp::Module& m =
        t.load({{"top.nld", files.at("top").text}, {"sub.nld", files.at("sub").text}});
    EXPECT_EQ(m.next->name, std::string("sub"));
    EXPECT_EQ(m.insts->cell(), CELL_SUBMODULE);
}

TEST(Verilog2Nld, BlackboxModuleBecomesAPcdInterface) {
    const auto files = convert(
        "(* blackbox *)\nmodule bb(i, o);\n input i;\n output o;\nendmodule\n"
        "module top(a, y);\n input a;\n output y;\n bb u (.i(a), .o(y));\nendmodule\n");
    EXPECT_TRUE(files.at("bb").interface_only);
    EXPECT_FALSE(files.at("top").interface_only);
    EXPECT_EQ(files.at("bb").text,
              "(def-module bb\n (def-pin i type input)\n (def-pin o type output)\n)\n");
    TestDesign t;
    vorp::Module& m = t.load({{"top.nld", files.at("top").text}, {"bb.pcd", files.at("bb").text}});
    EXPECT_EQ(m.next->kind(), MOD_PCD);
}

TEST(Verilog2Nld, LonePortsAndEmptyWiresAreNotNets) {
    const std::string text =
        nld("module top(a, y, u);\n input a, u;\n output y;\n wire unused;\n wire y;\n"
            " \\$_NOT_ i (.A(a), .Y(y));\n \\$_NOT_ j (.A(a), .Y());\nendmodule\n");
    EXPECT_EQ(text.find("(def-net u"), std::string::npos) << text;
    TestDesign t;
    vorp::Module& m = t.load({{"top.nld", text}});
    EXPECT_EQ(m.ports->name, std::string("u"));
    EXPECT_EQ(m.ports->node, nullptr);
}

TEST(Verilog2Nld, CommentsAttributesEscapedNamesAndInstanceLists) {
    const std::string text =
        nld("/* yosys */ (* top = 1 *)\nmodule \\top (\\a[1] , y); // header\n"
            " (* src = \"x.v:1\" *) input \\a[1] ;\n output y;\n wire \\n$1 ;\n"
            " \\$_NOT_ \\i/1 (.A(\\a[1] ), .Y(\\n$1 )), i2 (.A(\\n$1 ), .Y(y));\nendmodule\n");
    EXPECT_NE(text.find("(def-comp inv- i2 i/1)"), std::string::npos) << text;
    EXPECT_NE(text.find("(def-net i/1.in a[1])"), std::string::npos) << text;
}

TEST(Verilog2Nld, DefCompFormsHoldAtMostEightNames) {
    std::string v = "module top(a);\n input a;\n";
    for (int i = 0; i < 10; ++i) v += " \\$_NOT_ g" + std::to_string(i) + " (.A(a));\n";
    const std::string text = nld(v + "endmodule\n");
    EXPECT_NE(text.find("(def-comp inv- g9 g8 g7 g6 g5 g4 g3 g2)\n (def-comp inv- g1 g0)"),
              std::string::npos)
        << text;
}

struct Refusal {
    const char* body;  // inside module top(a, y); input a; output y; ... endmodule
    const char* message;
};

TEST(Verilog2Nld, RefusesWhatLiesOutsideTheSubsetNamingFileAndLine) {
    const Refusal cases[] = {
        {"always @(a) ;", "t.v:4: 'always' is outside the supported subset"},
        {"reg r;", "t.v:4: 'reg' is outside the supported subset"},
        {"parameter p = 1;", "t.v:4: 'parameter' is outside the supported subset"},
        {"and g (y, a, a);", "t.v:4: 'and' is outside the supported subset"},
        {"assign y = ~a;", "t.v:4: expected a wire, a bit-select or a constant, found '~'"},
        {"assign y = a & a;", "t.v:4: expression operator '&' is outside the supported subset"},
        {"assign y = {2{a}};", "t.v:4: replication is outside the supported subset"},
        {"assign #1 y = a;", "t.v:4: assignment delays are outside the supported subset"},
        {"\\$_NOT_ g (a, y);", "t.v:4: the pin order of '$_NOT_' is not known: connect it by name"},
        {"\\$_NOT_ #(1) g (.A(a));", "t.v:4: instance parameters are outside the supported subset"},
        {"\\$_NOT_ g [1:0] (.A(a));", "t.v:4: instance arrays are outside the supported subset"},
        {"\\$_MUX_ g (.A(a));", "t.v:4: yosys cell '$_MUX_' is outside the supported subset"},
        {"foo g (.A(a));", "t.v:4: unknown cell or module 'foo'"},
        {"\\and--1 g (.in0(a));", "t.v:4: 'and--1' is not a cell of the library"},
        {"\\inv--5 g (.in(a));", "t.v:4: 'inv--5' is not a cell of the library"},
        {"\\$_NOT_ g (.B(a));", "t.v:4: '$_NOT_' has no pin 'B'"},
        {"\\$_NOT_ g (.A(a), .A(a));", "t.v:4: pin 'A' is connected twice"},
        {"\\$_NOT_ g (.A(w));", "t.v:4: 'w' is not declared"},
        {"wire [1:0] w; \\$_NOT_ g (.A(w));", "t.v:4: 2 bits given where 1 are needed"},
        {"assign y = a[0];", "t.v:4: select [0] is outside 'a'"},
        {"wire [3:0] w; assign y = w[4];", "t.v:4: select [4] is outside 'w'"},
        {"wire [3:0] w; wire [1:0] v; assign v = w[0:1];",
         "t.v:4: part-select of 'w' runs the wrong way"},
        {"assign y = 1'bx;", "t.v:4: constant with x or z bits is outside the supported subset"},
        {"assign y = 1'bz;", "t.v:4: constant with x or z bits is outside the supported subset"},
        {"wire w; assign w = 1'b0;\n assign y = 1'b1;\n assign y = w;",
         "t.v:6: a net is tied to both 0 and 1"},
        {"assign 1'b0 = a;", "t.v:4: a constant cannot be assigned to"},
        {"wire [1:0] w; assign w = {a, 0};", "t.v:4: an unsized constant inside a concatenation"},
        {"assign y = 'h1;", "t.v:4: unsized constant 'h1 is not supported"},
        {"assign y = 1'q1;", "t.v:4: malformed constant 1'q1"},
        {"assign y = 99999999999999999999;", "t.v:4: number out of range: 99999999999999999999"},
        {"assign y = 5000'b0;", "t.v:4: constant width out of range: 5000'b0"},
        {"assign y = 1'd99999999999999999999;", "t.v:4: number out of range: 99999999999999999999"},
        {"wire [99999999999:0] w;", "t.v:4: number out of range: 99999999999"},
        {"wire [70000:0] w;", "t.v:4: a range wider than 65536 bits"},
        {"\\$_NOT_ g (.A(a));\n \\$_NOT_ g (.A(a));", "t.v:5: instance 'g' is declared twice"},
        {"\\$_NOT_ a (.A(y));", "t.v:4: instance 'a' has the name of a port"},
        {"\\$_NOT_ \\g.1 (.A(a));", "t.v:4: instance name 'g.1' cannot be written in NLD"},
        {"input b;", "t.v:4: 'b' is declared as a port but is not in the port list"},
        {"input a;", "t.v:4: port 'a' is declared twice"},
        {"wire w; wire w;", "t.v:4: wire 'w' is declared twice"},
        {"wire [1:0] y;", "t.v:4: 'y' is declared again with another range"},
        {"input signed s;", "t.v:4: 'signed' is outside the supported subset"},
        {"`define X 1", "t.v:4: compiler directive is outside the supported subset"},
        {"/* open", "t.v:4: comment not closed"},
        {"(* open", "t.v:4: attribute not closed"},
        {"wire w", "t.v:5: expected ',', found 'endmodule'"},
    };
    for (const Refusal& c : cases) {
        const std::string text =
            std::string("module top(a, y);\n input a;\n output y;\n ") + c.body + "\nendmodule\n";
        EXPECT_EQ(refusal(text), c.message) << c.body;
    }
}

TEST(Verilog2Nld, AnsiHeadersDeclareThePorts) {
    EXPECT_EQ(nld("module top(input a, b, input wire [1:0] c,\n output y, inout z);\nendmodule\n"),
              nld("module top(a, b, c, y, z);\n input a, b;\n input [1:0] c;\n output y;\n"
                  " inout z;\nendmodule\n"));
}

TEST(Verilog2Nld, ConnectionsByPositionFollowTheModuleHeader) {
    const std::string sub = "module s(output y, input [1:0] a, input b);\nendmodule\n";
    EXPECT_EQ(nld(sub + "module top(input p, q, r, output o);\n s u (o, {p, q}, r);\nendmodule\n"),
              nld(sub + "module top(input p, q, r, output o);\n s u (.b(r), .a({p, q}), .y(o));\n"
                        "endmodule\n"));
    EXPECT_EQ(nld(sub + "module top(input p, output o);\n s u (o, , p);\nendmodule\n"),
              nld(sub + "module top(input p, output o);\n s u (.y(o), .b(p));\nendmodule\n"));
    EXPECT_EQ(refusal(sub + "module top(input p, output o);\n s u (o, {p, p}, p, p);\nendmodule\n"),
              "t.v:4: 's' has 3 pins");
    EXPECT_EQ(refusal(sub + "module top(input p);\n s u (p, .b(p));\nendmodule\n"),
              "t.v:4: named and positional connections are mixed");
}

TEST(Verilog2Nld, RefusesBadModules) {
    EXPECT_EQ(refusal("module top(a);\nendmodule\n"),
              "t.v:1: port 'a' has no input, output or inout declaration");
    EXPECT_EQ(refusal("module top(a, a);\n input a;\nendmodule\n"),
              "t.v:1: port 'a' is listed twice");
    EXPECT_EQ(refusal("module top(input a, input a);\nendmodule\n"),
              "t.v:1: port 'a' is declared twice");
    EXPECT_EQ(refusal("module top(input a, [1:0] b);\nendmodule\n"),
              "t.v:1: expected a port name, found '['");
    EXPECT_EQ(refusal("module top(input reg a);\nendmodule\n"),
              "t.v:1: 'reg' is outside the supported subset");
    EXPECT_EQ(refusal("module top #(1) ();\nendmodule\n"),
              "t.v:1: module parameters are outside the supported subset");
    EXPECT_EQ(refusal("module top;\nendmodule\nmodule top;\nendmodule\n"),
              "t.v:3: module 'top' is defined twice");
    EXPECT_EQ(refusal("module \\nand--2 ;\nendmodule\n"),
              "t.v:1: module 'nand--2' has the name of a library cell");
    EXPECT_EQ(refusal("module \\a/b ;\nendmodule\n"),
              "t.v:1: module name 'a/b' cannot be an NLD file");
    EXPECT_EQ(refusal("module top;\n wire w;\n"), "t.v:3: end of file inside module top");
    EXPECT_EQ(refusal("wire w;\n"), "t.v:1: expected 'module', found 'wire'");
    EXPECT_EQ(refusal("module top(\\a.b );\n input \\a.b ;\nendmodule\n"),
              "t.v:2: port name 'a.b' cannot be written in NLD");
    EXPECT_EQ(refusal("module top(a, \\a[1] );\n input [1:0] a;\n input \\a[1] ;\nendmodule\n"),
              "t.v:3: port bit 'a[1]' is named twice");
    EXPECT_EQ(refusal("module s(x);\n input x;\nendmodule\nmodule top;\n s u (.y(1'b0));\n"
                      "endmodule\n"),
              "t.v:5: module 's' has no port 'y'");
    EXPECT_EQ(refusal("(* blackbox *) module b(x);\n input x;\n wire w = x;\nendmodule\n"),
              "t.v:3: a (* blackbox *) module with contents");
}

// The command: files written only when everything converts.
class Verilog2NldCommand : public ::testing::Test {
   protected:
    int run(const std::string& args) {
        const char* exe = std::getenv("VERILOG2NLD");
        if (!exe) ADD_FAILURE() << "VERILOG2NLD is not set";
        return WEXITSTATUS(std::system(
            (std::string(exe ? exe : "false") + " " + args + " 2> " + dir.path() + "/err")
                .c_str()));
    }
    test::TempDir dir;
};

TEST_F(Verilog2NldCommand, WritesOneFilePerModule) {
    dir.write("a.v", "(* blackbox *) module bb(i);\n input i;\nendmodule\n");
    dir.write("b.v", "module top(a);\n input a;\n bb u (.i(a));\nendmodule\n");
    dir.mkdir("out");
    EXPECT_EQ(run("-o " + dir.path() + "/out " + dir.path() + "/a.v " + dir.path() + "/b.v"), 0);
    EXPECT_EQ(test::read_file(dir.path() + "/out/top.nld"),
              "(def-module top\n (def-pin a type input)\n (def-comp bb u)\n (def-net u.i a)\n)\n");
    EXPECT_TRUE(std::filesystem::exists(dir.path() + "/out/bb.pcd"));
    EXPECT_EQ(test::read_file(dir.path() + "/err"), "");
}

TEST_F(Verilog2NldCommand, WritesNothingOnAnError) {
    dir.write("a.v", "module good(a);\n input a;\nendmodule\n");
    dir.write("b.v", "module bad(a);\n input a;\n always\nendmodule\n");
    dir.mkdir("out");
    EXPECT_EQ(run("-o " + dir.path() + "/out " + dir.path() + "/a.v " + dir.path() + "/b.v"), 1);
    EXPECT_EQ(test::read_file(dir.path() + "/err"),
              "verilog2nld: " + dir.path() + "/b.v:3: 'always' is outside the supported subset\n");
    EXPECT_TRUE(std::filesystem::is_empty(dir.path() + "/out"));
}

TEST_F(Verilog2NldCommand, AMalformedLibraryWritesNothing) {
    dir.write("a.v", "module top(input a, output y);\n INV g (a, y);\nendmodule\n");
    dir.write("bad.lib", "library (x) {\n cell (INV) {\n  pin (A) { direction : input ; }\n");
    dir.mkdir("out");
    EXPECT_EQ(run("--liberty " + dir.path() + "/bad.lib -o " + dir.path() + "/out " + dir.path() +
                  "/a.v"),
              1);
    EXPECT_EQ(test::read_file(dir.path() + "/err"),
              "verilog2nld: " + dir.path() + "/bad.lib:4: end of file inside group 'cell'\n");
    EXPECT_TRUE(std::filesystem::is_empty(dir.path() + "/out"));
}

TEST_F(Verilog2NldCommand, BlackBoxesAreCountedAndThePinMapWritten) {
    dir.write("a.v", "module top(input a, b, s, output y);\n MUX m (a, b, s, y);\nendmodule\n");
    dir.write("m.lib",
              "library (x) {\n cell (MUX) {\n  pin (A, B, S) { direction : input ; }\n"
              "  pin (Y) { direction : output ; function : \"A !S + B S\" ; }\n }\n}\n");
    dir.mkdir("out");
    EXPECT_EQ(
        run("--liberty " + dir.path() + "/m.lib -o " + dir.path() + "/out " + dir.path() + "/a.v"),
        0);
    EXPECT_EQ(test::read_file(dir.path() + "/err"),
              "verilog2nld: 1 instance of 1 cell of no NLD kind became black boxes: MUX (1)\n");
    EXPECT_EQ(test::read_file(dir.path() + "/out/MUX.pcd"),
              "(def-module MUX\n (def-pin A type input)\n (def-pin B type input)\n"
              " (def-pin S type input)\n (def-pin Y type output)\n)\n");
    EXPECT_EQ(test::read_file(dir.path() + "/out/liberty.map"),
              "# verilog2nld: library cells, their NLD pins and instances\n"
              "cell MUX * A=A B=B S=S Y=Y\ninst top m MUX\n");
}

TEST_F(Verilog2NldCommand, MissingInputAndMissingDirectory) {
    EXPECT_EQ(run(dir.path() + "/none.v"), 1);
    EXPECT_EQ(test::read_file(dir.path() + "/err"),
              "verilog2nld: cannot read " + dir.path() + "/none.v\n");
    dir.write("a.v", "module m;\nendmodule\n");
    EXPECT_EQ(run("-o " + dir.path() + "/nodir " + dir.path() + "/a.v"), 1);
    EXPECT_EQ(test::read_file(dir.path() + "/err"),
              "verilog2nld: cannot write " + dir.path() + "/nodir/m.nld\n");
    EXPECT_EQ(run(""), 2);
}

}  // namespace
}  // namespace vorp::verilog

namespace vorp::verilog {
namespace {

const char* kSmallLibrary =
    "library (small) {\n"
    " cell (NAND2_X1) { area : 1 ;\n"
    "  pin (A1, A2) { direction : input ; }\n"
    "  pin (ZN) { direction : output ; function : \"!(A1 A2)\" ; } }\n"
    " cell (AOI21_X1) { area : 1.5 ;\n"
    "  pin (A, B1, B2) { direction : input ; }\n"
    "  pin (ZN) { direction : output ; function : \"!(A + B1 B2)\" ; } }\n"
    " cell (MUX2_X1) { area : 2 ;\n"
    "  pin (I0, I1, S) { direction : input ; }\n"
    "  pin (Z) { direction : output ; function : \"(I0 !S) + (I1 S)\" ; } }\n"
    " cell (DFF_X1) { area : 4 ;\n"
    "  ff (IQ, IQN) { next_state : \"D\" ; clocked_on : \"CK\" ; }\n"
    "  pin (D, CK) { direction : input ; }\n"
    "  pin (Q) { direction : output ; function : \"IQ\" ; }\n"
    "  pin (QN) { direction : output ; function : \"IQN\" ; } }\n"
    "}\n";

Conversion convert_with_library(const std::string& text) {
    CellLibrary cells;
    for (liberty::CellMapping& m :
         liberty::map_libraries({liberty::read_liberty("small.lib", kSmallLibrary)}))
        cells[m.cell] = m;
    return convert_design(read_verilog("t.v", text), cells);
}

TEST(Verilog2NldLiberty, LibraryCellsBecomeNldCellsAndBlackBoxes) {
    const Conversion c = convert_with_library(
        "module top(input a, b, c, clk, output y, q);\n"
        " wire n1, n2;\n"
        " NAND2_X1 g1 (.A1(a), .A2(b), .ZN(n1));\n"
        " AOI21_X1 g2 (c, a, n1, n2);\n"
        " MUX2_X1 m (.I0(n2), .I1(a), .S(c), .Z(y));\n"
        " DFF_X1 r (.D(n2), .CK(clk), .Q(q));\n"
        "endmodule\n");
    ASSERT_EQ(c.files.size(), 2u);
    EXPECT_EQ(c.files[0].text,
              "(def-module top\n (def-pin a type input)\n (def-pin b type input)\n"
              " (def-pin c type input)\n (def-pin clk type input)\n (def-pin y type output)\n"
              " (def-pin q type output)\n"
              " (def-comp reg-1 r)\n (def-comp MUX2_X1 m)\n (def-comp aoi--21 g2)\n"
              " (def-comp nand--2 g1)\n"
              " (def-net r.in m.I0 g2.nout)\n (def-net g2.in1 g1.nout)\n"
              " (def-net r.out q)\n (def-net m.Z y)\n (def-net r.m_clock clk)\n"
              " (def-net m.S g2.in2 c)\n (def-net g1.in1 b)\n (def-net m.I1 g2.in0 g1.in0 a)\n)\n");
    EXPECT_EQ(c.files[1].module, "MUX2_X1");
    EXPECT_TRUE(c.files[1].interface_only);
    EXPECT_EQ(c.files[1].text,
              "(def-module MUX2_X1\n (def-pin I0 type input)\n (def-pin I1 type input)\n"
              " (def-pin S type input)\n (def-pin Z type output)\n)\n");
    EXPECT_EQ(c.black_boxes, (std::map<std::string, int>{{"MUX2_X1", 1}}));
    EXPECT_EQ(
        c.pin_map,
        "cell AOI21_X1 aoi--21 B1=in0 B2=in1 A=in2 ZN=nout\n"
        "cell DFF_X1 reg-1 D=in CK=m_clock Q=out QN=nout\n"
        "cell MUX2_X1 * I0=I0 I1=I1 S=S Z=Z\n"
        "cell NAND2_X1 nand--2 A1=in0 A2=in1 ZN=nout\n"
        "inst top g1 NAND2_X1\ninst top g2 AOI21_X1\ninst top m MUX2_X1\ninst top r DFF_X1\n");
}

TEST(Verilog2NldLiberty, RefusesWhatTheLibraryCannotTake) {
    auto refusal_with_library = [](const std::string& text) -> std::string {
        try {
            convert_with_library(text);
        } catch (const VerilogError& e) {
            return e.what();
        }
        return "";
    };
    EXPECT_EQ(refusal_with_library("module NAND2_X1(input a);\nendmodule\n"),
              "t.v:1: module 'NAND2_X1' has the name of a library cell");
    EXPECT_EQ(refusal_with_library("module top(input a);\n NAND2_X1 g (.A3(a));\nendmodule\n"),
              "t.v:2: 'NAND2_X1' has no pin 'A3'");
    EXPECT_EQ(refusal_with_library("module top(input a);\n NAND2_X1 g (a, a, a, a);\nendmodule\n"),
              "t.v:2: 'NAND2_X1' has 3 pins");
}

}  // namespace
}  // namespace vorp::verilog
