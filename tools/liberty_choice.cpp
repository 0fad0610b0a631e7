#include "tools/liberty_choice.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace vorp::liberty {

namespace {

std::vector<std::string> words_of(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string w; in >> w;) out.push_back(w);
    return out;
}

template <typename Pins>
bool covers(const Pins& pins, const std::vector<std::string>& wanted) {
    return std::all_of(wanted.begin(), wanted.end(), [&](const std::string& w) {
        return std::any_of(pins.begin(), pins.end(), [&](const auto& p) { return p.second == w; });
    });
}

template <typename Pins>
std::map<std::string, std::string> nld_to_library(const Pins& pins) {
    std::map<std::string, std::string> out;
    for (const auto& [lib_pin, nld_pin] : pins) out[nld_pin] = lib_pin;
    return out;
}

}  // namespace

std::string without_copy_number(const std::string& name) {
    const std::size_t dash = name.rfind('-');
    if (dash == std::string::npos || dash + 1 == name.size()) return "";
    for (std::size_t i = dash + 1; i < name.size(); ++i)
        if (!std::isdigit(static_cast<unsigned char>(name[i]))) return "";
    return name.substr(0, dash);
}

PinMap read_pin_map(const std::string& file, const std::string& text) {
    PinMap map;
    std::istringstream in(text);
    int line_number = 0;
    for (std::string line; std::getline(in, line);) {
        ++line_number;
        const std::vector<std::string> w = words_of(line);
        if (w.empty() || w[0][0] == '#') continue;
        if (w[0] == "inst" && w.size() == 4) {
            map.instances[{w[1], w[2]}] = w[3];
        } else if (w[0] == "port" && w.size() == 5) {
            try {
                map.vectors[w[1]][w[2]] = {std::stoi(w[3]), std::stoi(w[4])};
            } catch (const std::exception&) {
                throw LibertyError(file, line_number, "malformed port range");
            }
        } else if (w[0] == "cell" && w.size() >= 3) {
            PinMap::CellRecord& r = map.cells[w[1]];
            r.nld_cell = w[2];
            for (std::size_t i = 3; i < w.size(); ++i) {
                const std::size_t eq = w[i].find('=');
                if (eq == std::string::npos || eq == 0 || eq + 1 == w[i].size())
                    throw LibertyError(file, line_number, "malformed pin '" + w[i] + "'");
                r.pins.emplace_back(w[i].substr(0, eq), w[i].substr(eq + 1));
            }
        } else {
            throw LibertyError(file, line_number, "expected a cell or inst line");
        }
    }
    for (const auto& [key, type] : map.instances)
        if (!map.cells.count(type))
            throw LibertyError(file, line_number,
                               "instance '" + key.second + "' of cell '" + type +
                                   "' that the map does not describe");
    return map;
}

CellChooser::CellChooser(std::vector<CellMapping> cells, PinMap map)
    : cells_(std::move(cells)), map_(std::move(map)) {}

bool CellChooser::black_box(const std::string& cell) const {
    for (const CellMapping& m : cells_)
        if (m.cell == cell) return m.black_box();
    return false;
}

bool CellChooser::offers(const std::string& nld_cell) const {
    return std::any_of(cells_.begin(), cells_.end(),
                       [&](const CellMapping& m) { return m.nld_cell == nld_cell; });
}

std::optional<CellChooser::Choice> CellChooser::original(
    const std::string& module, const std::string& instance, const std::string& nld_cell,
    const std::vector<std::string>& pins) const {
    for (std::string m = module; !m.empty(); m = without_copy_number(m)) {
        const auto it = map_.instances.find({m, instance});
        if (it == map_.instances.end()) continue;
        const PinMap::CellRecord& r = map_.cells.at(it->second);
        if (r.nld_cell != nld_cell || !covers(r.pins, pins)) return std::nullopt;
        return Choice{it->second, nld_to_library(r.pins)};
    }
    return std::nullopt;
}

std::optional<CellChooser::Choice> CellChooser::smallest(
    const std::string& nld_cell, const std::vector<std::string>& pins) const {
    const CellMapping* best = nullptr;
    for (const CellMapping& m : cells_)
        if (m.nld_cell == nld_cell && covers(m.pins, pins) && (!best || m.area < best->area))
            best = &m;
    if (best) return Choice{best->cell, nld_to_library(best->pins)};
    for (const auto& [type, r] : map_.cells)
        if (r.nld_cell == nld_cell && covers(r.pins, pins))
            return Choice{type, nld_to_library(r.pins)};
    return std::nullopt;
}

std::optional<CellChooser::Choice> CellChooser::choose(const std::string& module,
                                                       const std::string& instance,
                                                       const std::string& nld_cell,
                                                       const std::vector<std::string>& pins) {
    if (auto c = original(module, instance, nld_cell, pins)) {
        ++kept_;
        return c;
    }
    auto c = smallest(nld_cell, pins);
    if (c) ++chosen_[{nld_cell, c->type}];
    return c;
}

std::string CellChooser::report() const {
    std::string out = "nld2verilog: " + std::to_string(kept_) + " instance" +
                      (kept_ == 1 ? "" : "s") + " kept their library cells\n";
    for (const auto& [key, count] : chosen_)
        out += "nld2verilog: " + key.second + " chosen for " + std::to_string(count) + " " +
               key.first + " instance" + (count == 1 ? "" : "s") + "\n";
    for (const auto& [cell, count] : missing_)
        out += "nld2verilog: no library cell for " + std::to_string(count) + " " + cell +
               " instance" + (count == 1 ? "" : "s") + ": written as vorp's cell, model appended\n";
    return out;
}

}  // namespace vorp::liberty
