// Writes a design given the way vorp is given it (top name, read
// directories, -r reference directories) as structural Verilog, one module
// per NLD module name, PCD modules as black boxes; with -l, also a cell
// library that defines every cell as a Verilog module with its function.
//
//   nld2verilog [-s] [-o design.v] [-l cells.v] [--liberty <lib> ... [--map <file>]]
//               <top> <dir> ... [-r <dir> ...]
//
// With --liberty, the design is written in the libraries' cells, as
// verilog2nld --liberty read it: the pin map (liberty.map in a read or -r
// directory, or --map) tells each gate's original cell, which a gate that vorp
// left as it was keeps; any other gate gets the smallest library cell of its
// function, a black box its own cell, the top module its vector ports. What
// no cell has is written as vorp's cell with its model appended. The cells
// chosen are reported on the standard error stream.
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
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "db/design.h"
#include "db/lists.h"
#include "netlist/loader.h"
#include "tools/liberty_choice.h"
#include "tools/liberty_reader.h"
#include "tools/original_instances.h"

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
    std::set<std::string> gates;              // gate modules used, e.g. "nand--3"
    std::set<std::string> used;               // vorp cells written, e.g. "nand--3", "inv-"
    bool supplies = false;                    // "VDD"/"VSS" global ports are constants
    liberty::CellChooser* chooser = nullptr;  // with --liberty
    // The vector ports of the module being written, by name: (msb, lsb).
    std::map<std::string, std::pair<int, int>> vectors;
    const Design* original = nullptr;  // as verilog2nld wrote it
    // The original names of the gates of the module being written.
    std::map<const Instance*, std::string> original_names;
};

// The vector a port bit "a[3]" belongs to, or "" when it is no such bit.
std::string vector_of(const std::string& name, const Library& lib) {
    const std::size_t open = name.rfind('[');
    if (open == std::string::npos || name.back() != ']') return "";
    const std::string base = name.substr(0, open);
    return lib.vectors.count(base) ? base : "";
}

// A port bit of a vector port is a bit-select; any other name an identifier.
std::string port_ref(const std::string& name, const Library& lib) {
    const std::string base = vector_of(name, lib);
    return base.empty() ? ident(name) : ident(base) + name.substr(base.size());
}

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

// The ports in file order, and the global "VDD"/"VSS" ports that a check
// turns into constants.
void split_ports(const Module& m, const Library& lib, std::vector<const Instance*>& ports,
                 std::vector<const Instance*>& supplies) {
    for (const Instance* p = m.ports; p; p = p->next)
        (is_supply(p, lib) ? supplies : ports).push_back(p);
    std::reverse(ports.begin(), ports.end());
}

// The header and the port declarations; the bits of a vector port are
// declared once, as the vector, where its first bit stands.
void write_header(std::ostream& out, const Module& m, const Library& lib,
                  const std::vector<const Instance*>& ports,
                  const std::vector<const Instance*>& supplies) {
    if (m.kind() == MOD_PCD && !lib.supplies) out << "(* blackbox *)\n";
    std::vector<std::pair<std::string, const Instance*>> declared;  // name, first bit
    std::set<std::string> seen;
    for (const Instance* p : ports) {
        const std::string base = vector_of(p->name, lib);
        if (base.empty())
            declared.emplace_back(ident(p->name), p);
        else if (seen.insert(base).second)
            declared.emplace_back(ident(base), p);
    }
    out << "module " << ident(m.name) << " (";
    for (std::size_t i = 0; i < declared.size(); ++i) out << (i ? ", " : "") << declared[i].first;
    out << ");\n";
    for (const auto& [name, p] : declared) {
        out << "  " << direction(p->pin_type()) << " ";
        const std::string base = vector_of(p->name, lib);
        if (!base.empty())
            out << "[" << lib.vectors.at(base).first << ":" << lib.vectors.at(base).second << "] ";
        out << name << ";\n";
    }
    for (const Instance* p : supplies)
        out << "  wire " << ident(p->name) << " = 1'b" << (std::strcmp(p->name, "VDD") == 0 ? 1 : 0)
            << ";\n";
}

