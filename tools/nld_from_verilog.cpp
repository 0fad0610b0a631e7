#include "tools/nld_from_verilog.h"

#include <algorithm>
#include <climits>
#include <map>
#include <numeric>
#include <set>
#include <tuple>
#include <unordered_map>

#include "tools/verilog_cells.h"

namespace vorp::verilog {

namespace {

constexpr int kConst0 = 0;
constexpr int kConst1 = 1;

// A port or wire: its declared shape and where its bits start.
struct Signal {
    Range range;
    Direction direction = Direction::Wire;
    int position = 0;       // the wire declaration, else the port declaration
    bool has_wire = false;  // a `wire` declaration seen
    bool has_direction = false;
    int first_bit = 0;
    int line = 0;
};

// One bit: a port bit or a wire bit, or one of the two constants.
struct Bit {
    std::string name;  // NLD name when it is a port bit
    bool port = false;
    int position = INT_MAX;  // declaration order of its signal
    int index = 0;           // order within the signal
    long mention = -1;       // first mention in a statement
};

struct PinNode {
    int inst = 0;  // index into the instance list
    std::string pin;
    long mention = 0;
};

struct Inst {
    std::string cell;
    std::string name;
};

bool nld_name_ok(const std::string& s) {
    if (s.empty() || s.size() > 4095) return false;
    for (unsigned char c : s)
        if (c <= ' ' || c == 127 || c == '(' || c == ')' || c == '.' || c == ';') return false;
    return true;
}

std::string bit_name(const std::string& name, const Range& r, int index) {
    return r.vector ? name + "[" + std::to_string(index) + "]" : name;
}

// What the modules of a design know of each other and of the library, and
// what the conversion found out about the library cells it met.
struct DesignContext {
    std::map<std::string, std::map<std::string, Range>> port_ranges;
    std::map<std::string, std::vector<std::string>> port_order;  // header order
    const CellLibrary& library;
    std::map<std::string, CellKind> used;  // cell types met, with their NLD form
    std::set<std::string> black_box_cells;
    std::map<std::string, int> black_boxes;
    std::string instances;  // the "inst" lines of the pin map
    std::string vectors;    // the "port" lines of the pin map
};

// What an instance's type is: an NLD cell, or a module or black box with
// ports; `order` gives the pins for connections by position.
struct Target {
    std::optional<CellKind> cell;
    const std::map<std::string, Range>* ports = nullptr;
    std::vector<std::string> order;
    std::string nld_type;
};

class ModuleConverter {
   public:
    ModuleConverter(const Module& m, DesignContext& context)
        : m_(m), port_ranges_(context.port_ranges), context_(context) {}

    NldFile convert();

   private:
    [[noreturn]] void fail(int line, const std::string& what) const {
        throw VerilogError(m_.file, line, what);
    }
    void declare_signals();
    void check_header();
    std::vector<int> bits_of(const Expr& e, int width, bool allow_constants, int line);
    void mention(int bit) {
        if (bits_[bit].mention < 0) bits_[bit].mention = ++clock_;
    }
    int find(int b) {
        while (parent_[b] != b) b = parent_[b] = parent_[parent_[b]];
        return b;
    }
    void join(int a, int b, int line);
    void assign(const Statement& s);
    void instance(const Statement& s);
    Target target(const Statement& s);
    std::optional<Target> library_target(const Statement& s);
    std::vector<std::string> pins_of(const Statement& s, const Target& t, const Connection& c,
                                     std::size_t position);
    std::string header_text() const;
    std::string text();

