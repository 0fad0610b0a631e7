// Chooses the library cell that an NLD instance is written back as: the cell
// it was read from when vorp left it as it was (same instance, same NLD
// cell, pins it has), else the smallest-area cell of the libraries with its
// NLD cell and pins. The pin map that verilog2nld --liberty wrote tells what
// each instance was.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/liberty_cells.h"

namespace vorp::liberty {

// What verilog2nld recorded: each cell type's NLD cell ("*" for a black box)
// and pins, and the type of every instance by module and instance name.
struct PinMap {
    struct CellRecord {
        std::string nld_cell;
        std::vector<std::pair<std::string, std::string>> pins;  // library pin, NLD pin
    };
    std::map<std::string, CellRecord> cells;
    std::map<std::pair<std::string, std::string>, std::string> instances;
    // The vector ports of each module: name -> (msb, lsb).
    std::map<std::string, std::map<std::string, std::pair<int, int>>> vectors;
};

// The module a copy that vorp named <module>-<n> was read as; "" for a name
// without such a number.
std::string without_copy_number(const std::string& name);

// Parse a pin map's text; a malformed line throws LibertyError.
PinMap read_pin_map(const std::string& file, const std::string& text);

class CellChooser {
   public:
    CellChooser(std::vector<CellMapping> cells, PinMap map);

    struct Choice {
        std::string type;
        std::map<std::string, std::string> pins;  // NLD pin -> library pin
    };
    // The cell for an instance of `nld_cell` whose NLD pins are `pins`, or
    // none when no cell fits: a library cell, or a cell type that the pin
    // map says the netlist was read with (as yosys's internal gates).
    std::optional<Choice> choose(const std::string& module, const std::string& instance,
                                 const std::string& nld_cell, const std::vector<std::string>& pins);
    // Counts an instance of `nld_cell` that no cell was found for.
    void note_missing(const std::string& nld_cell) { ++missing_[nld_cell]; }
    // True for a library cell that is no NLD kind (an instance of it is a
    // black box in NLD).
    bool black_box(const std::string& cell) const;
    // True when a library cell is `nld_cell`.
    bool offers(const std::string& nld_cell) const;
    // The vector ports that a module was read with.
    std::map<std::string, std::pair<int, int>> vector_ports(const std::string& module) const {
        const auto it = map_.vectors.find(module);
        return it == map_.vectors.end() ? std::map<std::string, std::pair<int, int>>{} : it->second;
    }
    // What was chosen: one line per kind, for the standard error stream.
    std::string report() const;

   private:
    std::optional<Choice> original(const std::string& module, const std::string& instance,
                                   const std::string& nld_cell,
                                   const std::vector<std::string>& pins) const;
    std::optional<Choice> smallest(const std::string& nld_cell,
                                   const std::vector<std::string>& pins) const;

    std::vector<CellMapping> cells_;
    PinMap map_;
    int kept_ = 0;
    std::map<std::pair<std::string, std::string>, int> chosen_;  // (NLD cell, cell) -> count
    std::map<std::string, int> missing_;                         // NLD cell -> count
};

}  // namespace vorp::liberty
