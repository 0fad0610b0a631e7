// Turns modules read by the Verilog reader into NLD texts that vorp reads:
// one text per module, a PCD interface for a (* blackbox *) module.
//
// Every bit of a port or wire is one signal; `assign` joins signals into one
// net, a constant becomes a net driven by a high- or low- cell named const1
// or const0. A vector bit is named "a[3]". A port that reaches nothing is
// left unconnected, and a net without any instance pin or second port is not
// written.
//
// Order: vorp's reader reverses the order of instances, nets and the nodes
// of a net, so they are written reversed: in memory they come out in the
// Verilog order, and nld2verilog gives the same text back. Instances keep
// their order; nets are ordered by the first wire declaration of one of
// their bits (the port declaration when a bit has no wire declaration),
// nets with no declared bit last; a net's nodes by first mention, the right
// side of an `assign` before its left side, a constant cell first.
//
// Cost: linear in the text, times the inverse Ackermann function of the
// union of signals, plus sorting the nets and nodes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/liberty_cells.h"
#include "tools/verilog_reader.h"

namespace vorp::verilog {

struct NldFile {
    std::string module;
    bool interface_only = false;  // write as <module>.pcd
    std::string text;
};

// The cells of the Liberty libraries given, by name.
using CellLibrary = std::map<std::string, liberty::CellMapping>;

struct Conversion {
    std::vector<NldFile> files;
    std::map<std::string, int> black_boxes;  // library cell -> instances
    // When library cells are used: for each cell type used, its NLD cell and
    // pins ("cell NAND2_X1 nand--2 A1=in0 A2=in1 ZN=nout", "*" for a black
    // box), the vector ports of every module ("port top a 3 0"), then every
    // instance of a cell with its type ("inst top u1 NAND2_X1"), so that the
    // way back to the library is exact.
    std::string pin_map;
};

// Throws VerilogError for anything outside the subset, naming file and line.
// An instance of a library cell becomes its NLD cell; one of a cell that is
// no NLD kind becomes an instance of a black box, written as a PCD file.
Conversion convert_design(const std::vector<Module>& modules, const CellLibrary& library);

// The same without a library.
std::vector<NldFile> convert_modules(const std::vector<Module>& modules);

}  // namespace vorp::verilog
