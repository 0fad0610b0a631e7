// Writes the reduced design as NLD text: the top module, every kept module
// copy (or, with -f, the flat top alone), and copies of the input files the
// result still needs.
#pragma once

#include "db/design.h"
#include "netlist/file_io.h"

namespace vorp {

// Ends the run with status 1 when a file cannot be opened.
void write_reduced_design(Design& d);

void write_module(OutputFile& out, const Design& d, const Module& m);
// The def-comp lines of one group; gate trees left, group, right.
void write_group(OutputFile& out, const CellGroup* g);

}  // namespace vorp
