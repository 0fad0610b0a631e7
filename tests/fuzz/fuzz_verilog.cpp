// Fuzz target: one file's bytes through the tools' Verilog reader and the
// conversion to NLD, with a small cell library (a gate, a flip-flop and a
// black box) so that library instances, positional connections and the pin
// map are reached. Every input must convert or be refused with a
// "file:line: " message; nothing may crash, hang or throw anything else.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tools/liberty_cells.h"
#include "tools/liberty_reader.h"
#include "tools/nld_from_verilog.h"
#include "tools/verilog_reader.h"

namespace {

const vorp::verilog::CellLibrary& library() {
    static const vorp::verilog::CellLibrary cells = [] {
        const char* text =
            "library (f) {\n"
            " cell (NAND2_X1) { area : 1 ; pin (A1) { direction : input ; }\n"
            "  pin (A2) { direction : input ; }\n"
            "  pin (ZN) { direction : output ; function : \"!(A1 A2)\" ; } }\n"
            " cell (DFF_X1) { area : 4 ; ff (IQ, IQN) { next_state : \"D\" ; clocked_on : \"CK\" ; "
            "}\n"
            "  pin (D) { direction : input ; } pin (CK) { direction : input ; }\n"
            "  pin (Q) { direction : output ; function : \"IQ\" ; } }\n"
            " cell (MUX2_X1) { area : 2 ; pin (A) { direction : input ; }\n"
            "  pin (B) { direction : input ; } pin (S) { direction : input ; }\n"
            "  pin (Z) { direction : output ; function : \"(A !S) + (B S)\" ; } }\n"
            "}\n";
        vorp::verilog::CellLibrary out;
        for (auto& m : vorp::liberty::map_libraries({vorp::liberty::read_liberty("f.lib", text)}))
            out[m.cell] = m;
        return out;
    }();
    return cells;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const auto modules = vorp::verilog::read_verilog("fuzz.v", text);
        vorp::verilog::convert_design(modules, library());
        vorp::verilog::convert_design(modules, {});
    } catch (const vorp::verilog::VerilogError& e) {
        if (std::string(e.what()).rfind("fuzz.v:", 0) != 0) {
            std::fprintf(stderr, "message without file and line: %s\n", e.what());
            std::abort();
        }
    }
    return 0;
}
