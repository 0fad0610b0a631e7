#include "tests/fuzz/design_mutations.h"

#include <array>
#include <string>
#include <string_view>

namespace vorp::fuzz {

namespace {

constexpr std::array<std::string_view, 26> kCells = {
    "inv-",    "ninv-",    "and--2",  "and--3",  "nand--2",  "nand--3", "or--2",
    "nor--2",  "nor--3",   "eor--2",  "enor--2", "aoi--21",  "oai--22", "aoi--211",
    "reg-1",   "regr-1",   "reg---1", "sreg-1",  "sreg---1", "high-",   "low-",
    "ts_buf-", "bgate--2", "nand--1", "nand-3",  "inv--5"};

constexpr std::array<std::string_view, 22> kPins = {
    "in",      "out",     "nout",    "a",       "b",        "in1",      "in2",        "m_clock",
    "s_clock", "p_reset", "clk_enb", "scan_in", "scan_out", "scan_enb", "scan_clock", "enb",
    "clock",   "nenb",    "set",     "reset",   "c",        "x"};

constexpr std::array<std::string_view, 8> kPinTypes = {"input", "output", "tristate", "bidirect",
                                                       "clock", "unused", "global",   "def-net"};

constexpr std::array<std::string_view, 5> kNotes = {"", "global", "power", "static", "clock"};

template <class Array>
std::string pick(FuzzRng& rng, const Array& words) {
    return std::string(words[rng.below(words.size())]);
}

// An instance name that no declaration of the module uses yet.
std::string fresh_name(const ModuleText& m, const char* stem) {
    std::size_t count = 0;
    for (const CompDecl& c : m.comps) count += c.names.size();
    for (;; ++count) {
        std::string name = stem + std::to_string(count);
        bool taken = false;
        for (const CompDecl& c : m.comps)
            for (const std::string& n : c.names) taken = taken || n == name;
        for (const PinDecl& p : m.pins) taken = taken || p.name == name;
        if (!taken) return name;
    }
}

// A cell name: a primitive, or (now and then) another module of the design.
std::string pick_cell(const DesignText& design, FuzzRng& rng) {
    if (design.modules.size() > 1 && rng.below(4) == 0)
        return design.modules[rng.below(design.modules.size())].name;
    return pick(rng, kCells);
}

// Some connection of the module: an existing one, a pin of a declared
// instance, or a port.
Connection pick_connection(const ModuleText& m, FuzzRng& rng) {
    const std::size_t pins = m.pins.size();
    if (pins && rng.below(4) == 0) return {{}, m.pins[rng.below(pins)].name};
    if (!m.comps.empty()) {
        const CompDecl& c = m.comps[rng.below(m.comps.size())];
        if (!c.names.empty()) return {c.names[rng.below(c.names.size())], pick(rng, kPins)};
    }
    return {{}, pins ? m.pins[rng.below(pins)].name : "x"};
}

std::vector<Connection>& pick_net(ModuleText& m, FuzzRng& rng) {
    if (m.nets.empty() || rng.below(8) == 0) m.nets.emplace_back();
    return m.nets[rng.below(m.nets.size())];
}

void drop_connection(ModuleText& m, FuzzRng& rng) {
    if (m.nets.empty()) return;
    const std::size_t i = rng.below(m.nets.size());
    auto& net = m.nets[i];
    if (!net.empty()) net.erase(net.begin() + static_cast<long>(rng.below(net.size())));
    if (net.empty()) m.nets.erase(m.nets.begin() + static_cast<long>(i));
}

void duplicate_connection(ModuleText& m, FuzzRng& rng) {
    if (m.nets.empty()) return;
    const auto& from = m.nets[rng.below(m.nets.size())];
    if (from.empty()) return;
    const Connection c = from[rng.below(from.size())];
    pick_net(m, rng).push_back(c);
}

void rewire_connection(ModuleText& m, FuzzRng& rng) {
    if (m.nets.empty()) return;
    auto& from = m.nets[rng.below(m.nets.size())];
    if (from.empty()) return;
    const std::size_t at = rng.below(from.size());
    const Connection c = from[at];
    from.erase(from.begin() + static_cast<long>(at));
    pick_net(m, rng).push_back(c);
}

void connect_somewhere(ModuleText& m, FuzzRng& rng) {
    pick_net(m, rng).push_back(pick_connection(m, rng));
}

void change_cell(const DesignText& design, ModuleText& m, FuzzRng& rng) {
    if (m.comps.empty()) return;
    m.comps[rng.below(m.comps.size())].cell = pick_cell(design, rng);
}

void change_pin_name(ModuleText& m, FuzzRng& rng) {
    if (m.nets.empty()) return;
    auto& net = m.nets[rng.below(m.nets.size())];
    if (net.empty()) return;
    Connection& c = net[rng.below(net.size())];
    if (!c.inst.empty()) c.pin = pick(rng, kPins);
}

// Cut one consumer off a net and feed it through a new inverter.
void insert_inverter(ModuleText& m, FuzzRng& rng) {
    if (m.nets.empty()) return;
    auto& net = m.nets[rng.below(m.nets.size())];
    const std::string name = fresh_name(m, "zi");
    std::vector<Connection> fed{{name, "nout"}};
    if (net.size() > 1) {
        const std::size_t at = 1 + rng.below(net.size() - 1);
        fed.push_back(net[at]);
        net.erase(net.begin() + static_cast<long>(at));
    }
    net.push_back({name, "in"});
    m.comps.push_back({"inv-", {name}});
    m.nets.push_back(std::move(fed));
}

// A new instance of some cell, its pins put on random nets.
void add_instance(const DesignText& design, ModuleText& m, FuzzRng& rng) {
    const std::string name = fresh_name(m, "zg");
    m.comps.push_back({pick_cell(design, rng), {name}});
    const std::size_t pins = 1 + rng.below(3);
    for (std::size_t i = 0; i < pins; ++i) pick_net(m, rng).push_back({name, pick(rng, kPins)});
}

// A new port, or a changed direction or note of an existing one.
void change_ports(ModuleText& m, FuzzRng& rng) {
    if (m.pins.empty() || rng.below(3) == 0) {
        const std::string name = fresh_name(m, "zp");
        m.pins.push_back({name, pick(rng, kPinTypes), pick(rng, kNotes)});
        pick_net(m, rng).push_back({{}, name});
        return;
    }
    PinDecl& p = m.pins[rng.below(m.pins.size())];
    if (rng.below(2))
        p.type = pick(rng, kPinTypes);
    else
        p.note = pick(rng, kNotes);
}

// Give an instance the name of another record of the module.
void reuse_name(ModuleText& m, FuzzRng& rng) {
    if (m.comps.empty()) return;
    CompDecl& c = m.comps[rng.below(m.comps.size())];
    if (c.names.empty()) return;
    const Connection other = pick_connection(m, rng);
    c.names[rng.below(c.names.size())] = other.inst.empty() ? other.pin : other.inst;
}

void change_run(DesignText& design, FuzzRng& rng) {
    switch (rng.below(3)) {
        case 0:
            design.opt_a = !design.opt_a;
            break;
        case 1:
            design.opt_f = !design.opt_f;
            break;
        default:
            if (design.modules.size() > 1) {
                ModuleText& m = design.modules[1 + rng.below(design.modules.size() - 1)];
                m.placement = static_cast<Placement>(rng.below(3));
            }
    }
}

void mutate_once(DesignText& design, FuzzRng& rng) {
    ModuleText& m = design.modules[rng.below(design.modules.size())];
    switch (rng.below(12)) {
        case 0:
            drop_connection(m, rng);
            break;
        case 1:
            duplicate_connection(m, rng);
            break;
        case 2:
            rewire_connection(m, rng);
            break;
        case 3:
            connect_somewhere(m, rng);
            break;
        case 4:
            change_cell(design, m, rng);
            break;
        case 5:
            change_pin_name(m, rng);
            break;
        case 6:
        case 7:
            insert_inverter(m, rng);
            break;
        case 8:
            add_instance(design, m, rng);
            break;
        case 9:
            change_ports(m, rng);
            break;
        case 10:
            reuse_name(m, rng);
            break;
        default:
            change_run(design, rng);
            break;
    }
}

}  // namespace

void mutate_design(DesignText& design, FuzzRng& rng) {
    if (design.modules.empty()) return;
    const std::size_t edits = 1 + rng.below(4);
    for (std::size_t i = 0; i < edits; ++i) mutate_once(design, rng);
}

}  // namespace vorp::fuzz
