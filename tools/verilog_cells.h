// The cells that verilog2nld turns into NLD primitive cells: yosys's simple
// internal gates ($_NOT_, $_AND_, ..., $_DFF_P_) and the cells of the library
// that nld2verilog writes (\nand--2, \inv-, \reg-1, ...), each with the pins
// it accepts and the NLD pin name each of them becomes.
//
// Yosys gates take the library's pin names, so a converted design exports
// back to the same library instances: A, B, C, D become in0..in3 of and-,
// or-, nand-, nor-, aoi- and oai- gates (for $_AOI3_ ~((A&B)|C) that is
// aoi--21, for $_AOI4_ ~((A&B)|(C&D)) aoi--22, the same for OAI), and in1,
// in2 of eor--2/enor--2; Y becomes out or nout; $_DFF_P_ is reg-1 with C on
// m_clock, D on in and Q on out.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace vorp::verilog {

struct CellKind {
    std::string nld_cell;                     // the NLD cell name, e.g. "nand--2"
    std::map<std::string, std::string> pins;  // Verilog pin -> NLD pin
};

// The cell a Verilog instance type names, or none when it names no cell.
std::optional<CellKind> find_cell(const std::string& type);

// True when vorp's reader would read `name` in a def-comp as a primitive
// cell (or refuse it as a malformed one) rather than as a sub-module.
bool names_a_cell(const std::string& name);

}  // namespace vorp::verilog
