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

}  // namespace
}  // namespace vorp