// The port node that names a net: an input-side port when the net has one.
const Node* naming_port(const Net& net) {
    const Node* named = nullptr;
    for (const Node* n = net.nodes; n; n = n->next)
        if (n->inst && n->inst->cell() == CELL_PORT &&
            (!named || direction(n->pin_type()) == "input"))
            if (!named || direction(named->pin_type()) != "input") named = n;
    return named;
}

// One wire per net: an input-side port's name when the net has one. The
// wires are declared in net order (a lone port and an empty net need none),
// so that verilog2nld gives the same net order back.
std::map<const Net*, std::string> write_wires(std::ostream& out, const Module& m,
                                              const Library& lib) {
    std::map<const Net*, std::string> wire;
    int index = 0;
    for (const Net* net = m.nets; net; net = net->next) {
        if (!net->nodes) continue;
        const Node* named = naming_port(*net);
        if (!named) {
            wire[net] = "vorp_n" + std::to_string(index++);
            out << "  wire " << wire[net] << ";\n";
            continue;
        }
        wire[net] = port_ref(named->pin, lib);
        if (net->nodes->next && !is_supply(named->inst, lib) && vector_of(named->pin, lib).empty())
            out << "  wire " << wire[net] << ";\n";
        for (const Node* n = net->nodes; n; n = n->next)
            if (n != named && n->inst && n->inst->cell() == CELL_PORT &&
                direction(n->pin_type()) != "input")
                out << "  assign " << port_ref(n->pin, lib) << " = " << wire[net] << ";\n";
    }
    return wire;
}

using PinNets = std::vector<std::pair<std::string, const Net*>>;
using Connections = std::vector<std::pair<std::string, std::string>>;

// An instance's pins with their nets, in byte-wise order of the pin names.
PinNets pins_of(const Instance& inst) {
    PinNets pins;
    for_each_in_ring(inst.node,
                     [&](const Node* n) { pins.emplace_back(n->pin ? n->pin : "", n->net); });
    std::sort(pins.begin(), pins.end(), [](const auto& a, const auto& b) {
        return std::strcmp(a.first.c_str(), b.first.c_str()) < 0;
    });
    return pins;
}

bool free_inputs(int cell) {
    return (cell >= CELL_AND && cell <= CELL_NOR) || cell == CELL_AOI || cell == CELL_OAI;
}

// Gates with freely named inputs take in0, in1, ... in pin order, the
// output last whatever its name's place among the inputs.
Connections gate_connections(int cell, const PinNets& pins,
                             std::map<const Net*, std::string>& wire) {
    Connections connections, output;
    int k = 0;
    for (const auto& [pin, net] : pins) {
        if (pin == output_pin(cell))
            output.emplace_back(pin, wire[net]);
        else
            connections.emplace_back("in" + std::to_string(k++), wire[net]);
    }
    connections.insert(connections.end(), output.begin(), output.end());
    return connections;
}

// The NLD cell's name, as the pin map and the library's mapping give it.
std::string nld_cell_name(const Instance& inst) {
    const int cell = inst.cell();
    return free_inputs(cell) || is_xor(cell) ? gate_module(inst) : cell_module(inst);
}

// The module name and connections of an instance, in vorp's own cells.
std::string vorp_cell(const Instance& inst, const PinNets& pins,
                      std::map<const Net*, std::string>& wire, Library& lib,
                      Connections& connections) {
    const int cell = inst.cell();
    if (cell == CELL_SUBMODULE) {
        for (const auto& [pin, net] : pins) connections.emplace_back(ident(pin), wire[net]);
        return ident(inst.module_name);
    }
    lib.used.insert(nld_cell_name(inst));
    if (free_inputs(cell)) {
        lib.gates.insert(gate_module(inst));
        connections = gate_connections(cell, pins, wire);
        return ident(gate_module(inst));
    }
    for (const auto& [pin, net] : pins) connections.emplace_back(ident(pin), wire[net]);
    return ident(cell_module(inst));
}