    const Module& m_;
    const std::map<std::string, std::map<std::string, Range>>& port_ranges_;
    DesignContext& context_;
    std::map<std::string, Signal> signals_;
    std::vector<std::string> order_;  // signal names in first-declaration order
    std::vector<Bit> bits_;
    std::vector<int> parent_;
    std::vector<Inst> insts_;
    std::unordered_map<std::string, int> inst_index_;
    std::vector<std::vector<PinNode>> pins_of_bit_;
    long clock_ = 0;
};

void ModuleConverter::declare_signals() {
    for (const Declaration& d : m_.declarations) {
        auto [it, fresh] = signals_.try_emplace(d.name);
        Signal& s = it->second;
        if (fresh) {
            order_.push_back(d.name);
            s.range = d.range;
            s.line = d.line;
        } else if (s.range.vector != d.range.vector || s.range.msb != d.range.msb ||
                   s.range.lsb != d.range.lsb) {
            fail(d.line, "'" + d.name + "' is declared again with another range");
        }
        if (d.direction == Direction::Wire) {
            if (s.has_wire) fail(d.line, "wire '" + d.name + "' is declared twice");
            s.has_wire = true;
            s.position = d.position;
        } else {
            if (s.has_direction) fail(d.line, "port '" + d.name + "' is declared twice");
            s.has_direction = true;
            s.direction = d.direction;
            if (!s.has_wire) s.position = d.position;
        }
    }
    bits_.resize(2);
    for (const std::string& name : order_) {
        Signal& s = signals_[name];
        s.first_bit = static_cast<int>(bits_.size());
        if (s.has_direction && !nld_name_ok(name))
            fail(s.line, "port name '" + name + "' cannot be written in NLD");
        int k = 0;
        for (int i : s.range.indexes())
            bits_.push_back(Bit{bit_name(name, s.range, i), s.has_direction, s.position, k++, -1});
    }
    parent_.resize(bits_.size());
    std::iota(parent_.begin(), parent_.end(), 0);
    pins_of_bit_.resize(bits_.size());
}

void ModuleConverter::check_header() {
    std::set<std::string> header;
    for (const std::string& p : m_.header) {
        if (!header.insert(p).second) fail(m_.line, "port '" + p + "' is listed twice");
        auto it = signals_.find(p);
        if (it == signals_.end() || !it->second.has_direction)
            fail(m_.line, "port '" + p + "' has no input, output or inout declaration");
    }
    std::set<std::string> port_bits;
    for (const auto& [name, s] : signals_) {
        if (s.has_direction && !header.count(name))
            fail(s.line, "'" + name + "' is declared as a port but is not in the port list");
        if (!s.has_direction) continue;
        for (int i : s.range.indexes())
            if (!port_bits.insert(bit_name(name, s.range, i)).second)
                fail(s.line, "port bit '" + bit_name(name, s.range, i) + "' is named twice");
    }
}

// The bits of an expression, msb first; `width` 0 takes the expression's own.
std::vector<int> ModuleConverter::bits_of(const Expr& e, int width, bool allow_constants,
                                          int line) {
    std::vector<int> out;
    for (const Term& t : e) {
        if (t.constant) {
            if (!allow_constants) fail(t.line, "a constant cannot be assigned to");
            std::string bits = t.bits;
            if (t.unsized) {
                if (e.size() != 1) fail(t.line, "an unsized constant inside a concatenation");
                const int w = width ? width : static_cast<int>(bits.size());
                bits = static_cast<int>(bits.size()) >= w
                           ? bits.substr(bits.size() - w)
                           : std::string(w - bits.size(), '0') + bits;
            }
            for (char c : bits) {
                if (c != '0' && c != '1')
                    fail(t.line, "constant with x or z bits is outside the supported subset");
                out.push_back(c == '1' ? kConst1 : kConst0);
            }
            continue;
        }
        auto it = signals_.find(t.name);
        if (it == signals_.end()) fail(t.line, "'" + t.name + "' is not declared");
        const Signal& s = it->second;
        const std::vector<int> idx = s.range.indexes();
        auto position = [&](int i) {
            auto p = std::find(idx.begin(), idx.end(), i);
            if (!s.range.vector || p == idx.end())
                fail(t.line, "select [" + std::to_string(i) + "] is outside '" + t.name + "'");
            return static_cast<int>(p - idx.begin());
        };
        if (t.select == 0) {
            for (std::size_t k = 0; k < idx.size(); ++k) out.push_back(s.first_bit + k);
        } else {
            const int from = position(t.msb), to = position(t.lsb);
            if (from > to) fail(t.line, "part-select of '" + t.name + "' runs the wrong way");
            for (int k = from; k <= to; ++k) out.push_back(s.first_bit + k);
        }
    }
    if (width && static_cast<int>(out.size()) != width)
        fail(line, std::to_string(out.size()) + " bits given where " + std::to_string(width) +
                       " are needed");
    return out;
}

void ModuleConverter::join(int a, int b, int line) {
    a = find(a), b = find(b);
    if (a == b) return;
    if (a > b) std::swap(a, b);  // a constant stays the root of its net
    if (a == kConst0 && b == kConst1) fail(line, "a net is tied to both 0 and 1");
    parent_[b] = a;
}

void ModuleConverter::assign(const Statement& s) {
    const std::vector<int> lhs = bits_of(s.lhs, 0, false, s.line);
    const std::vector<int> rhs = bits_of(s.rhs, static_cast<int>(lhs.size()), true, s.line);
    for (int b : rhs) mention(b);
    for (int b : lhs) mention(b);
    for (std::size_t i = 0; i < lhs.size(); ++i) join(lhs[i], rhs[i], s.line);
}

// A Liberty cell: its NLD cell, or a black box whose pins are its ports.
std::optional<Target> ModuleConverter::library_target(const Statement& s) {
    const auto it = context_.library.find(s.type);
    if (it == context_.library.end()) return std::nullopt;
    const liberty::CellMapping& m = it->second;
    Target t;
    t.order = m.pin_order;
    CellKind kind{m.black_box() ? s.type : m.nld_cell, {}};
    for (const auto& [lib_pin, nld_pin] : m.pins) kind.pins[lib_pin] = nld_pin;
    context_.used.emplace(s.type, kind);
    context_.instances += "inst " + m_.name + " " + s.name + " " + s.type + "\n";
    if (m.black_box()) {
        if (!nld_name_ok(s.type) || names_a_cell(s.type))
            fail(s.line, "library cell '" + s.type + "' cannot be a black box in NLD");
        for (const std::string& pin : m.pin_order)
            if (!nld_name_ok(pin))
                fail(s.line,
                     "pin '" + pin + "' of library cell '" + s.type + "' cannot be written in NLD");
        ++context_.black_boxes[s.type];
        context_.black_box_cells.insert(s.type);
        t.ports = &context_.port_ranges[s.type];
        t.nld_type = s.type;
        return t;
    }
    t.cell = kind;
    t.nld_type = kind.nld_cell;
    return t;
}

Target ModuleConverter::target(const Statement& s) {
    if (auto t = library_target(s)) return *t;
    Target t;
    t.cell = find_cell(s.type);
    if (t.cell) {
        if (s.by_position)
            fail(s.line, "the pin order of '" + s.type + "' is not known: connect it by name");
        context_.used.emplace(s.type, *t.cell);
        context_.instances += "inst " + m_.name + " " + s.name + " " + s.type + "\n";
        t.nld_type = t.cell->nld_cell;
        return t;
    }
    if (names_a_cell(s.type)) fail(s.line, "'" + s.type + "' is not a cell of the library");
    auto it = port_ranges_.find(s.type);
    if (it == port_ranges_.end())
        fail(s.line, s.type[0] == '$'
                         ? "yosys cell '" + s.type + "' is outside the supported subset"
                         : "unknown cell or module '" + s.type + "'");
    t.ports = &it->second;
    t.order = context_.port_order[s.type];
    t.nld_type = s.type;
    return t;
}

// The NLD pins that a connection reaches, one per bit.
std::vector<std::string> ModuleConverter::pins_of(const Statement& s, const Target& t,
                                                  const Connection& c, std::size_t position) {
    std::string pin = c.pin;
    if (s.by_position) {
        if (position >= t.order.size())
            fail(c.line, "'" + s.type + "' has " + std::to_string(t.order.size()) + " pins");
        pin = t.order[position];
    }
    if (t.cell) {
        auto p = t.cell->pins.find(pin);
        if (p == t.cell->pins.end()) fail(c.line, "'" + s.type + "' has no pin '" + pin + "'");
        return {p->second};
    }
    auto p = t.ports->find(pin);
    if (p == t.ports->end()) fail(c.line, "module '" + s.type + "' has no port '" + pin + "'");
    std::vector<std::string> pins;
    for (int i : p->second.indexes()) pins.push_back(bit_name(pin, p->second, i));
    return pins;
}

void ModuleConverter::instance(const Statement& s) {
    if (!nld_name_ok(s.name))
        fail(s.line, "instance name '" + s.name + "' cannot be written in NLD");
    auto sig = signals_.find(s.name);
    if (sig != signals_.end() && sig->second.has_direction)
        fail(s.line, "instance '" + s.name + "' has the name of a port");
    if (!inst_index_.emplace(s.name, static_cast<int>(insts_.size())).second)
        fail(s.line, "instance '" + s.name + "' is declared twice");
    const int index = static_cast<int>(insts_.size());
    const Target t = target(s);
    insts_.push_back(Inst{t.nld_type, s.name});
    std::set<std::string> seen;
    for (std::size_t k = 0; k < s.connections.size(); ++k) {
        const Connection& c = s.connections[k];
        const std::vector<std::string> pins = pins_of(s, t, c, k);
        const std::string pin = s.by_position ? t.order[k] : c.pin;
        if (!seen.insert(pin).second) fail(c.line, "pin '" + pin + "' is connected twice");
        if (c.expr.empty()) continue;
        const std::vector<int> bits = bits_of(c.expr, static_cast<int>(pins.size()), true, c.line);
        for (std::size_t b = 0; b < bits.size(); ++b) {
            mention(bits[b]);
            pins_of_bit_[bits[b]].push_back(PinNode{index, pins[b], ++clock_});
        }
    }
}

// A name for a constant cell that no instance or port of the module has.
std::string unused_name(const std::string& base, const std::unordered_map<std::string, int>& insts,
                        const std::map<std::string, Signal>& signals) {
    std::string name = base;
    for (int n = 1; insts.count(name) || signals.count(name); ++n)
        name = base + "_" + std::to_string(n);
    return name;
}

struct NetOut {
    std::tuple<int, int, long> key;
    std::vector<std::pair<long, std::string>> nodes;  // mention, NLD text
    bool has_pin = false;                             // an instance pin among them
};

const char* nld_direction(Direction d) {
    return d == Direction::Input ? "input" : d == Direction::Output ? "output" : "bidirect";
}

std::string ModuleConverter::text() {
    // Gather each net's members under its root.
    std::map<int, NetOut> nets;
    for (int b = 0; b < static_cast<int>(bits_.size()); ++b) {
        const int root = find(b);
        auto [it, fresh] = nets.try_emplace(root);
        NetOut& n = it->second;
        if (fresh) n.key = {INT_MAX, INT_MAX, LONG_MAX};
        if (b >= 2 && bits_[b].position != INT_MAX)
            n.key =
                std::min(n.key, std::tuple<int, int, long>{bits_[b].position, bits_[b].index, 0});
        if (bits_[b].port && (bits_[b].mention >= 0 || b == root))
            n.nodes.emplace_back(std::max(0L, bits_[b].mention), bits_[b].name);
        for (const PinNode& p : pins_of_bit_[b])
            n.nodes.emplace_back(p.mention, insts_[p.inst].name + "." + p.pin);
        n.has_pin = n.has_pin || !pins_of_bit_[b].empty();
    }
    std::vector<NetOut*> written;
    for (auto& [root, n] : nets) {
        if (n.nodes.empty() || (n.nodes.size() == 1 && root > kConst1 && !n.has_pin))
            continue;  // nothing, or a lone port: left unconnected
        std::sort(n.nodes.begin(), n.nodes.end());
        if (std::get<0>(n.key) == INT_MAX) n.key = {INT_MAX, INT_MAX, n.nodes.front().first};
        if (root <= kConst1) {
            const bool one = root == kConst1;
            const std::string name = unused_name(one ? "const1" : "const0", inst_index_, signals_);
            inst_index_.emplace(name, static_cast<int>(insts_.size()));
            insts_.push_back(Inst{one ? "high-" : "low-", name});
            n.nodes.insert(n.nodes.begin(), {0, name + (one ? ".out" : ".nout")});
        }
        written.push_back(&n);
    }
    std::stable_sort(written.begin(), written.end(),
                     [](const NetOut* a, const NetOut* b) { return a->key < b->key; });

    std::string out = header_text();
    // The reader prepends: write instances last first, runs of one cell together.
    for (std::size_t i = insts_.size(); i > 0;) {
        std::size_t j = i;
        out += " (def-comp " + insts_[i - 1].cell;
        while (j > 0 && insts_[j - 1].cell == insts_[i - 1].cell && i - j < 8)
            out += " " + insts_[--j].name;
        out += ")\n";
        i = j;
    }
    for (auto it = written.rbegin(); it != written.rend(); ++it) {
        out += " (def-net";
        for (auto n = (*it)->nodes.rbegin(); n != (*it)->nodes.rend(); ++n) out += " " + n->second;
        out += ")\n";
    }
    return out + ")\n";
}

// The module line and one def-pin per port bit, in header order.
std::string ModuleConverter::header_text() const {
    std::string out = "(def-module " + m_.name + "\n";
    for (const std::string& p : m_.header) {
        const Signal& s = signals_.at(p);
        for (int i : s.range.indexes())
            out += " (def-pin " + bit_name(p, s.range, i) + " type " + nld_direction(s.direction) +
                   ")\n";
    }
    return out;
}

NldFile ModuleConverter::convert() {
    declare_signals();
    check_header();
    if (m_.blackbox && !m_.statements.empty())
        fail(m_.statements.front().line, "a (* blackbox *) module with contents");
    for (const Statement& s : m_.statements) s.is_assign ? assign(s) : instance(s);
    if (m_.blackbox) return NldFile{m_.name, true, header_text() + ")\n"};
    return NldFile{m_.name, false, text()};
}

}  // namespace

namespace {

const char* pin_direction(int d) {
    return d == 0 ? "input" : d == 1 ? "output" : "bidirect";
}

// The ports of every black-box cell, and its PCD interface.
void add_black_boxes(DesignContext& c, std::vector<NldFile>& files) {
    for (const std::string& cell : c.black_box_cells) {
        const liberty::CellMapping& m = c.library.at(cell);
        std::string text = "(def-module " + cell + "\n";
        for (const std::string& pin : m.pin_order) {
            text += " (def-pin " + pin + " type " + pin_direction(m.directions.at(pin)) + ")\n";
        }
        files.push_back(NldFile{cell, true, text + ")\n"});
    }
}

std::string pin_map(const DesignContext& c) {
    std::string out;
    for (const auto& [type, kind] : c.used) {
        const bool black_box = c.black_box_cells.count(type) > 0;
        out += "cell " + type + " " + (black_box ? "*" : kind.nld_cell);
        const auto lib = c.library.find(type);
        if (lib != c.library.end()) {
            for (const auto& [lib_pin, nld_pin] : lib->second.pins)
                out += " " + lib_pin + "=" + nld_pin;
        } else {
            for (const auto& [pin, nld_pin] : kind.pins) out += " " + pin + "=" + nld_pin;
        }
        out += "\n";
    }
    return out + c.vectors + c.instances;
}

}  // namespace

Conversion convert_design(const std::vector<Module>& modules, const CellLibrary& library) {
    std::map<std::string, const Module*> all;
    DesignContext context{{}, {}, library, {}, {}, {}, "", ""};
    for (const auto& [name, m] : library)
        for (const std::string& pin : m.pin_order) context.port_ranges[name][pin] = Range{};
    for (const Module& m : modules) {
        if (!nld_name_ok(m.name) || m.name.find('/') != std::string::npos)
            throw VerilogError(m.file, m.line,
                               "module name '" + m.name + "' cannot be an NLD file");
        if (names_a_cell(m.name) || library.count(m.name))
            throw VerilogError(m.file, m.line,
                               "module '" + m.name + "' has the name of a library cell");
        if (!all.emplace(m.name, &m).second)
            throw VerilogError(m.file, m.line, "module '" + m.name + "' is defined twice");
        auto& ranges = context.port_ranges[m.name];
        for (const Declaration& d : m.declarations) {
            if (d.direction == Direction::Wire) continue;
            ranges[d.name] = d.range;
            if (d.range.vector)
                context.vectors += "port " + m.name + " " + d.name + " " +
                                   std::to_string(d.range.msb) + " " + std::to_string(d.range.lsb) +
                                   "\n";
        }
        context.port_order[m.name] = m.header;
    }
    Conversion out;
    for (const Module& m : modules) out.files.push_back(ModuleConverter(m, context).convert());
    add_black_boxes(context, out.files);
    out.black_boxes = context.black_boxes;
    if (!library.empty()) out.pin_map = pin_map(context);
    return out;
}

std::vector<NldFile> convert_modules(const std::vector<Module>& modules) {
    return convert_design(modules, {}).files;
}

}  // namespace vorp::verilog
