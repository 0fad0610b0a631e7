#include "netlist/reader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace vorp {
namespace {

struct Read {
    std::ostringstream err;
    Design d{err};
    Module* m = nullptr;
    int status = -1;

    Read(const std::string& text, bool pcd = false) {
        d.cur_path = "m.nld";
        try {
            m = pcd ? read_pcd(d, text) : read_nld(d, text);
        } catch (const Fatal& f) {
            status = f.status;
        }
    }
};

std::vector<std::string> names(const Instance* list) {
    std::vector<std::string> out;
    for (; list; list = list->next) out.push_back(list->name);
    return out;
}

std::vector<std::string> net_text(const Net* net) {
    std::vector<std::string> out;
    for (const Node* n = net->nodes; n; n = n->next)
        out.push_back(n->inst->cell() == CELL_PORT ? n->pin
                                                   : std::string(n->inst->name) + "." + n->pin);
    return out;
}

TEST(Reader, NodesOnPinsOfOneNameShareOneText) {
    Read r(
        "(def-module m (def-comp inv- i1 i2) (def-comp nand--2 g) (def-net i1.nout g.in)"
        " (def-net i2.nout g.x) (def-net i1.in i2.in g.nout))");
    ASSERT_EQ(r.status, -1);
    std::vector<const Node*> nodes;
    for (const Net* net = r.m->nets; net; net = net->next)
        for (const Node* n = net->nodes; n; n = n->next) nodes.push_back(n);
    ASSERT_EQ(nodes.size(), 7u);
    for (const Node* a : nodes)
        for (const Node* b : nodes)
            EXPECT_EQ(std::string(a->pin) == b->pin, a->pin == b->pin) << a->pin << " " << b->pin;
    EXPECT_STREQ(nodes[0]->pin, "nout");
    EXPECT_STREQ(nodes[1]->pin, "in");
}

TEST(Reader, ListsArePrependedSoFileOrderIsReversed) {
    Read r(
        "(def-module m (def-pin a type input) (def-pin y type output) (def-comp inv- i1) (def-net "
        "a i1.in) "
        "(def-net i1.nout y))");
    ASSERT_EQ(r.status, -1);
    EXPECT_STREQ(r.m->name, "m");
    EXPECT_EQ(names(r.m->ports), (std::vector<std::string>{"y", "a"}));
    EXPECT_EQ(names(r.m->insts), (std::vector<std::string>{"i1"}));
    ASSERT_TRUE(r.m->nets && r.m->nets->next && !r.m->nets->next->next);
    EXPECT_EQ(net_text(r.m->nets), (std::vector<std::string>{"y", "i1.nout"}));
    EXPECT_EQ(net_text(r.m->nets->next), (std::vector<std::string>{"i1.in", "a"}));
    EXPECT_EQ(r.d.inverter_count, 1);
}

TEST(Reader, NodesPointAtTheirPortsAndInstances) {
    Read r("(def-module m (def-pin a type input) (def-comp nand--2 g) (def-net a g.x))");
    ASSERT_EQ(r.status, -1);
    const Node* port_node = r.m->nets->nodes->next;
    EXPECT_EQ(port_node->inst, r.m->ports);
    EXPECT_EQ(port_node->pin, r.m->ports->name);
    EXPECT_EQ(port_node->pin_type(), KW_INPUT);
    EXPECT_EQ(r.m->ports->node, port_node);
    const Node* gate_node = r.m->nets->nodes;
    EXPECT_EQ(gate_node->pin_type(), KW_INPUT);
    EXPECT_EQ(gate_node->inst->node, gate_node);
    EXPECT_EQ(gate_node->net, r.m->nets);
}

TEST(Reader, MissingFinalParenthesisIsAccepted) {
    EXPECT_EQ(Read("(def-module m (def-pin a type input)").status, -1);
}

TEST(Reader, ExtraParenthesisIsAnError) {
    Read r("(def-module m (def-pin a type input)))");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.str(), "\"m.nld\", line 1: error\n");
}

TEST(Reader, EndOfFileInsideASkippedForm) {
    Read r("(def-module m\n(timing (x y)\n");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.str(), "\"m.nld\", line 3: too many )'s\n");
}

TEST(Reader, UnknownFormsAreSkippedWhole) {
    Read r("(def-module m (timing (a (b c)) d) (def-pin a type input))");
    ASSERT_EQ(r.status, -1);
    EXPECT_EQ(names(r.m->ports), (std::vector<std::string>{"a"}));
}

