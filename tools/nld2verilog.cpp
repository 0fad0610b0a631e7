// Writes a design given the way vorp is given it (top name, read
// directories, -r reference directories) as structural Verilog, one module
// per NLD module name, PCD modules as black boxes; with -l, also a cell
// library that defines every cell as a Verilog module with its function.
//
//   nld2verilog [-s] [-o design.v] [-l cells.v] <top> <dir> ... [-r <dir> ...]
//
// With -s (for an equivalence check), global ports named "VDD" and "VSS"
// become constant wires (1 and 0) instead of ports, so that they are treated
// as the supplies they are, and every pin of a black box (PCD) instance is
// connected through a wire "vorp_bb_<instance>_<pin>" that the check matches
// by name, and each black-box output is a register state "vorp_bb_q_<port>".
//
// Gates with freely named inputs (and-, nand-, or-, nor-, aoi-, oai-) take
// their input pins in byte-wise order of the pin names as the library's
// inputs in0, in1, ...; for aoi-/oai- the suffix digits cut that order into
// the input groups (aoi--21: (in0 & in1) | in2, inverted).
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "db/design.h"
#include "db/lists.h"
#include "netlist/loader.h"

namespace {

using namespace vorp;

bool plain_identifier(const std::string& s) {
    if (s.empty() || !(std::isalpha(static_cast<unsigned char>(s[0])) || s[0] == '_')) return false;
    for (unsigned char c : s)
        if (!(std::isalnum(c) || c == '_')) return false;
    return true;
}

std::string ident(const std::string& s) {
    if (plain_identifier(s)) return s;
    for (unsigned char c : s)
        if (c <= ' ' || c >= 127) throw std::runtime_error("name not writable in Verilog: " + s);
    return "\\" + s + " ";
}

// A pin name as written by ident(), without its escape.
std::string pin_text(const std::string& written) {
    if (written.empty() || written[0] != '\\') return written;
    return written.substr(1, written.size() - 2);
}

const char* output_pin(int cell) {
    switch (cell) {
        case CELL_AND:
        case CELL_OR:
        case CELL_EOR:
        case CELL_NINV:
            return "out";
        default:
            return "nout";
    }
}

std::string gate_module(const Instance& inst) {
    return std::string(keyword_name(inst.cell(), CellTable)) + "-" + std::to_string(inst.param());
}

std::string cell_module(const Instance& inst) {
    if (is_xor(inst.cell())) return gate_module(inst);
    const char* text = keyword_name(inst.cell(), CellTable);
    if (!text) throw std::runtime_error("instance of an unknown cell");
    return text;
}

std::string direction(int pin_type) {
    switch (pin_type) {
        case KW_OUTPUT:
        case KW_OUTPUT_CONNECTED:
        case KW_TRISTATE:
        case KW_TRISTATE_CONNECTED:
            return "output";
        case KW_BIDIRECT:
        case KW_BIDIRECT_CONNECTED:
            return "inout";
        default:
            return "input";
    }
}

struct Library {
    std::set<std::string> gates;  // gate modules used, e.g. "nand--3"
    bool supplies = false;        // "VDD"/"VSS" global ports are constants
};

bool is_supply(const Instance* port, const Library& lib) {
    return lib.supplies && port->pin_type() == KW_GLOBAL && port->name &&
           (std::strcmp(port->name, "VDD") == 0 || std::strcmp(port->name, "VSS") == 0);
}

// For a check, every pin of a black box (PCD) instance gets a wire named
// after the instance and the pin, which the proof matches between the two
// designs: the black box's outputs are then the same unknowns on both sides,
// and its inputs are compared like outputs.
void name_black_box_pins(std::ostream& out, const Instance& inst,
                         std::vector<std::pair<std::string, std::string>>& connections) {
    if (!inst.sub || inst.sub->kind() != MOD_PCD) return;
    for (auto& [pin, wire] : connections) {
        const Instance* port = inst.sub->ports;
        while (port && !(port->name && ident(port->name) == pin)) port = port->next;
        const std::string named =
            ident(std::string("vorp_bb_") + (inst.name ? inst.name : "") + "_" + pin_text(pin));
        out << "  wire " << named << ";\n";
        if (port && direction(port->pin_type()) == "output")
            out << "  assign " << wire << " = " << named << ";\n";
        else
            out << "  assign " << named << " = " << wire << ";\n";
        wire = named;
    }
}

// For a check, a black box's outputs are register states named
// "vorp_bb_q_<port>" (the proof matches them by name, so they are the same
// unknowns in both designs), loaded from all its inputs.
void write_black_box_model(std::ostream& out, const std::vector<const Instance*>& ports) {
    std::string inputs, clock = "1'b0";
    for (const Instance* p : ports)
        if (direction(p->pin_type()) == "input") {
            inputs += (inputs.empty() ? "" : ", ") + ident(p->name);
            if (clock == "1'b0") clock = ident(p->name);
        }
    for (const Instance* p : ports) {
        if (direction(p->pin_type()) == "input") continue;
        const std::string q = ident(std::string("vorp_bb_q_") + p->name);
        out << "  reg " << q << ";\n  always @(posedge " << clock << ") " << q
            << " <= " << (inputs.empty() ? q : "^{" + inputs + "}") << ";\n  assign "
            << ident(p->name) << " = " << q << ";\n";
    }
}

void write_module(std::ostream& out, const Module& m, Library& lib) {
    std::vector<const Instance*> ports, supplies;
    for (const Instance* p = m.ports; p; p = p->next)
        (is_supply(p, lib) ? supplies : ports).push_back(p);
    std::reverse(ports.begin(), ports.end());  // file order
    if (m.kind() == MOD_PCD && !lib.supplies) out << "(* blackbox *)\n";
    out << "module " << ident(m.name) << " (";
    for (std::size_t i = 0; i < ports.size(); ++i) out << (i ? ", " : "") << ident(ports[i]->name);
    out << ");\n";
    for (const Instance* p : ports)
        out << "  " << direction(p->pin_type()) << " " << ident(p->name) << ";\n";
    for (const Instance* p : supplies)
        out << "  wire " << ident(p->name) << " = 1'b" << (std::strcmp(p->name, "VDD") == 0 ? 1 : 0)
            << ";\n";
    if (m.kind() == MOD_PCD) {
        if (lib.supplies) write_black_box_model(out, ports);
        out << "endmodule\n\n";
        return;
    }
    // One wire per net: an input-side port's name when the net has one. The
    // wires are declared in net order (a lone port and an empty net need
    // none), so that verilog2nld gives the same net order back.
    std::map<const Net*, std::string> wire;
    int index = 0;
    for (const Net* net = m.nets; net; net = net->next) {
        if (!net->nodes) continue;
        const Node* named = nullptr;
        for (const Node* n = net->nodes; n; n = n->next)
            if (n->inst && n->inst->cell() == CELL_PORT &&
                (!named || direction(n->pin_type()) == "input"))
                if (!named || direction(named->pin_type()) != "input") named = n;
        if (named) {
            wire[net] = ident(named->pin);
            const bool supply = is_supply(named->inst, lib);
            if (net->nodes->next && !supply) out << "  wire " << wire[net] << ";\n";
            for (const Node* n = net->nodes; n; n = n->next)
                if (n != named && n->inst && n->inst->cell() == CELL_PORT &&
                    direction(n->pin_type()) != "input")
                    out << "  assign " << ident(n->pin) << " = " << wire[net] << ";\n";
        } else {
            wire[net] = "vorp_n" + std::to_string(index++);
            out << "  wire " << wire[net] << ";\n";
        }
    }
    for (const Instance* inst = m.insts; inst; inst = inst->next) {
        std::vector<std::pair<std::string, const Net*>> pins;
        for_each_in_ring(inst->node,
                         [&](const Node* n) { pins.emplace_back(n->pin ? n->pin : "", n->net); });
        std::sort(pins.begin(), pins.end(), [](const auto& a, const auto& b) {
            return std::strcmp(a.first.c_str(), b.first.c_str()) < 0;
        });
        const int cell = inst->cell();
        std::string type;
        std::vector<std::pair<std::string, std::string>> connections;
        if (cell == CELL_SUBMODULE) {
            type = ident(inst->module_name);
            for (const auto& [pin, net] : pins) connections.emplace_back(ident(pin), wire[net]);
        } else if (cell >= CELL_AND && cell <= CELL_NOR ? true
                                                        : cell == CELL_AOI || cell == CELL_OAI) {
            type = ident(gate_module(*inst));
            lib.gates.insert(gate_module(*inst));
            int k = 0;
            std::vector<std::pair<std::string, std::string>> output;
            for (const auto& [pin, net] : pins) {
                if (pin == output_pin(cell))
                    output.emplace_back(pin, wire[net]);
                else
                    connections.emplace_back("in" + std::to_string(k++), wire[net]);
            }
            // The output last, whatever its name's place among the inputs.
            connections.insert(connections.end(), output.begin(), output.end());
        } else {
            type = ident(cell_module(*inst));
            for (const auto& [pin, net] : pins) connections.emplace_back(ident(pin), wire[net]);
        }
        if (cell == CELL_SUBMODULE && lib.supplies) name_black_box_pins(out, *inst, connections);
        out << "  " << type << " " << ident(inst->name ? inst->name : "") << " (";
        for (std::size_t i = 0; i < connections.size(); ++i)
            out << (i ? ", " : "") << "." << connections[i].first << "(" << connections[i].second
                << ")";
        out << ");\n";
    }
    out << "endmodule\n\n";
}

std::string gate_function(const std::string& base, int param, const std::vector<int>& groups) {
    std::string expr;
    auto input = [](int i) { return "in" + std::to_string(i); };
    if (base == "aoi-" || base == "oai-") {
        const char* inner = base == "aoi-" ? " & " : " | ";
        const char* outer = base == "aoi-" ? " | " : " & ";
        int k = 0;
        for (std::size_t g = 0; g < groups.size(); ++g) {
            expr += g ? outer : "";
            expr += "(";
            for (int i = 0; i < groups[g]; ++i) expr += (i ? inner : "") + input(k++);
            expr += ")";
        }
        return "~(" + expr + ")";
    }
    const char* op = base == "and-" || base == "nand-" ? " & " : " | ";
    for (int i = 0; i < param; ++i) expr += (i ? op : "") + input(i);
    return base == "nand-" || base == "nor-" ? "~(" + expr + ")" : "(" + expr + ")";
}

void write_library(std::ostream& out, const Library& used) {
    std::set<std::string> gates = used.gates;
    for (const char* base : {"and-", "nand-", "or-", "nor-"})
        for (int n = 2; n <= 8; ++n) gates.insert(std::string(base) + "-" + std::to_string(n));
    for (const char* base : {"aoi-", "oai-"})
        for (const char* s : {"21", "22", "31", "32", "33", "211", "221", "222"})
            gates.insert(std::string(base) + "-" + s);
    out << "// vorp cell library: every cell with its logic function.\n";
    for (const std::string& g : gates) {
        const std::size_t dash = g.find('-');
        const std::string base = g.substr(0, dash + 1);
        const std::string digits = g.substr(dash + 2);
        const int param = std::atoi(digits.c_str()) % 256;
        std::vector<int> groups;
        int inputs = param;
        if (base == "aoi-" || base == "oai-") {
            inputs = 0;
            for (char c : std::to_string(param)) groups.push_back(c - '0'), inputs += c - '0';
        }
        const char* outp = base == "and-" || base == "or-" ? "out" : "nout";
        out << "module " << ident(g) << " (" << outp;
        for (int i = 0; i < inputs; ++i) out << ", in" << i;
        out << ");\n  output " << outp << ";\n";
        for (int i = 0; i < inputs; ++i) out << "  input in" << i << ";\n";
        out << "  assign " << outp << " = " << gate_function(base, inputs, groups)
            << ";\nendmodule\n";
    }
    out << R"(module \inv-  (in, nout); input in; output nout; assign nout = ~in; endmodule
module \ninv-  (in, out); input in; output out; assign out = in; endmodule
module \eor--2  (in1, in2, out); input in1, in2; output out; assign out = in1 ^ in2; endmodule
module \enor--2  (in1, in2, nout); input in1, in2; output nout; assign nout = ~(in1 ^ in2); endmodule
module \high-  (out); output out; assign out = 1'b1; endmodule
module \low-  (nout); output nout; assign nout = 1'b0; endmodule
module \ts_buf-  (in, nenb, out); input in, nenb; output out; assign out = nenb ? 1'bz : in; endmodule
module \bgate--2  (enb, clock, nout); input enb, clock; output nout; assign nout = ~(enb & clock); endmodule
)";
    for (const char* r : {"reg-1", "regr-1", "regs-1", "reg--1"})
        out << "module " << ident(r) << " (in, clk_enb, m_clock, s_clock, p_reset, out, nout);\n"
            << "  input in, clk_enb, m_clock, s_clock, p_reset; output out, nout; reg q;\n"
            << "  always @(posedge m_clock) q <= in;\n  assign out = q; assign nout = "
               "~q;\nendmodule\n";
    out << "module \\reg---1  (set, reset, m_clock, s_clock, p_reset, out, nout);\n"
        << "  input set, reset, m_clock, s_clock, p_reset; output out, nout; reg q;\n"
        << "  always @(posedge m_clock) q <= set | (q & ~reset);\n  assign out = q; assign nout = "
           "~q;\nendmodule\n";
    for (const char* r : {"sreg-1", "srgr-1", "srgs-1", "sreg--1"})
        out << "module " << ident(r)
            << " (in, scan_in, clk_enb, scan_enb, m_clock, s_clock, scan_clock, p_reset, out, "
               "nout, scan_out);\n"
            << "  input in, scan_in, clk_enb, scan_enb, m_clock, s_clock, scan_clock, p_reset;\n"
            << "  output out, nout, scan_out; reg q;\n"
            << "  always @(posedge m_clock) q <= scan_enb ? scan_in : in;\n"
            << "  assign out = q; assign nout = ~q; assign scan_out = q;\nendmodule\n";
    out << "module \\sreg---1  (set, reset, scan_in, scan_enb, m_clock, s_clock, scan_clock, "
           "p_reset, out, nout, "
           "scan_out);\n"
        << "  input set, reset, scan_in, scan_enb, m_clock, s_clock, scan_clock, p_reset;\n"
        << "  output out, nout, scan_out; reg q;\n"
        << "  always @(posedge m_clock) q <= scan_enb ? scan_in : (set | (q & ~reset));\n"
        << "  assign out = q; assign nout = ~q; assign scan_out = q;\nendmodule\n";
}

