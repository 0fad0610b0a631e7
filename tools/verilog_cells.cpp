#include "tools/verilog_cells.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <vector>

#include "db/codes.h"

namespace vorp::verilog {

namespace {

using PinList = std::initializer_list<const char*>;

CellKind same_pins(const std::string& cell, PinList pins) {
    CellKind k{cell, {}};
    for (const char* p : pins) k.pins[p] = p;
    return k;
}

CellKind gate(const std::string& cell, int inputs, const char* output) {
    CellKind k{cell, {}};
    for (int i = 0; i < inputs; ++i) k.pins["in" + std::to_string(i)] = "in" + std::to_string(i);
    k.pins[output] = output;
    return k;
}

// yosys gate: inputs A, B, C, D in order onto the given NLD pins, Y onto `y`.
CellKind yosys_gate(const std::string& cell, std::vector<std::string> inputs, const char* y) {
    CellKind k{cell, {}};
    const char* letters[] = {"A", "B", "C", "D"};
    for (std::size_t i = 0; i < inputs.size(); ++i) k.pins[letters[i]] = inputs[i];
    k.pins["Y"] = y;
    return k;
}

std::optional<CellKind> yosys_cell(const std::string& type) {
    const std::vector<std::string> two = {"in0", "in1"}, three = {"in0", "in1", "in2"},
                                   four = {"in0", "in1", "in2", "in3"};
    if (type == "$_NOT_") return yosys_gate("inv-", {"in"}, "nout");
    if (type == "$_BUF_") return yosys_gate("ninv-", {"in"}, "out");
    if (type == "$_AND_") return yosys_gate("and--2", two, "out");
    if (type == "$_NAND_") return yosys_gate("nand--2", two, "nout");
    if (type == "$_OR_") return yosys_gate("or--2", two, "out");
    if (type == "$_NOR_") return yosys_gate("nor--2", two, "nout");
    if (type == "$_XOR_") return yosys_gate("eor--2", {"in1", "in2"}, "out");
    if (type == "$_XNOR_") return yosys_gate("enor--2", {"in1", "in2"}, "nout");
    if (type == "$_AOI3_") return yosys_gate("aoi--21", three, "nout");
    if (type == "$_OAI3_") return yosys_gate("oai--21", three, "nout");
    if (type == "$_AOI4_") return yosys_gate("aoi--22", four, "nout");
    if (type == "$_OAI4_") return yosys_gate("oai--22", four, "nout");
    if (type == "$_DFF_P_") return CellKind{"reg-1", {{"C", "m_clock"}, {"D", "in"}, {"Q", "out"}}};
    return std::nullopt;
}

// Cells whose library name is the NLD cell name itself.
std::optional<CellKind> fixed_cell(const std::string& type) {
    const PinList reg = {"in", "clk_enb", "m_clock", "s_clock", "p_reset", "out", "nout"};
    const PinList sreg = {"in",         "scan_in", "clk_enb", "scan_enb", "m_clock", "s_clock",
                          "scan_clock", "p_reset", "out",     "nout",     "scan_out"};
    switch (lookup_keyword(type.c_str(), CellTable)) {
        case CELL_INV:
            return same_pins(type, {"in", "nout"});
        case CELL_NINV:
            return same_pins(type, {"in", "out"});
        case CELL_HIGH:
            return same_pins(type, {"out"});
        case CELL_LOW:
            return same_pins(type, {"nout"});
        case CELL_TS_BUF:
            return same_pins(type, {"in", "nenb", "out"});
        case CELL_BGATE:
            return same_pins(type, {"enb", "clock", "nout"});
        case CELL_REG:
        case CELL_REGR:
        case CELL_REGS:
        case CELL_REG2:
            return same_pins(type, reg);
        case CELL_REG3:
            return same_pins(type,
                             {"set", "reset", "m_clock", "s_clock", "p_reset", "out", "nout"});
        case CELL_SREG:
        case CELL_SRGR:
        case CELL_SRGS:
        case CELL_SREG2:
            return same_pins(type, sreg);
        case CELL_SREG3:
            return same_pins(type, {"set", "reset", "scan_in", "scan_enb", "m_clock", "s_clock",
                                    "scan_clock", "p_reset", "out", "nout", "scan_out"});
        default:
            return std::nullopt;
    }
}

// Gates named base--N: the number of inputs, or the input groups of aoi-/oai-.
std::optional<CellKind> numbered_gate(const std::string& type) {
    const std::size_t dash = type.find('-');
    if (dash == std::string::npos || type.compare(dash, 2, "--") != 0) return std::nullopt;
    const std::string base = type.substr(0, dash + 1), digits = type.substr(dash + 2);
    if (digits.empty() || digits.size() > 3 ||
        !std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isdigit(c); }))
        return std::nullopt;
    const int n = std::stoi(digits);
    switch (lookup_keyword(base.c_str(), CellTable)) {
        case CELL_AND:
        case CELL_OR:
            if (n >= 2 && n <= 255 && digits[0] != '0') return gate(type, n, "out");
            break;
        case CELL_NAND:
        case CELL_NOR:
            if (n >= 2 && n <= 255 && digits[0] != '0') return gate(type, n, "nout");
            break;
        case CELL_EOR:
            if (digits == "2") return same_pins(type, {"in1", "in2", "out"});
            break;
        case CELL_ENOR:
            if (digits == "2") return same_pins(type, {"in1", "in2", "nout"});
            break;
        case CELL_AOI:
        case CELL_OAI: {
            static const char* groups[] = {"21", "22", "31", "32", "33", "211", "221", "222"};
            for (const char* g : groups)
                if (digits == g) {
                    int inputs = 0;
                    for (char c : digits) inputs += c - '0';
                    return gate(type, inputs, "nout");
                }
            break;
        }
        default:
            break;
    }
    return std::nullopt;
}

}  // namespace

std::optional<CellKind> find_cell(const std::string& type) {
    if (auto k = yosys_cell(type)) return k;
    if (auto k = fixed_cell(type)) return k;
    return numbered_gate(type);
}

bool names_a_cell(const std::string& name) {
    if (lookup_keyword(name.c_str(), CellTable) != NOT_FOUND) return true;
    const std::size_t dash = name.find('-');
    if (dash == std::string::npos || dash + 1 >= name.size() + 1) return false;
    if (name.compare(dash, 2, "--") != 0) return false;
    const std::string rest = name.substr(dash + 2);
    if (!std::all_of(rest.begin(), rest.end(), [](unsigned char c) { return std::isdigit(c); }))
        return false;
    return lookup_keyword(name.substr(0, dash + 1).c_str(), CellTable) != NOT_FOUND;
}

}  // namespace vorp::verilog
