#include "tools/liberty_cells.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <optional>
#include <set>

namespace vorp::liberty {

namespace {

constexpr int kMaxInputs = 10;

using Inputs = std::vector<bool>;  // values of NLD's inputs in0, in1, ...

// One NLD gate kind: its cell name, inputs, output pin and function; input
// names other than in0.. (inverter, buffer, exclusive or) are listed.
struct GateForm {
    std::string nld_cell;
    int inputs = 0;
    std::vector<std::string> input_names;
    std::string output;
    std::function<bool(const Inputs&)> value;
    bool symmetric = true;
};

bool all_of(const Inputs& x) {
    return std::all_of(x.begin(), x.end(), [](bool b) { return b; });
}
bool any_of(const Inputs& x) {
    return std::any_of(x.begin(), x.end(), [](bool b) { return b; });
}

// aoi-/oai- with the given group sizes: inner AND (aoi) or OR (oai) per group.
GateForm and_or_invert(bool aoi, const std::string& digits) {
    std::vector<int> groups;
    for (char c : digits) groups.push_back(c - '0');
    const int n = std::accumulate(groups.begin(), groups.end(), 0);
    auto value = [aoi, groups](const Inputs& x) {
        std::size_t k = 0;
        bool outer = !aoi;
        for (int size : groups) {
            const Inputs group(x.begin() + static_cast<long>(k),
                               x.begin() + static_cast<long>(k) + size);
            k += static_cast<std::size_t>(size);
            outer = aoi ? (outer || all_of(group)) : (outer && any_of(group));
        }
        return !outer;
    };
    return GateForm{(aoi ? "aoi--" : "oai--") + digits, n, {}, "nout", value, false};
}

std::vector<GateForm> forms_with(int n) {
    std::vector<GateForm> out;
    if (n == 1) {
        out.push_back({"inv-", 1, {"in"}, "nout", [](const Inputs& x) { return !x[0]; }});
        out.push_back({"ninv-", 1, {"in"}, "out", [](const Inputs& x) { return x[0]; }});
        return out;
    }
    if (n < 2) return out;
    const std::string s = std::to_string(n);
    out.push_back({"and--" + s, n, {}, "out", all_of});
    out.push_back({"nand--" + s, n, {}, "nout", [](const Inputs& x) { return !all_of(x); }});
    out.push_back({"or--" + s, n, {}, "out", any_of});
    out.push_back({"nor--" + s, n, {}, "nout", [](const Inputs& x) { return !any_of(x); }});
    if (n == 2) {
        out.push_back(
            {"eor--2", 2, {"in1", "in2"}, "out", [](const Inputs& x) { return x[0] != x[1]; }});
        out.push_back(
            {"enor--2", 2, {"in1", "in2"}, "nout", [](const Inputs& x) { return x[0] == x[1]; }});
    }
    for (const char* digits : {"21", "22", "31", "32", "33", "211", "221", "222"}) {
        int sum = 0;
        for (const char* c = digits; *c; ++c) sum += *c - '0';
        if (sum != n) continue;
        out.push_back(and_or_invert(true, digits));
        out.push_back(and_or_invert(false, digits));
    }
    return out;
}

// True when the form, with NLD input j on library input order[j], has the
// cell's truth table (indexed by the library inputs' values as bits).
bool same_table(const GateForm& f, const std::vector<bool>& table, const std::vector<int>& order) {
    Inputs x(order.size());
    for (std::size_t m = 0; m < table.size(); ++m) {
        for (std::size_t j = 0; j < order.size(); ++j) x[j] = (m >> order[j]) & 1;
        if (f.value(x) != table[m]) return false;
    }
    return true;
}

// The order of library inputs under which the form matches, if any.
std::optional<std::vector<int>> match_form(const GateForm& f, const std::vector<bool>& table) {
    std::vector<int> order(static_cast<std::size_t>(f.inputs));
    std::iota(order.begin(), order.end(), 0);
    do {
        if (same_table(f, table, order)) return order;
    } while (!f.symmetric && std::next_permutation(order.begin(), order.end()));
    return std::nullopt;
}

const Pin* only_output(const Cell& cell) {
    const Pin* out = nullptr;
    for (const Pin& p : cell.pins) {
        if (p.direction == Direction::Inout) return nullptr;
        if (p.direction != Direction::Output) continue;
        if (out) return nullptr;
        out = &p;
    }
    return out;
}

std::vector<std::string> inputs_of(const Cell& cell) {
    std::vector<std::string> out;
    for (const Pin& p : cell.pins)
        if (p.direction == Direction::Input) out.push_back(p.name);
    return out;
}

bool is_var(const std::optional<Expr>& e, const std::string& name) {
    return e && e->op == Expr::Var && e->name == name;
}

void map_gate(const Cell& cell, CellMapping& m) {
    const Pin* out = only_output(cell);
    if (!out || !out->function || out->three_state) return;
    const std::vector<std::string> inputs = inputs_of(cell);
    const int n = static_cast<int>(inputs.size());
    if (n > kMaxInputs) return;
    for (const std::string& v : variables(*out->function))
        if (std::find(inputs.begin(), inputs.end(), v) == inputs.end()) return;
    std::vector<bool> table(std::size_t{1} << n);
    for (std::size_t v = 0; v < table.size(); ++v) table[v] = evaluate(*out->function, inputs, v);
    if (n == 0) {
        m.nld_cell = table[0] ? "high-" : "low-";
        m.pins = {{out->name, table[0] ? "out" : "nout"}};
        return;
    }
    for (const GateForm& f : forms_with(n)) {
        const auto order = match_form(f, table);
        if (!order) continue;
        m.nld_cell = f.nld_cell;
        for (int j = 0; j < n; ++j)
            m.pins.emplace_back(inputs[static_cast<std::size_t>((*order)[j])],
                                f.input_names.empty() ? "in" + std::to_string(j)
                                                      : f.input_names[static_cast<std::size_t>(j)]);
        m.pins.emplace_back(out->name, f.output);
        return;
    }
}

// A rising-edge D flip-flop: next_state and clocked_on name one input each,
// no clear or preset, and every output is the state or its inverse.
void map_flip_flop(const Cell& cell, CellMapping& m) {
    const FlipFlop& ff = *cell.ff;
    if (ff.clear || ff.preset || !ff.next_state || ff.next_state->op != Expr::Var) return;
    if (!ff.clocked_on || ff.clocked_on->op != Expr::Var) return;
    const std::string d = ff.next_state->name, clock = ff.clocked_on->name;
    if (d == clock) return;
    std::vector<std::pair<std::string, std::string>> pins;
    std::set<std::string> nld_pins;
    for (const Pin& p : cell.pins) {
        std::string nld;
        if (p.direction == Direction::Input)
            nld = p.name == d ? "in" : p.name == clock ? "m_clock" : "";
        else if (p.direction == Direction::Output && !p.three_state && p.function)
            nld = is_var(p.function, ff.state) ? "out"
                  : is_var(p.function, ff.state_inverted) ||
                          (p.function->op == Expr::Not && is_var(p.function->args[0], ff.state))
                      ? "nout"
                      : "";
        if (nld.empty() || !nld_pins.insert(nld).second) return;
        pins.emplace_back(p.name, nld);
    }
    if (!nld_pins.count("in") || !nld_pins.count("m_clock")) return;
    if (!nld_pins.count("out") && !nld_pins.count("nout")) return;
    m.nld_cell = "reg-1";
    m.pins = std::move(pins);
}

}  // namespace

CellMapping map_cell(const Cell& cell) {
    CellMapping m;
    m.cell = cell.name;
    m.area = cell.area;
    for (const Pin& p : cell.pins) {
        if (p.direction == Direction::Internal) continue;
        m.pin_order.push_back(p.name);
        m.directions[p.name] = p.direction == Direction::Input    ? 0
                               : p.direction == Direction::Output ? 1
                                                                  : 2;
    }
    if (!cell.other_state) {
        if (cell.ff)
            map_flip_flop(cell, m);
        else
            map_gate(cell, m);
    }
    if (m.black_box()) {
        m.pins.clear();
        for (const std::string& p : m.pin_order) m.pins.emplace_back(p, p);
    }
    return m;
}

std::vector<CellMapping> map_libraries(const std::vector<Library>& libraries) {
    std::vector<CellMapping> out;
    std::set<std::string> names;
    for (const Library& lib : libraries)
        for (const Cell& c : lib.cells) {
            if (!names.insert(c.name).second)
                throw LibertyError(c.file, c.line, "cell '" + c.name + "' is defined twice");
            out.push_back(map_cell(c));
        }
    return out;
}

}  // namespace vorp::liberty
