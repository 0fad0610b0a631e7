// Reads the structural subset of Verilog that yosys's write_verilog,
// nld2verilog and gate-level flows produce: module headers with port names or
// with ANSI port declarations, input/output/inout/wire declarations with
// optional ranges, `assign` of wires, bit-selects, part-selects,
// concatenations and sized constants, and instances with named connections
// or connections by position. Anything else is refused with a VerilogError naming the file,
// the line and the construct. Attributes are skipped, except that
// (* blackbox *) marks the module that follows as an interface only.
//
// Cost: linear in the size of the text.
#pragma once

#include <string>
#include <vector>

#include "tools/source_error.h"

namespace vorp::verilog {

struct VerilogError : SourceError {
    using SourceError::SourceError;
};

// A declared range [msb:lsb]; `vector` false for a scalar.
struct Range {
    bool vector = false;
    int msb = 0;
    int lsb = 0;
    int width() const { return vector ? (msb > lsb ? msb - lsb : lsb - msb) + 1 : 1; }
    // The indexes in the order they are written, msb first.
    std::vector<int> indexes() const;
};

// One operand of a concatenation: a name with an optional select, or a
// constant given bit by bit (msb first; 0, 1, 'x' or 'z' as characters).
struct Term {
    bool constant = false;
    bool unsized = false;  // a plain decimal number: takes the width it is given
    std::string name;
    int select = 0;  // 0 none, 1 bit, 2 part
    int msb = 0;
    int lsb = 0;
    std::string bits;
    int line = 0;
};
using Expr = std::vector<Term>;  // msb first, as written in braces

enum class Direction { Input, Output, Inout, Wire };

struct Declaration {
    std::string name;
    Direction direction = Direction::Wire;
    Range range;
    int line = 0;
    int position = 0;  // order in the text, shared with the statements
};

struct Connection {
    std::string pin;  // empty for a connection by position
    Expr expr;        // empty for an open pin: .A()
    int line = 0;
};

struct Statement {
    bool is_assign = false;
    int line = 0;
    int position = 0;
    Expr lhs, rhs;           // assign
    std::string type, name;  // instance
    bool by_position = false;
    std::vector<Connection> connections;
};

struct Module {
    std::string name;
    std::string file;
    int line = 0;
    bool blackbox = false;
    std::vector<std::string> header;  // port names in header order
    std::vector<Declaration> declarations;
    std::vector<Statement> statements;
};

// Parse one file's text; `file` is used in messages.
std::vector<Module> read_verilog(const std::string& file, const std::string& text);

}  // namespace vorp::verilog
