// Copies input netlist files into the write directory byte for byte.
#pragma once

#include <string_view>
#include <unordered_set>

#include "db/design.h"
#include "netlist/file_io.h"

namespace vorp {

// The names of the module files written so far: a list in writing order,
// starting with the top name, with a hash set beside it for the lookups.
struct WrittenNames {
    struct Cell {
        const char* name;
        Cell* next;
    };
    Cell* head = nullptr;
    Cell* tail = nullptr;
    std::unordered_set<std::string_view> index;

    void append(Design& d, const char* name);
};

// True if `name` is in the list (exact comparison).
bool name_written(const char* name, const WrittenNames& names);

void report_wrote(Design& d, const char* path);
void report_open_failed(Design& d, const char* path);

// The path of module `name`'s file in the write directory. A name that is no
// file name is refused as a destination that cannot be opened: the message,
// then Fatal{1}; nothing is opened.
const char* destination_path(Design& d, const char* name, const char* ext);

// Open `path` for writing and remove the temporary files that killed runs
// left beside it. A failed open ends the run with the message (Fatal{1}).
void open_destination(Design& d, OutputFile& out, const char* path, StaleTempFiles& stale);

// Copy the input file of module `name` (a PCD file for MOD_PCD, an NLD file
// for MOD_NLD and MOD_REFERENCE; nothing for other kinds) from the first read
// or reference directory holding it into the write directory. Ends the run
// with status 1 when the file is gone (no message) or the destination cannot
// be opened.
void copy_module_file(Design& d, const char* name, int kind, StaleTempFiles& stale);

// Write the input netlists unchanged (the fallback of every run that does
// not rewrite). A failed open ends the run (Fatal{1}).
void write_unchanged_design(Design& d);

}  // namespace vorp