// An instance written in library cells: the cell and its connections, and
// what else it needs (an inverter beside a flip-flop without that output).
struct LibraryWriting {
    std::string type;
    Connections connections;
    std::string extra;
};

void connect_choice(const liberty::CellChooser::Choice& choice, const Connections& nld,
                    LibraryWriting& w) {
    w.type = ident(choice.type);
    for (const auto& [pin, net] : nld) w.connections.emplace_back(ident(choice.pins.at(pin)), net);
}

// A register output that no flip-flop of the library has (say QN) is the
// other output through an inverter, so that the register keeps a library
// flip-flop and its state.
bool register_with_inverter(const Module& m, const Instance& inst, Connections nld, Library& lib,
                            LibraryWriting& w) {
    for (const auto& [missing, other] : {std::pair{"nout", "out"}, std::pair{"out", "nout"}}) {
        const auto drop =
            std::find_if(nld.begin(), nld.end(), [&](const auto& c) { return c.first == missing; });
        if (drop == nld.end()) continue;
        const std::string target = drop->second;
        Connections rest(nld.begin(), drop);
        rest.insert(rest.end(), drop + 1, nld.end());
        auto kept =
            std::find_if(rest.begin(), rest.end(), [&](const auto& c) { return c.first == other; });
        const std::string source = ident(std::string(inst.name) + "_" + other);
        if (kept == rest.end()) rest.emplace_back(other, source);
        std::vector<std::string> names;
        for (const auto& c : rest) names.push_back(c.first);
        const auto flop = lib.chooser->choose(m.name, inst.name, "reg-1", names);
        const auto inv = lib.chooser->choose(m.name, "", "inv-", {"in", "nout"});
        if (!flop || !inv) continue;
        connect_choice(*flop, rest, w);
        const std::string from = kept == rest.end() ? source : kept->second;
        if (kept == rest.end()) w.extra += "  wire " + source + ";\n";
        w.extra += "  " + ident(inv->type) + " " + ident(std::string(inst.name) + "_" + missing) +
                   " (." + ident(inv->pins.at("in")) + "(" + from + "), ." +
                   ident(inv->pins.at("nout")) + "(" + target + "));\n";
        return true;
    }
    return false;
}

// The library cell of an instance, when the libraries have one.
bool library_cell(const Module& m, const Instance& inst, const PinNets& pins,
                  std::map<const Net*, std::string>& wire, Library& lib, LibraryWriting& w) {
    if (inst.cell() == CELL_SUBMODULE) {
        if (!inst.sub || inst.sub->kind() != MOD_PCD || !lib.chooser->black_box(inst.module_name))
            return false;
        w.type = ident(inst.module_name);
        for (const auto& [pin, net] : pins) w.connections.emplace_back(ident(pin), wire[net]);
        return true;
    }
    Connections nld =
        free_inputs(inst.cell()) ? gate_connections(inst.cell(), pins, wire) : Connections{};
    if (nld.empty())
        for (const auto& [pin, net] : pins) nld.emplace_back(pin, wire[net]);
    std::vector<std::string> names;
    for (const auto& c : nld) names.push_back(c.first);
    const auto known = lib.original_names.find(&inst);
    const std::string name = known != lib.original_names.end() ? known->second
                             : inst.name                       ? inst.name
                                                               : "";
    const auto choice = lib.chooser->choose(m.name, name, nld_cell_name(inst), names);
    if (choice) {
        connect_choice(*choice, nld, w);
        return true;
    }
    if (inst.cell() == CELL_REG && inst.name && register_with_inverter(m, inst, nld, lib, w))
        return true;
    lib.chooser->note_missing(nld_cell_name(inst));
    return false;
}

