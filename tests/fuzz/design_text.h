// A small design held as text-level records, for the structure-aware fuzz
// mutator: the options of a run and a list of modules, each a list of pins,
// component declarations and nets. Parsing is lenient only where the format
// is regular; anything it does not understand makes the parse fail, and the
// fuzzer then falls back to byte mutations.
//
// The text form is what vorp reads, plus comment lines that carry what a
// directory layout would: a first line "; vorp <switch>..." with the run's
// switches (-a, -f), and a line "; pcd" or "; ref" before a module whose file
// is a PCD file, or lies in a reference directory.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorp::fuzz {

struct Connection {
    std::string inst;  // empty for a port of the module
    std::string pin;
};

struct PinDecl {
    std::string name;
    std::string type;  // empty: no type word
    std::string note;  // empty: no note word
};

struct CompDecl {
    std::string cell;
    std::vector<std::string> names;
};

enum class Placement { read_nld, read_pcd, reference_nld };

struct ModuleText {
    Placement placement = Placement::read_nld;
    std::string name;
    std::vector<PinDecl> pins;
    std::vector<CompDecl> comps;
    std::vector<std::vector<Connection>> nets;
};

struct DesignText {
    bool opt_a = false;
    bool opt_f = false;
    std::vector<ModuleText> modules;  // the first is the top module
};

// Parse the text form; none when it is not in the regular form above.
// Linear in the text.
std::optional<DesignText> parse_design_text(std::string_view text);

// The text form of a design; parse_design_text gives it back unchanged.
std::string print_design_text(const DesignText& design);

// The text of one module as vorp reads it.
std::string print_module(const ModuleText& module);

// Split a fuzz input into the run's switches and per-module files, without
// requiring the regular form: any text between two "(def-module" openings
// whose module name is a plain file name becomes that module's file. The
// top module's name is the first file's.
struct FileText {
    Placement placement = Placement::read_nld;
    std::string name;
    std::string text;
};
struct RunFiles {
    bool opt_a = false;
    bool opt_f = false;
    std::vector<FileText> files;
};
RunFiles split_into_files(std::string_view text);

}  // namespace vorp::fuzz