TEST(Reader, CellNamesGiveCodesAndParams) {
    Read r(
        "(def-module m (def-comp nand--3 g1 g2) (def-comp nand-3 s) (def-comp inv--5 i) (def-comp "
        "bgate--2 b))");
    ASSERT_EQ(r.status, -1);
    const Instance* b = r.m->insts;
    const Instance* i = b->next;
    const Instance* s = i->next;
    const Instance* g2 = s->next;
    EXPECT_EQ(b->cell(), CELL_BGATE);
    EXPECT_EQ(b->param(), 0);
    EXPECT_EQ(i->cell(), CELL_INV);
    EXPECT_EQ(i->param(), 5);
    EXPECT_EQ(s->cell(), CELL_SUBMODULE);
    EXPECT_STREQ(s->module_name, "nand-3");
    EXPECT_EQ(g2->cell(), CELL_NAND);
    EXPECT_EQ(g2->param(), 3);
    EXPECT_EQ(g2->next->param(), 3);
}

TEST(Reader, BadGateSuffixEndsSilently) {
    for (const char* cell : {"nand--1", "eor--3", "aoi--23", "or--"}) {
        Read r(std::string("(def-module m (def-comp ") + cell + " g))");
        EXPECT_EQ(r.status, 1) << cell;
        EXPECT_EQ(r.err.str(), "") << cell;
    }
}

TEST(Reader, LongDigitRunsKeepTheirValueModulo256) {
    std::ostringstream err;
    Design d(err);
    // 2^64 + 5 does not fit 64 bits; modulo 256 it is 5.
    EXPECT_EQ(parse_cell_name(d, "and--18446744073709551621"), CELL_AND);
    EXPECT_EQ(d.cell_param_low, 5u);
    EXPECT_EQ(parse_cell_name(d, "foo--300"), CELL_SUBMODULE);
    EXPECT_EQ(d.cell_param, 300u);
    EXPECT_EQ(d.cell_param_low, 44u);
    EXPECT_EQ(parse_cell_name(d, "foo--3x"), CELL_SUBMODULE);
    EXPECT_EQ(d.cell_param, 0u);
    EXPECT_EQ(parse_cell_name(d, "reg-2"), CELL_SUBMODULE);
    EXPECT_EQ(parse_cell_name(d, "aoi--211"), CELL_AOI);
    EXPECT_EQ(d.cell_param_low, 211u);
}

TEST(Reader, PinNamesAreCheckedByCell) {
    EXPECT_EQ(pin_type_of("x", CELL_NAND), KW_INPUT);
    EXPECT_EQ(pin_type_of("out", CELL_NAND), KW_INPUT);
    EXPECT_EQ(pin_type_of("nout", CELL_NAND), KW_OUTPUT);
    EXPECT_EQ(pin_type_of("out", CELL_AND), KW_OUTPUT);
    EXPECT_EQ(pin_type_of("x", CELL_INV), 0);
    EXPECT_EQ(pin_type_of("out", CELL_TS_BUF), KW_TRISTATE);
    EXPECT_EQ(pin_type_of("scan_out", CELL_SREG), KW_OUTPUT);
    EXPECT_EQ(pin_type_of("scan_out", CELL_REG), 0);
    EXPECT_EQ(pin_type_of("set", CELL_REG3), KW_INPUT);
    EXPECT_EQ(pin_type_of("anything", CELL_SUBMODULE), CELL_SUBMODULE);
    Read r("(def-module m (def-comp inv- i) (def-net i.x))");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.str(), "");
}

TEST(Reader, UndefinedInstanceIsReportedAfterItsPin) {
    Read r("(def-module m\n(def-net\nnone\n.\nin))");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.str(), "\"m.nld\", line 5: none undefined\n");
}

