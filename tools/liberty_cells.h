// Recognises the NLD cell that a Liberty cell is, by its logic rather than
// its name: a single-output combinational cell by the truth table of its
// function (inverter, buffer, AND/NAND/OR/NOR of n inputs, XOR/XNOR, the
// AOI/OAI forms, constants), a flip-flop by its ff group (a rising-edge D
// flip-flop without clear or preset, with Q and/or QN, is reg-1). Every other
// cell is a black box that keeps its own pin names.
//
// For AOI/OAI cells the library's inputs are ordered into NLD's input groups:
// in0, in1, ... take the inputs in the order in which the cell's function
// equals NLD's form (aoi--21 is ~((in0 & in1) | in2)).
//
// Cost: per cell, its truth table (2^n evaluations of the function, n at most
// 10) times the input orders tried (n! at most 720, for the AOI/OAI forms only).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/liberty_reader.h"

namespace vorp::liberty {

struct CellMapping {
    std::string cell;      // the Liberty cell name
    std::string nld_cell;  // e.g. "nand--2"; empty for a black box
    double area = 0;
    std::vector<std::string> pin_order;                     // the cell's pins in library order
    std::vector<std::pair<std::string, std::string>> pins;  // Liberty pin, NLD pin
    std::map<std::string, int> directions;                  // Liberty pin: 0 in, 1 out, 2 inout
    bool black_box() const { return nld_cell.empty(); }
};

// The mapping of one cell.
CellMapping map_cell(const Cell& cell);

// Every cell of the libraries, in their order; a cell name given twice is an
// error naming the second place.
std::vector<CellMapping> map_libraries(const std::vector<Library>& libraries);

}  // namespace vorp::liberty
