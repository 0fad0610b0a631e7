// Converts structural gate-level Verilog (as yosys's write_verilog or
// nld2verilog write it) into one NLD file per module, for vorp to read.
//
//   verilog2nld [-o <dir>] [--liberty <lib> ...] <file.v> ...
//
// Files go to <dir> (default: the current directory) as <module>.nld, or
// <module>.pcd for a (* blackbox *) module. With --liberty, instances of the
// library's cells become NLD cells (by the cells' logic) or black boxes
// (<cell>.pcd), and <dir>/liberty.map records each instance's library cell
// and pins for nld2verilog --liberty. On any error nothing is written:
// the message names the file, the line and the construct, and the status
// is 1. Every file is first written whole beside its destination, then all
// are renamed into place.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "tools/liberty_cells.h"
#include "tools/liberty_reader.h"
#include "tools/nld_from_verilog.h"
#include "tools/verilog_reader.h"

namespace {

using namespace vorp::verilog;

int usage() {
    std::cerr << "usage: verilog2nld [-o <dir>] [--liberty <lib> ...] <file.v> ...\n";
    return 2;
}

// The pin map file, written with the NLD files.
constexpr const char* kPinMap = "liberty.map";

bool read_text(const std::string& path, std::string& text) {
    std::ifstream f(path, std::ios::binary);
    if (!f) return false;
    std::ostringstream s;
    s << f.rdbuf();
    text = s.str();
    return !f.bad();
}

// Write every file under a temporary name, then rename them all; on a
// failure remove what was written so far.
bool write_all(const std::vector<std::pair<std::string, std::string>>& files) {
    std::vector<std::pair<std::string, std::string>> done;  // temporary, final
    bool ok = true;
    for (const auto& [final_path, text] : files) {
        const std::string temp = final_path + ".tmp" + std::to_string(getpid());
        std::ofstream out(temp, std::ios::binary);
        out << text;
        out.close();
        done.emplace_back(temp, final_path);
        if (!out) {
            std::cerr << "verilog2nld: cannot write " << final_path << "\n";
            ok = false;
            break;
        }
    }
    for (const auto& [temp, final_path] : done) {
        if (ok && std::rename(temp.c_str(), final_path.c_str()) != 0) {
            std::cerr << "verilog2nld: cannot write " << final_path << "\n";
            ok = false;
        }
        if (!ok) std::remove(temp.c_str());
    }
    return ok;
}

std::vector<std::pair<std::string, std::string>> output_files(const std::string& dir,
                                                              const Conversion& c) {
    std::vector<std::pair<std::string, std::string>> out;
    for (const NldFile& f : c.files)
        out.emplace_back(dir + "/" + f.module + (f.interface_only ? ".pcd" : ".nld"), f.text);
    if (!c.pin_map.empty())
        out.emplace_back(
            dir + "/" + kPinMap,
            "# verilog2nld: library cells, their NLD pins and instances\n" + c.pin_map);
    return out;
}

void report_black_boxes(const std::map<std::string, int>& black_boxes) {
    if (black_boxes.empty()) return;
    int total = 0;
    std::string list;
    for (const auto& [cell, count] : black_boxes) {
        total += count;
        list += " " + cell + " (" + std::to_string(count) + ")";
    }
    std::cerr << "verilog2nld: " << total << " instance" << (total == 1 ? "" : "s") << " of "
              << black_boxes.size() << " cell" << (black_boxes.size() == 1 ? "" : "s")
              << " of no NLD kind became black boxes:" << list << "\n";
}

}  // namespace

int main(int argc, char** argv) {
    std::string dir = ".";
    std::vector<std::string> inputs, libraries;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-o" && i + 1 < argc)
            dir = argv[++i];
        else if (a == "--liberty" && i + 1 < argc)
            libraries.push_back(argv[++i]);
        else if (!a.empty() && a[0] == '-')
            return usage();
        else
            inputs.push_back(a);
    }
    if (inputs.empty()) return usage();
    try {
        CellLibrary cells;
        std::vector<vorp::liberty::Library> libs;
        for (const std::string& path : libraries) {
            std::string text;
            if (!read_text(path, text)) {
                std::cerr << "verilog2nld: cannot read " << path << "\n";
                return 1;
            }
            libs.push_back(vorp::liberty::read_liberty(path, text));
        }
        for (vorp::liberty::CellMapping& m : vorp::liberty::map_libraries(libs))
            cells[m.cell] = std::move(m);
        std::vector<Module> modules;
        for (const std::string& path : inputs) {
            std::string text;
            if (!read_text(path, text)) {
                std::cerr << "verilog2nld: cannot read " << path << "\n";
                return 1;
            }
            for (Module& m : read_verilog(path, text)) modules.push_back(std::move(m));
        }
        const Conversion c = convert_design(modules, cells);
        if (!write_all(output_files(dir, c))) return 1;
        report_black_boxes(c.black_boxes);
        return 0;
    } catch (const std::runtime_error& e) {
        std::cerr << "verilog2nld: " << e.what() << "\n";
        return 1;
    }
}