// The lexer runs ahead of the reader: a name it refuses a few tokens later
// must not speak before a fault the reader meets first, nor after the end of
// the module, and a fault far enough ahead is still reported with its line.
TEST(Reader, FaultsAheadWaitForTheFaultsBefore) {
    const std::string too_long(4096, 'x');
    Read undefined("(def-module m\n(def-net none.in a b c)\n" + too_long + ")");
    EXPECT_EQ(undefined.err.str(), "\"m.nld\", line 2: none undefined\n");
    Read bad_pin("(def-module m (def-comp inv- g) (def-net g.out)\n" + too_long + ")");
    EXPECT_EQ(bad_pin.status, 1);
    EXPECT_EQ(bad_pin.err.str(), "");
    Read cut("(def-module m (def-comp inv- g) (def-net g.in))\n)\n(a b c");
    EXPECT_EQ(cut.err.str(), "\"m.nld\", line 2: error\n");
    std::string far = "(def-module m (def-comp inv- g)\n";
    for (int k = 0; k < 100; ++k) far += "(def-net g.in)\n";
    Read late(far + too_long + ")");
    EXPECT_EQ(late.err.str(), "\"m.nld\", line 102: name is too long\n");
}

TEST(Reader, PortNameHidesAnInstance) {
    Read r("(def-module m (def-comp inv- a) (def-pin a type input) (def-net a))");
    ASSERT_EQ(r.status, -1);
    EXPECT_EQ(r.m->nets->nodes->inst, r.m->ports);
}

TEST(Reader, TheLastDeclaredOfTwoEqualNamesIsFound) {
    Read r("(def-module m (def-comp inv- i) (def-comp nand--2 i) (def-net i.x))");
    ASSERT_EQ(r.status, -1);
    EXPECT_EQ(r.m->nets->nodes->inst->cell(), CELL_NAND);
    EXPECT_EQ(find_inst("i", *r.m), r.m->nets->nodes->inst);
}

TEST(Reader, PinTypeAndNoteInEitherOrder) {
    Read r(
        "(def-module m (def-pin a note clock type input) (def-pin b type def-net note global note "
        "clock))");
    ASSERT_EQ(r.status, -1);
    EXPECT_EQ(r.m->ports->pin_type(), KW_DEF_NET);
    EXPECT_EQ(r.m->ports->note(), KW_CLOCK);
    EXPECT_EQ(r.m->ports->next->pin_type(), KW_INPUT);
}

TEST(Reader, PinFaults) {
    EXPECT_EQ(Read("(def-module m (def-pin a note clock))").status, 1);
    EXPECT_EQ(Read("(def-module m (def-pin a type input type output))").status, 1);
    Read unknown("(def-module m (def-pin a type nothing))");
    EXPECT_EQ(unknown.err.str(), "\"m.nld\", line 1: error\n");
    Read load("(def-module m (def-pin a type input load 2))");
    EXPECT_EQ(load.err.str(), "\"m.nld\", line 1: error\n");
    EXPECT_EQ(Read("(def-module m (def-pin a type input load 2))", true).status, -1);
}

TEST(Reader, GrammarFaults) {
    for (const char* text :
         {"def-module m", "(module m)", "(def-module (", "(def-module m (def-module x))",
          "(def-module m x)", "(def-module m .)", "(def-module m (def-comp inv- (x)))",
          "(def-module m (def-comp inv- i) (def-net i x))"}) {
        Read r(text);
        EXPECT_EQ(r.status, 1) << text;
        EXPECT_EQ(r.err.str(), "\"m.nld\", line 1: error\n") << text;
    }
}

TEST(Reader, PcdReadsPortsAndAttributesOnly) {
    Read r(
        "(def-module m area 12.5 power 3 gates .5 cell_name x (def-pin p type input load 1.5) "
        "(def-comp inv- i) "
        "(def-net p i.in))",
        true);
    ASSERT_EQ(r.status, -1);
    EXPECT_EQ(names(r.m->ports), (std::vector<std::string>{"p"}));
    EXPECT_EQ(r.m->insts, nullptr);
    EXPECT_EQ(r.m->nets, nullptr);
    EXPECT_EQ(r.d.inverter_count, 0);
    EXPECT_EQ(Read("(def-module m area 12.5)").status, 1);
    EXPECT_EQ(Read("(def-module m area (", true).status, 1);
    EXPECT_EQ(Read("(def-module m cell_name (", true).status, 1);
    EXPECT_EQ(Read("(def-module m cell_name x\n", true).status, -1);
}

TEST(Reader, RegisterAndXorCellsSetTheirFlags) {
    Read r("(def-module m (def-comp reg-1) (def-comp eor--2 x))");
    ASSERT_EQ(r.status, -1);
    EXPECT_EQ(r.d.has_registers, 1);
    EXPECT_EQ(r.d.has_xor, 1);
}