// With a library that has no tie cell, a constant cell is an assignment.
bool write_constant(std::ostream& out, const Instance& inst, const PinNets& pins,
                    std::map<const Net*, std::string>& wire, const Library& lib) {
    const int cell = inst.cell();
    if (!lib.chooser || (cell != CELL_HIGH && cell != CELL_LOW) ||
        lib.chooser->offers(cell_module(inst)))
        return false;
    for (const auto& [pin, net] : pins)
        out << "  assign " << wire[net] << " = 1'b" << (cell == CELL_HIGH ? 1 : 0) << ";\n";
    return true;
}

void write_instance(std::ostream& out, const Module& m, const Instance& inst,
                    std::map<const Net*, std::string>& wire, Library& lib) {
    const PinNets pins = pins_of(inst);
    if (write_constant(out, inst, pins, wire, lib)) return;
    LibraryWriting w;
    if (!lib.chooser || !library_cell(m, inst, pins, wire, lib, w))
        w.type = vorp_cell(inst, pins, wire, lib, w.connections);
    const std::string& type = w.type;
    Connections& connections = w.connections;
    if (inst.cell() == CELL_SUBMODULE && lib.supplies) name_black_box_pins(out, inst, connections);
    out << "  " << type << " " << ident(inst.name ? inst.name : "") << " (";
    for (std::size_t i = 0; i < connections.size(); ++i)
        out << (i ? ", " : "") << "." << connections[i].first << "(" << connections[i].second
            << ")";
    out << ");\n" << w.extra;
}

void write_module(std::ostream& out, const Module& m, Library& lib) {
    std::vector<const Instance*> ports, supplies;
    split_ports(m, lib, ports, supplies);
    write_header(out, m, lib, ports, supplies);
    if (m.kind() == MOD_PCD) {
        if (lib.supplies) write_black_box_model(out, ports);
        out << "endmodule\n\n";
        return;
    }
    std::map<const Net*, std::string> wire = write_wires(out, m, lib);
    for (const Instance* inst = m.insts; inst; inst = inst->next)
        write_instance(out, m, *inst, wire, lib);
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
    std::cerr << "usage: nld2verilog [-s] [-o design.v] [-l cells.v] [--liberty <lib> ...]"
                 " [--map <liberty.map>]\n                   <top> <dir> ... [-r <dir> ...]\n";
    return 2;
}

// Only the modules of `text` (a cell library) that are in `names`.
std::string modules_named(const std::string& text, const std::set<std::string>& names) {
    std::istringstream in(text);
    std::string out;
    bool keep = false;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("module ", 0) == 0) {
            std::string name = line.substr(7, line.find_first_of(" (", 8) - 7);
            if (!name.empty() && name[0] == '\\') name.erase(0, 1);
            keep = names.count(name) > 0;
        }
        if (keep) out += line + "\n";
    }
    return out;
}

std::string read_file(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    if (!f) throw std::runtime_error("cannot read " + path);
    std::ostringstream s;
    s << f.rdbuf();
    return s.str();
}

// The pin map: the one named, else liberty.map in the first read or
// reference directory that has one, else none (every cell is then chosen).
std::string pin_map_path(const Design& d, const std::string& named) {
    std::string path = named;
    for (const DirEntry* e : {d.read_dirs, d.ref_dirs})
        for (; path.empty() && e; e = e->next)
            if (std::ifstream(std::string(e->dir) + "/liberty.map"))
                path = std::string(e->dir) + "/liberty.map";
    return path;
}

// The design as verilog2nld wrote it, beside its pin map; none when it does
// not load (the gates are then known by their names only).
std::unique_ptr<Design> original_design(const Design& d, const std::string& map_path,
                                        std::ostream& messages) {
    if (map_path.empty()) return nullptr;
    auto original = std::make_unique<Design>(messages);
    const std::size_t slash = map_path.rfind('/');
    add_dir(*original, original->read_dirs,
            slash == std::string::npos ? "." : map_path.substr(0, slash).c_str());
    original->top_name = original->copy_string(d.top_name);
    try {
        load_design(*original, original->top_name);
    } catch (const Fatal&) {
        return nullptr;
    }
    return original;
}

