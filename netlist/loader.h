// Finds, reads and expands every module of the design.
#pragma once

#include "db/design.h"

namespace vorp {

// Read the top module and, breadth first, one module copy per sub-module
// instance; counts the inverters of the expanded design. Input faults end the
// run (Fatal{1}). Cost: linear in the size of the expanded design.
void load_design(Design& d, const char* top_name);

// False for a module name holding "/": joined to a directory it would reach
// outside it, so it names no module file, to read or to write.
bool names_a_file(const char* name);

// "<dir>/<name>.<ext>" as a new string.
char* make_path(Design& d, const char* name, const char* dir, const char* ext);

// A deep copy of a module: ports, instances, nets and nodes in the same
// order, each node bound by name to the copy's port or instance, with the
// `same_inst` rings that `check_nets` builds.
Module* copy_module(Design& d, const Module& source);

// Build the `same_inst` rings of a module's nodes and refuse an instance
// connected more often than its cell has pins.
void check_nets(Design& d, Module& m);

// Print "\"<cur_path>\", <name> appears <count> times in def-net" and end the
// run with status 1.
[[noreturn]] void refuse_pin_count(Design& d, const Instance& inst, int count);

}  // namespace vorp