// The faults that print "error", each at the line where it is seen.
TEST(Reader, ErrorInsideForms) {
    for (const char* text : {
             "(def-module m\n(def-comp inv- .))",                 // "." inside def-comp
             "(def-module m\n(def-comp inv- i ",                  // end of file inside def-comp
             "(def-module m\n(def-comp (",                        // no cell name
             "(def-module m\n(def-net (",                         // "(" inside def-net
             "(def-module m\n(def-net .",                         // "." inside def-net
             "(def-module m\n(def-net a",                         // end of file after a connection
             "(def-module m\n(def-pin (",                         // no pin name
             "(def-module m\n(def-pin a type input .)",           // "." inside def-pin
             "(def-module m\n(def-pin a type input (",            // "(" inside def-pin
             "(def-module m\n(def-pin a type input ",             // end of file inside def-pin
             "(def-module m\n(def-pin a type (",                  // no keyword after type
             "(def-module m\n(def-pin a note nothing)",           // note value that is no keyword
             "(def-module m\n(def-pin a type input colour red)",  // unknown word
             "(def-module m\n(def-pin a type input area 2)",      // attribute word in def-pin
             "(def-module m\n(def-comp inv- i) (def-net i ))",    // instance without "."
             "(def-module m\n(def-comp inv- i) (def-net i . ))",  // "." without a pin
             "(def-module m\n( )",                                // "(" without a form name
             "(def-module m\n(. x)",                              // "." where the form name goes
         }) {
        Read r(text);
        EXPECT_EQ(r.status, 1) << text;
        EXPECT_EQ(r.err.str(), "\"m.nld\", line 2: error\n") << text;
    }
}

TEST(Reader, TokensAfterTheModuleAreAnError) {
    for (const char* text :
         {"(def-module m)\nx ", "(def-module m)\n(\n", "(def-module m)\n.", "(def-module m)\n)"}) {
        Read r(text);
        EXPECT_EQ(r.status, 1) << text;
        EXPECT_EQ(r.err.str(), "\"m.nld\", line 2: error\n") << text;
    }
    // Only blanks, newlines and comments may follow.
    EXPECT_EQ(Read("(def-module m)\n; trailing words ( ) .\n\n").status, -1);
}

TEST(Reader, NestedModuleIsAnErrorInBothFormats) {
    for (bool pcd : {false, true}) {
        Read r("(def-module m\n(def-module x))", pcd);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err.str(), "\"m.nld\", line 2: error\n");
    }
}

TEST(Reader, SilentFaultsPrintNothing) {
    for (const char* text : {
             "(def-module m (def-pin a note clock))",             // no type
             "(def-module m (def-pin a type input type input))",  // two types
             "(def-module m (def-pin a type input note clock type output))",
             "(def-module m (def-comp nand--1 g))",               // bad gate suffix
             "(def-module m (def-comp inv- g) (def-net g.out))",  // no such pin
             "(def-module m (def-comp eor--2 x) (def-net x.in3))",
             "(def-module m (def-comp high- h) (def-net h.nout))",
             "(def-module m (def-comp low- l) (def-net l.out))",
             "(def-module m (def-comp reg---1 r) (def-net r.in))",
         }) {
        Read r(text);
        EXPECT_EQ(r.status, 1) << text;
        EXPECT_EQ(r.err.str(), "") << text;
    }
    for (const char* text : {
             "(def-module m area (",  // value that is no number
             "(def-module m power )",
             "(def-module m gates 1. )",  // no digits after the dot
             "(def-module m area . .)",
             "(def-module m cell_name (",  // no name after cell_name
             "(def-module m cell_name ",
             "(def-module m (def-pin p type input load ))",
             "(def-module m (def-pin p type input load . ))",
         }) {
        Read r(text, true);
        EXPECT_EQ(r.status, 1) << text;
        EXPECT_EQ(r.err.str(), "") << text;
    }
}

TEST(Reader, PcdAttributesInAnNldFileAreAnError) {
    for (const char* text :
         {"(def-module m\narea 12.5)", "(def-module m\npower 3)", "(def-module m\ncell_name x)"}) {
        Read r(text);
        EXPECT_EQ(r.status, 1) << text;
        EXPECT_EQ(r.err.str(), "\"m.nld\", line 2: error\n") << text;
    }
}

