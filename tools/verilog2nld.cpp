// Converts structural gate-level Verilog (as yosys's write_verilog or
// nld2verilog write it) into one NLD file per module, for vorp to read.
//
//   verilog2nld [-o <dir>] <file.v> ...
//
// Files go to <dir> (default: the current directory) as <module>.nld, or
// <module>.pcd for a (* blackbox *) module. On any error nothing is written:
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

#include "tools/nld_from_verilog.h"
#include "tools/verilog_reader.h"

namespace {

using namespace vorp::verilog;

int usage() {
    std::cerr << "usage: verilog2nld [-o <dir>] <file.v> ...\n";
    return 2;
}

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
bool write_all(const std::string& dir, const std::vector<NldFile>& files) {
    std::vector<std::pair<std::string, std::string>> done;  // temporary, final
    bool ok = true;
    for (const NldFile& f : files) {
        const std::string final_path = dir + "/" + f.module + (f.interface_only ? ".pcd" : ".nld");
        const std::string temp = final_path + ".tmp" + std::to_string(getpid());
        std::ofstream out(temp, std::ios::binary);
        out << f.text;
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

}  // namespace

int main(int argc, char** argv) {
    std::string dir = ".";
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-o" && i + 1 < argc)
            dir = argv[++i];
        else if (!a.empty() && a[0] == '-')
            return usage();
        else
            inputs.push_back(a);
    }
    if (inputs.empty()) return usage();
    try {
        std::vector<Module> modules;
        for (const std::string& path : inputs) {
            std::string text;
            if (!read_text(path, text)) {
                std::cerr << "verilog2nld: cannot read " << path << "\n";
                return 1;
            }
            for (Module& m : read_verilog(path, text)) modules.push_back(std::move(m));
        }
        return write_all(dir, convert_modules(modules)) ? 0 : 1;
    } catch (const VerilogError& e) {
        std::cerr << "verilog2nld: " << e.what() << "\n";
        return 1;
    }
}
