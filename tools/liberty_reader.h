// Reads the parts of a Liberty (.lib) library that a gate-level netlist
// needs: every cell with its area, its pins (name, direction, the `function`
// of an output) and its `ff` group (state names, `next_state`, `clocked_on`,
// `clear`, `preset`). Timing, power and every other group are skipped.
//
// The text is groups `name (args) { ... }`, simple attributes `name : value ;`
// and complex attributes `name (args) ;`, with /* */ and // comments and
// backslash-newline continuations. A fault throws LibertyError naming the
// file and the line.
//
// Functions are parsed into expression trees: `!a` and `a'` invert, `^` is
// exclusive or, `*`, `&` and juxtaposition (`a b`, `a(b+c)`) are AND, `+` and
// `|` are OR, 0 and 1 are constants; binding from tightest: inversion, `^`,
// AND, OR.
//
// Cost: linear in the size of the text.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/source_error.h"

namespace vorp::liberty {

struct LibertyError : SourceError {
    using SourceError::SourceError;
};

// A Boolean expression over pin and state names.
struct Expr {
    enum Op { Const0, Const1, Var, Not, And, Or, Xor } op = Const0;
    std::string name;  // Var
    std::vector<Expr> args;
};

enum class Direction { Input, Output, Inout, Internal };

struct Pin {
    std::string name;
    Direction direction = Direction::Input;
    std::optional<Expr> function;     // outputs
    std::optional<Expr> three_state;  // outputs that may float
    int line = 0;
};

struct FlipFlop {
    std::string state, state_inverted;  // the two names of ff (IQ, IQN)
    std::optional<Expr> next_state, clocked_on, clear, preset;
    int line = 0;
};

struct Cell {
    std::string name;
    double area = 0;
    std::vector<Pin> pins;  // in the library's order
    std::optional<FlipFlop> ff;
    bool other_state = false;  // a latch, statetable or bus: never matched
    std::string file;
    int line = 0;
};

struct Library {
    std::string name;
    std::vector<Cell> cells;
};

// Parse one library's text; `file` is used in messages.
Library read_liberty(const std::string& file, const std::string& text);

// Parse a function text alone (as in `function : "..."`).
Expr parse_function(const std::string& file, int line, const std::string& text);

// The names of the variables of an expression, each once, in first-use order.
std::vector<std::string> variables(const Expr& e);

// The value of an expression, given the value of each variable.
bool evaluate(const Expr& e, const std::vector<std::string>& names, unsigned long long values);

}  // namespace vorp::liberty