TEST(Reader, PcdAttributeValuesAndEndOfFile) {
    // Every form of a value, attributes between forms, and a run that ends the file.
    Read r(
        "(def-module m power 1 area 2.5 gates .5 (def-pin a type input) cell_name c\n"
        "(def-pin b type output load .25 note clock load 3) area 7\n",
        true);
    ASSERT_EQ(r.status, -1) << r.err.str();
    EXPECT_EQ(names(r.m->ports), (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(r.m->ports->note(), KW_CLOCK);
    // A stray name at module level still is an error.
    Read stray("(def-module m area 1 colour red)", true);
    EXPECT_EQ(stray.err.str(), "\"m.nld\", line 1: error\n");
    // The value's tokens are consumed before the next check: a closing
    // parenthesis right after it closes the module.
    EXPECT_EQ(Read("(def-module m area 1)", true).status, -1);
}

TEST(Reader, PcdSkipsEverythingButPins) {
    Read r("(def-module m (def-comp inv- i) (def-net i.in a) (timing (x)) (def-pin a type input))",
           true);
    ASSERT_EQ(r.status, -1);
    EXPECT_EQ(r.m->insts, nullptr);
    EXPECT_EQ(r.m->nets, nullptr);
    EXPECT_EQ(r.d.inverter_count, 0);
    EXPECT_EQ(r.d.has_registers, 0);
    Read open("(def-module m (def-comp inv- i\n", true);
    EXPECT_EQ(open.err.str(), "\"m.nld\", line 2: too many )'s\n");
}

TEST(Reader, ModuleNameAndFirstTokens) {
    EXPECT_EQ(Read("").err.str(), "\"m.nld\", line 1: error\n");
    EXPECT_EQ(Read("\n\n").err.str(), "\"m.nld\", line 3: error\n");
    EXPECT_EQ(Read("(def-module\n)").err.str(), "\"m.nld\", line 2: error\n");
    EXPECT_EQ(Read("(def-pin m)").err.str(), "\"m.nld\", line 1: error\n");
    Read ok("; header\n(def-module top\n)\n");
    ASSERT_EQ(ok.status, -1);
    EXPECT_STREQ(ok.m->name, "top");
    EXPECT_EQ(ok.d.line, 4);
    EXPECT_EQ(ok.d.depth, 0);
}

TEST(Reader, LineAndDepthStartAgainForEachFile) {
    std::ostringstream err;
    Design d(err);
    d.cur_path = "a.nld";
    d.line = 40;
    d.depth = 7;
    read_nld(d, "(def-module a)\n\n");
    EXPECT_EQ(d.line, 3);
    EXPECT_EQ(d.depth, 0);
    d.cur_path = "b.nld";
    try {
        read_nld(d, "(def-module b\nx)");
        FAIL();
    } catch (const Fatal& f) {
        EXPECT_EQ(f.status, 1);
    }
    EXPECT_EQ(err.str(), "\"b.nld\", line 2: error\n");
}

TEST(Reader, ComponentFormsCanDeclareManyOrNoInstances) {
    Read r("(def-module m (def-comp sub) (def-comp sub a b) (def-comp inv- x y z))");
    ASSERT_EQ(r.status, -1);
    EXPECT_EQ(names(r.m->insts), (std::vector<std::string>{"z", "y", "x", "b", "a"}));
    EXPECT_EQ(r.d.inverter_count, 3);
    // One copy of the module name serves every instance of its form.
    const Instance* b = r.m->insts->next->next->next;
    EXPECT_EQ(b->module_name, b->next->module_name);
    EXPECT_STREQ(b->module_name, "sub");
    EXPECT_EQ(r.m->insts->module_name, nullptr);
    EXPECT_EQ(b->owner, r.m);
    EXPECT_EQ(b->node, nullptr);
}

TEST(Reader, ParamIsTheNumberModulo256) {
    Read r("(def-module m (def-comp nand--258 g) (def-comp inv--513 i) (def-comp and--2 a))");
    ASSERT_EQ(r.status, -1);
    EXPECT_EQ(r.m->insts->param(), 2);
    EXPECT_EQ(r.m->insts->next->param(), 1);
    EXPECT_EQ(r.m->insts->next->next->param(), 2);
    // Sub-module instances keep the number of their name too.
    Read s("(def-module m (def-comp foo--300 f))");
    ASSERT_EQ(s.status, -1);
    EXPECT_EQ(s.m->insts->cell(), CELL_SUBMODULE);
    EXPECT_EQ(s.m->insts->param(), 44);
}

TEST(Reader, CellNameForms) {
    std::ostringstream err;
    Design d(err);
    struct Case {
        const char* name;
        int cell;
        unsigned long long param;
    };
    // A table text matches whole, so "nand-" is a NAND with number 0, unchecked.
    for (const Case& c : std::vector<Case>{
             {"inv-", CELL_INV, 0},           {"inv--", CELL_INV, 0},
             {"ninv-", CELL_NINV, 0},         {"high-", CELL_HIGH, 0},
             {"low-", CELL_LOW, 0},           {"ts_buf-", CELL_TS_BUF, 0},
             {"ts_buf--4", CELL_TS_BUF, 4},   {"bgate--2", CELL_BGATE, 0},
             {"bgate--3", CELL_SUBMODULE, 3}, {"reg-1", CELL_REG, 0},
             {"reg--1", CELL_REG2, 0},        {"reg---1", CELL_REG3, 0},
             {"sreg---1", CELL_SREG3, 0},     {"srgs-1", CELL_SRGS, 0},
             {"reg--2", CELL_SUBMODULE, 2},   {"and--2", CELL_AND, 2},
             {"or--17", CELL_OR, 17},         {"eor--2", CELL_EOR, 2},
             {"enor--02", CELL_ENOR, 2},      {"oai--222", CELL_OAI, 222},
             {"aoi--33", CELL_AOI, 33},       {"nand", CELL_SUBMODULE, 0},
             {"nand-", CELL_NAND, 0},         {"nand-x2", CELL_SUBMODULE, 0},
             {"nand--2a", CELL_SUBMODULE, 0}, {"nand---2", CELL_SUBMODULE, 0},
             {"-", CELL_SUBMODULE, 0},        {"--7", CELL_SUBMODULE, 7},
             {"", CELL_SUBMODULE, 0},         {"INV-", CELL_SUBMODULE, 0},
         }) {
        EXPECT_EQ(parse_cell_name(d, c.name), c.cell) << c.name;
        EXPECT_EQ(d.cell_param, c.param) << c.name;
        EXPECT_EQ(d.cell_param_low, c.param % 256) << c.name;
    }
    for (const char* bad : {"and--1", "and--0", "and--", "nor--1", "eor--1", "enor--3", "aoi--23",
                            "oai--2", "aoi--", "oai--1111"}) {
        try {
            parse_cell_name(d, bad);
            ADD_FAILURE() << bad;
        } catch (const Fatal& f) {
            EXPECT_EQ(f.status, 1);
        }
    }
    EXPECT_EQ(err.str(), "");
}

TEST(Reader, EveryCellPinAndItsDirection) {
    struct Case {
        int cell;
        const char* pin;
        int type;
    };
    for (const Case& c : std::vector<Case>{
             {CELL_INV, "in", KW_INPUT},
             {CELL_INV, "nout", KW_OUTPUT},
             {CELL_INV, "out", 0},
             {CELL_NINV, "in", KW_INPUT},
             {CELL_NINV, "out", KW_OUTPUT},
             {CELL_NINV, "nout", 0},
             {CELL_OR, "anything", KW_INPUT},
             {CELL_OR, "nout", KW_INPUT},
             {CELL_NOR, "out", KW_INPUT},
             {CELL_AOI, "a1", KW_INPUT},
             {CELL_OAI, "nout", KW_OUTPUT},
             {CELL_EOR, "in1", KW_INPUT},
             {CELL_EOR, "in2", KW_INPUT},
             {CELL_EOR, "nout", 0},
             {CELL_ENOR, "nout", KW_OUTPUT},
             {CELL_ENOR, "out", 0},
             {CELL_REG, "clk_enb", KW_INPUT},
             {CELL_REGR, "p_reset", KW_INPUT},
             {CELL_REGS, "nout", KW_OUTPUT},
             {CELL_REG2, "set", 0},
             {CELL_REG3, "in", 0},
             {CELL_REG3, "reset", KW_INPUT},
             {CELL_REG3, "out", KW_OUTPUT},
             {CELL_SREG, "scan_enb", KW_INPUT},
             {CELL_SRGR, "scan_clock", KW_INPUT},
             {CELL_SRGS, "scan_out", KW_OUTPUT},
             {CELL_SREG2, "set", 0},
             {CELL_SREG3, "set", KW_INPUT},
             {CELL_SREG3, "clk_enb", 0},
             {CELL_SREG3, "scan_out", KW_OUTPUT},
             {CELL_HIGH, "out", KW_OUTPUT},
             {CELL_HIGH, "in", 0},
             {CELL_LOW, "nout", KW_OUTPUT},
             {CELL_TS_BUF, "nenb", KW_INPUT},
             {CELL_TS_BUF, "enb", 0},
             {CELL_BGATE, "enb", KW_INPUT},
             {CELL_BGATE, "clock", KW_INPUT},
             {CELL_BGATE, "nout", KW_OUTPUT},
             {CELL_BGATE, "out", 0},
             {CELL_SUBMODULE, "", CELL_SUBMODULE},
         }) {
        EXPECT_EQ(pin_type_of(c.pin, c.cell), c.type) << c.cell << " " << c.pin;
    }
}

TEST(Reader, FindPassesOverRecordsWithoutAName) {
    Read r("(def-module m (def-pin p type input) (def-comp inv- i))");
    ASSERT_EQ(r.status, -1);
    Instance nameless;
    nameless.next = r.m->insts;
    r.m->insts = &nameless;
    Instance nameless_port;
    nameless_port.next = r.m->ports;
    r.m->ports = &nameless_port;
    EXPECT_EQ(find_inst("i", *r.m), nameless.next);
    EXPECT_EQ(find_port("p", *r.m), nameless_port.next);
    EXPECT_EQ(find_inst("", *r.m), nullptr);
    EXPECT_EQ(find_port("i", *r.m), nullptr);
    EXPECT_EQ(find_inst("p", *r.m), nullptr);
}

TEST(Reader, NameCutByAZeroByteIsAnEmptyText) {
    // "\0x" is stored as the empty text, distinct from no name.
    const std::string text = std::string("(def-module m (def-comp inv- \0x) (def-net \0y.in))", 49);
    Read r(text);
    ASSERT_EQ(r.status, -1) << r.err.str();
    ASSERT_NE(r.m->insts->name, nullptr);
    EXPECT_STREQ(r.m->insts->name, "");
    EXPECT_EQ(r.m->nets->nodes->inst, r.m->insts);
    EXPECT_EQ(find_inst("", *r.m), r.m->insts);
}

TEST(Reader, RepeatedCellNamesAndKeywordsReadAsTheirFirstUse) {
    Read r(
        "(def-module m (def-pin p type input) (def-pin q type output note clock)\n"
        " (def-comp and--3 a) (def-comp and--300 b) (def-comp and--3 c) (def-comp sub d)\n"
        " (def-comp sub e) (def-comp and--300 f))");
    ASSERT_EQ(r.status, -1) << r.err.str();
    std::vector<std::pair<int, int>> cells;
    for (const Instance* i = r.m->insts; i; i = i->next) cells.emplace_back(i->cell(), i->param());
    EXPECT_EQ(cells, (std::vector<std::pair<int, int>>{{CELL_AND, 44},
                                                       {CELL_SUBMODULE, 0},
                                                       {CELL_SUBMODULE, 0},
                                                       {CELL_AND, 3},
                                                       {CELL_AND, 44},
                                                       {CELL_AND, 3}}));
    EXPECT_EQ(r.d.cell_param, 300u);
    EXPECT_EQ(r.m->ports->pin_type(), KW_OUTPUT);
    EXPECT_EQ(r.m->ports->note(), KW_CLOCK);
    EXPECT_EQ(r.m->ports->next->pin_type(), KW_INPUT);
}

TEST(Reader, EmptyTextIsNoKeywordAndNoCell) {
    static constexpr char kType[] = "(def-module m (def-pin p type \0x))";
    const std::string type(kType, sizeof kType - 1);
    Read bad_type(type);
    EXPECT_EQ(bad_type.status, 1);
    EXPECT_EQ(bad_type.err.str(), "\"m.nld\", line 1: error\n");
    static constexpr char kComp[] = "(def-module m (def-comp \0x a) (def-comp \0y b))";
    const std::string comp(kComp, sizeof kComp - 1);
    Read empty_cell(comp);
    ASSERT_EQ(empty_cell.status, -1) << empty_cell.err.str();
    EXPECT_EQ(empty_cell.m->insts->cell(), CELL_SUBMODULE);
    EXPECT_EQ(empty_cell.m->insts->next->cell(), CELL_SUBMODULE);
}

}  // namespace
}  // namespace vorp