void add_dir(Design& d, DirEntry*& list, const char* dir) {
    DirEntry* e = d.make<DirEntry>();
    e->dir = d.copy_string(dir);
    push_back(list, e);
}

int usage() {
    std::cerr
        << "usage: nld2verilog [-s] [-o design.v] [-l cells.v] <top> <dir> ... [-r <dir> ...]\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::string out_path, lib_path;
    std::ostringstream messages;
    Design d(messages);
    bool refs = false, supplies = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-s") {
            supplies = true;
        } else if ((a == "-o" || a == "-l") && i + 1 < argc) {
            (a == "-o" ? out_path : lib_path) = argv[++i];
        } else if (a == "-r") {
            refs = true;
        } else if (!d.top_name) {
            d.top_name = d.copy_string(argv[i]);
        } else {
            add_dir(d, refs ? d.ref_dirs : d.read_dirs, argv[i]);
        }
    }
    if (!d.top_name || !d.read_dirs) return usage();
    try {
        load_design(d, d.top_name);
    } catch (const Fatal& f) {
        std::cerr << messages.str();
        return f.status;
    }
    try {
        std::ostringstream text;
        Library lib;
        lib.supplies = supplies;
        std::set<std::string> written;
        for (const Module* m = d.modules; m; m = m->next)
            if (written.insert(m->name).second) write_module(text, *m, lib);
        if (out_path.empty()) {
            std::cout << text.str();
        } else {
            std::ofstream f(out_path, std::ios::binary);
            f << text.str();
            if (!f) throw std::runtime_error("cannot write " + out_path);
        }
        if (!lib_path.empty()) {
            std::ofstream f(lib_path, std::ios::binary);
            write_library(f, lib);
            if (!f) throw std::runtime_error("cannot write " + lib_path);
        }
    } catch (const std::exception& e) {
        std::cerr << "nld2verilog: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
