// Reads one NLD or PCD netlist file into a Module.
#pragma once

#include <string_view>

#include "db/design.h"
#include "db/queries.h"  // find_port, find_inst

namespace vorp {

// Read a whole NLD (or PCD: ports and attributes only) file's text into a
// new module. The caller has set `d.cur_path`. Every fault ends the run.
// Builds the `same_inst` rings as `check_nets` does, and sets
// `d.pins_over_limit` when an instance is connected more often than its cell
// has pins (the check itself, and its message, is the caller's).
// Lists are prepended, so file order is reversed in memory. Cost: linear in
// the text (names are looked up through hash indexes that give the same
// first match as the linear search).
Module* read_nld(Design& d, std::string_view text);
Module* read_pcd(Design& d, std::string_view text);

// Cell code of a def-comp cell name; sets `d.cell_param` (and its value
// modulo 256). Ends the run silently on a bad gate suffix.
int parse_cell_name(Design& d, const char* text);

// How many pins the instance's cell has: inverters, buffers and gates;
// 0 for every other cell, which takes any number of connections.
int pin_limit(const Instance& inst);

// Direction code of a pin of a cell (265, 268, 271; 425 on a sub-module);
// 0 when the cell has no pin of that name.
int pin_type_of(const char* pin, int cell);

}  // namespace vorp