// The original module a written module was copied from.
const Module* original_module(const Design* original, const std::string& name) {
    if (!original) return nullptr;
    for (std::string n = name; !n.empty(); n = liberty::without_copy_number(n))
        for (const Module* m = original->modules; m; m = m->next)
            if (m->name && n == m->name) return m;
    return nullptr;
}

struct Options {
    std::string out_path, lib_path, map_path;
    std::vector<std::string> libraries;
    bool supplies = false;
};

std::vector<liberty::CellMapping> read_libraries(const std::vector<std::string>& paths) {
    std::vector<liberty::Library> libs;
    for (const std::string& path : paths)
        libs.push_back(liberty::read_liberty(path, read_file(path)));
    return liberty::map_libraries(libs);
}

std::string design_text(const Design& d, Library& lib) {
    std::ostringstream text;
    std::set<std::string> written;
    for (const Module* m = d.modules; m; m = m->next) {
        const bool library_cell =
            lib.chooser && m->kind() == MOD_PCD && lib.chooser->black_box(m->name);
        if (library_cell || !written.insert(m->name).second) continue;
        lib.vectors.clear();
        if (lib.chooser && m == d.modules) lib.vectors = lib.chooser->vector_ports(m->name);
        lib.original_names.clear();
        if (const Module* o = original_module(lib.original, m->name))
            lib.original_names = tools::match_gates(*m, *o);
        write_module(text, *m, lib);
    }
    if (lib.chooser && !lib.used.empty()) {
        std::ostringstream cells;
        write_library(cells, lib);
        text << modules_named(cells.str(), lib.used);
    }
    return text.str();
}

// The report of the cells chosen, as Verilog comments at the head of the file.
std::string comment_lines(const std::string& report) {
    std::istringstream in(report);
    std::string out;
    for (std::string line; std::getline(in, line);) out += "// " + line + "\n";
    return out;
}

void write_outputs(const Design& d, const Options& o) {
    std::ostringstream messages;
    std::unique_ptr<Design> original;
    Library lib;
    lib.supplies = o.supplies;
    std::optional<liberty::CellChooser> chooser;
    if (!o.libraries.empty()) {
        const std::string path = pin_map_path(d, o.map_path);
        chooser.emplace(
            read_libraries(o.libraries),
            path.empty() ? liberty::PinMap{} : liberty::read_pin_map(path, read_file(path)));
        lib.chooser = &*chooser;
        original = original_design(d, path, messages);
    }
    lib.original = original.get();
    std::string text = design_text(d, lib);
    if (chooser) text = comment_lines(chooser->report()) + "\n" + text;
    if (o.out_path.empty()) {
        std::cout << text;
    } else {
        std::ofstream f(o.out_path, std::ios::binary);
        f << text;
        if (!f) throw std::runtime_error("cannot write " + o.out_path);
    }
    if (!o.lib_path.empty()) {
        std::ofstream f(o.lib_path, std::ios::binary);
        write_library(f, lib);
        if (!f) throw std::runtime_error("cannot write " + o.lib_path);
    }
    if (chooser) std::cerr << chooser->report();
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    std::ostringstream messages;
    Design d(messages);
    bool refs = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-s") {
            o.supplies = true;
        } else if ((a == "-o" || a == "-l" || a == "--map") && i + 1 < argc) {
            (a == "-o" ? o.out_path : a == "-l" ? o.lib_path : o.map_path) = argv[++i];
        } else if (a == "--liberty" && i + 1 < argc) {
            o.libraries.push_back(argv[++i]);
        } else if (a == "-r") {
            refs = true;
        } else if (!a.empty() && a[0] == '-') {
            return usage();
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
        write_outputs(d, o);
    } catch (const std::exception& e) {
        std::cerr << "nld2verilog: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
