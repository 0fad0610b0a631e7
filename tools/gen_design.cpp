// Writes a random, valid hierarchical design as NLD files, seeded and
// deterministic: module types in levels, each instantiating modules of the
// next level, with gates, inverters between them, registers on a clock,
// constants and (optionally) tristate buses, supply ports, bidirectional
// ports and scan registers. Prints the words that give it to vorp.
//
//   gen_design --out DIR [--seed N] [--cells N] [--depth N] [--fanout N]
//              [--types N] [--profile PROFILE] [--top NAME]
//
// PROFILE is "safe" (gates, inverters, registers, constants), "full", or a
// list of extras to add to "safe": "tri" (tristate buses), "power"
// ("VDD"/"VSS" global ports), "scan" (scan registers), "pcd" (instances of
// a black box "bb" given as bb.pcd), "ref" (instances of a module "rmod"
// found only in the reference directory DIR/ref), e.g. "tri+power"; "all" is
// every extra.
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Rng {
    uint64_t s;
    uint64_t next() {
        uint64_t z = (s += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    }
    int below(int n) { return n <= 0 ? 0 : static_cast<int>(next() % static_cast<uint64_t>(n)); }
    bool chance(int percent) { return below(100) < percent; }
};

struct Options {
    std::string out;
    std::string top = "top";
    uint64_t seed = 1;
    long cells = 200;
    int depth = 3;
    int fanout = 3;
    int types = 2;          // module types per level
    bool tristate = false;  // tristate buses of ts_buf- cells
    bool power = false;     // "VDD"/"VSS" global ports
    bool scan = false;      // scan registers with "scan_out" consumers
    bool pcd = false;       // a PCD black box "bb"
    bool ref = false;       // a reference module "rmod" in DIR/ref
};

struct Pin {
    std::string inst;  // empty for a port
    std::string pin;
};

struct Wire {
    std::vector<Pin> pins;  // driver first
};

struct ModuleType {
    std::string name;
    int level = 0;
    std::vector<std::string> inputs, outputs;
    bool has_clock = false;
};

class ModuleWriter {
   public:
    ModuleWriter(Rng& rng, const Options& opt, const ModuleType& type,
                 const std::vector<ModuleType>& children, long gates)
        : rng_(rng), opt_(opt), type_(type), children_(children), gates_(gates) {}

    std::string build();

   private:
    int new_wire(const std::string& inst, const std::string& pin) {
        wires_.push_back(Wire{{Pin{inst, pin}}});
        return static_cast<int>(wires_.size()) - 1;
    }
    void load(int wire, const std::string& inst, const std::string& pin) {
        wires_[wire].pins.push_back(Pin{inst, pin});
    }
    // Mostly recent signals, so that logic gets deep; sometimes any signal.
    int pick() {
        const int n = static_cast<int>(pool_.size());
        if (rng_.chance(70)) return pool_[n - 1 - rng_.below(std::min(n, 12))];
        return pool_[rng_.below(n)];
    }
    std::string comp(const std::string& cell) {
        std::string name = "u" + std::to_string(++count_);
        comps_.emplace_back(cell, name);
        return name;
    }
    void add_gate();
    void add_register();
    void add_tristate_bus();
    void add_submodule(const ModuleType& child);

    Rng& rng_;
    const Options& opt_;
    const ModuleType& type_;
    const std::vector<ModuleType>& children_;
    long gates_;
    long count_ = 0;
    int clock_ = -1;
    std::vector<Wire> wires_;
    std::vector<int> pool_;
    std::vector<std::pair<std::string, std::string>> comps_;
    std::vector<std::string> extra_ports_;
};

void ModuleWriter::add_gate() {
    static const char* const kAoi[] = {"21", "22", "31", "32", "33", "211", "221", "222"};
    const int roll = rng_.below(100);
    if (roll < 30) {
        const std::string g = comp("inv-");
        load(pick(), g, "in");
        pool_.push_back(new_wire(g, "nout"));
        return;
    }
    if (roll < 33) {
        const std::string g = comp("ninv-");
        load(pick(), g, "in");
        pool_.push_back(new_wire(g, "out"));
        return;
    }
    if (roll < 40) {
        const bool enor = rng_.chance(50);
        const std::string g = comp(enor ? "enor--2" : "eor--2");
        load(pick(), g, "in1");
        load(pick(), g, "in2");
        pool_.push_back(new_wire(g, enor ? "nout" : "out"));
        return;
    }
    if (roll < 46) {
        const char* suffix = kAoi[rng_.below(8)];
        const bool aoi = rng_.chance(50);
        const std::string g = comp(std::string(aoi ? "aoi--" : "oai--") + suffix);
        int inputs = 0;
        for (const char* p = suffix; *p; ++p) inputs += *p - '0';
        for (int i = 0; i < inputs; ++i) load(pick(), g, "i" + std::to_string(i));
        pool_.push_back(new_wire(g, "nout"));
        return;
    }
    static const char* const kGates[] = {"and-", "nand-", "or-", "nor-"};
    const int which = rng_.below(4);
    const int inputs = 2 + rng_.below(3);
    const std::string g = comp(std::string(kGates[which]) + "-" + std::to_string(inputs));
    for (int i = 0; i < inputs; ++i) load(pick(), g, "i" + std::to_string(i));
    pool_.push_back(new_wire(g, which % 2 ? "nout" : "out"));
}

void ModuleWriter::add_register() {
    const bool scan = opt_.scan && rng_.chance(20);
    const std::string r = comp(scan ? "sreg-1" : "reg-1");
    load(pick(), r, "in");
    load(clock_, r, "m_clock");
    if (scan) {
        load(pick(), r, "scan_in");
        pool_.push_back(new_wire(r, "scan_out"));
    }
    pool_.push_back(new_wire(r, "out"));
    if (rng_.chance(30)) pool_.push_back(new_wire(r, "nout"));
}

// Two buffers with complementary enables: exactly one drives the bus at any
// time, so the bus never floats.
void ModuleWriter::add_tristate_bus() {
    const int enable = pick();
    const std::string inv = comp("inv-");
    load(enable, inv, "in");
    const int enable_n = new_wire(inv, "nout");
    const std::string b1 = comp("ts_buf-"), b2 = comp("ts_buf-");
    load(pick(), b1, "in");
    load(enable, b1, "nenb");
    load(pick(), b2, "in");
    load(enable_n, b2, "nenb");
    const int bus = new_wire(b1, "out");
    load(bus, b2, "out");
    pool_.push_back(bus);
}

void ModuleWriter::add_submodule(const ModuleType& child) {
    const std::string u = comp(child.name);
    for (const std::string& in : child.inputs) load(pick(), u, in);
    if (child.has_clock) load(clock_, u, "clk");
    for (const std::string& out : child.outputs) pool_.push_back(new_wire(u, out));
}

std::string ModuleWriter::build() {
    for (const std::string& in : type_.inputs) pool_.push_back(new_wire("", in));
    if (type_.has_clock) clock_ = new_wire("", "clk");
    if (rng_.chance(50)) {
        const bool high = rng_.chance(50);
        pool_.push_back(new_wire(comp(high ? "high-" : "low-"), high ? "out" : "nout"));
    }
    if (opt_.power && rng_.chance(30)) {
        extra_ports_.push_back("VDD");
        pool_.push_back(new_wire("", "VDD"));
        if (rng_.chance(70)) {
            extra_ports_.push_back("VSS");
            pool_.push_back(new_wire("", "VSS"));
        }
    }
    for (const ModuleType& child : children_) add_submodule(child);
    for (long i = 0; i < gates_; ++i) {
        const int roll = rng_.below(100);
        if (type_.has_clock && roll < 6)
            add_register();
        else if (opt_.tristate && roll < 8)
            add_tristate_bus();
        else
            add_gate();
    }
    // Outputs take the most recent signals, each its own.
    for (std::size_t i = 0; i < type_.outputs.size(); ++i) {
        const int w = pool_[pool_.size() - 1 - (i % pool_.size())];
        load(w, "", type_.outputs[i]);
    }
    std::string text = "(def-module " + type_.name + "\n";
    for (const std::string& in : type_.inputs) text += " (def-pin " + in + " type input)\n";
    if (type_.has_clock) text += " (def-pin clk type input note clock)\n";
    for (const std::string& p : extra_ports_) text += " (def-pin " + p + " type global)\n";
    for (const std::string& out : type_.outputs) text += " (def-pin " + out + " type output)\n";
    std::vector<std::pair<std::string, std::string>> sorted = comps_;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (std::size_t i = 0; i < sorted.size();) {
        text += " (def-comp " + sorted[i].first;
        std::size_t j = i;
        for (int n = 0; j < sorted.size() && sorted[j].first == sorted[i].first && n < 16; ++j, ++n)
            text += " " + sorted[j].second;
        text += ")\n";
        i = j;
    }
    for (const Wire& w : wires_) {
        if (w.pins.size() < 2) continue;
        text += " (def-net";
        for (const Pin& p : w.pins)
            text += p.inst.empty() ? " " + p.pin : " " + p.inst + "." + p.pin;
        text += ")\n";
    }
    text += ")\n";
    return text;
}

bool write_text(const std::string& path, const std::string& text) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    std::fwrite(text.data(), 1, text.size(), f);
    return std::fclose(f) == 0;
}

int usage() {
    std::fprintf(
        stderr,
        "usage: gen_design --out DIR [--seed N] [--cells N] [--depth N] [--fanout N] [--types N]\n"
        "                  [--profile safe|full|all|tri+power+scan+pcd+ref] [--top NAME]\n");
    return 2;
}

// A profile turns on its extras: "full" all but the black box and the
// reference module, "all" every one, otherwise each extra it names.
void set_profile(Options& opt, const std::string& p) {
    const bool full = p == "full" || p == "all";
    opt.pcd = p == "all" || p.find("pcd") != std::string::npos;
    opt.ref = p == "all" || p.find("ref") != std::string::npos;
    opt.tristate = full || p.find("tri") != std::string::npos;
    opt.power = full || p.find("power") != std::string::npos;
    opt.scan = full || p.find("scan") != std::string::npos;
}

// One option and its value; false for an unknown option.
bool set_option(Options& opt, const std::string& a, const char* v) {
    if (a == "--out")
        opt.out = v;
    else if (a == "--seed")
        opt.seed = std::strtoull(v, nullptr, 10);
    else if (a == "--cells")
        opt.cells = std::strtol(v, nullptr, 10);
    else if (a == "--depth")
        opt.depth = std::max(1, std::atoi(v));
    else if (a == "--fanout")
        opt.fanout = std::max(1, std::atoi(v));
    else if (a == "--types")
        opt.types = std::max(1, std::atoi(v));
    else if (a == "--profile")
        set_profile(opt, v);
    else if (a == "--top")
        opt.top = v;
    else
        return false;
    return true;
}

// Every option takes a value; false when one is missing or unknown, or when
// no output directory is given.
bool parse_options(int argc, char** argv, Options& opt) {
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 >= argc || !set_option(opt, argv[i], argv[i + 1])) return false;
    }
    return !opt.out.empty();
}

// Module types by level; level 0 is the top alone.
std::vector<std::vector<ModuleType>> make_levels(Rng& rng, const Options& opt) {
    std::vector<std::vector<ModuleType>> levels(static_cast<std::size_t>(opt.depth));
    for (int level = 0; level < opt.depth; ++level) {
        const int count = level == 0 ? 1 : opt.types;
        for (int t = 0; t < count; ++t) {
            ModuleType m;
            m.level = level;
            m.name = opt.top;
            if (level > 0)
                (m.name = "m").append(std::to_string(level)).append("_").append(std::to_string(t));
            const int ins = 3 + rng.below(6), outs = 2 + rng.below(4);
            for (int i = 0; i < ins; ++i) m.inputs.push_back("a" + std::to_string(i));
            for (int i = 0; i < outs; ++i) m.outputs.push_back("y" + std::to_string(i));
            m.has_clock = true;
            levels[static_cast<std::size_t>(level)].push_back(m);
        }
    }
    return levels;
}

// Gates per module: the cells spread evenly over the instances of every
// level.
long gates_per_module(const Options& opt) {
    double instances = 0, per_level = 1;
    for (int level = 0; level < opt.depth; ++level, per_level *= opt.fanout) instances += per_level;
    return std::max(4L, static_cast<long>(opt.cells / instances));
}

// A leaf below the deepest level, with three inputs and two outputs.
ModuleType leaf_type(const Options& opt, const char* name, bool clock) {
    ModuleType m;
    m.name = name;
    m.level = opt.depth;
    for (int i = 0; i < 3; ++i) m.inputs.push_back("a" + std::to_string(i));
    for (int i = 0; i < 2; ++i) m.outputs.push_back("y" + std::to_string(i));
    m.has_clock = clock;
    return m;
}

bool write_black_box(const Options& opt, const ModuleType& bb) {
    std::string text = "(def-module " + bb.name + "\n";
    for (const std::string& in : bb.inputs) text += " (def-pin " + in + " type input)\n";
    for (const std::string& out : bb.outputs) text += " (def-pin " + out + " type output)\n";
    if (write_text(opt.out + "/" + bb.name + ".pcd", text + ")\n")) return true;
    std::fprintf(stderr, "gen_design: cannot write %s\n", opt.out.c_str());
    return false;
}

bool write_reference(Rng& rng, const Options& opt, const ModuleType& ref) {
    ::mkdir((opt.out + "/ref").c_str(), 0777);
    const std::vector<ModuleType> none;
    ModuleWriter writer(rng, opt, ref, none, 12);
    if (write_text(opt.out + "/ref/" + ref.name + ".nld", writer.build())) return true;
    std::fprintf(stderr, "gen_design: cannot write %s/ref\n", opt.out.c_str());
    return false;
}

// Leaves that vorp never changes: a PCD black box and a reference module,
// each written as it is made; false when one cannot be written.
bool make_leaves(Rng& rng, const Options& opt, std::vector<ModuleType>& leaves) {
    if (opt.pcd) {
        leaves.push_back(leaf_type(opt, "bb", false));
        if (!write_black_box(opt, leaves.back())) return false;
    }
    if (opt.ref) {
        leaves.push_back(leaf_type(opt, "rmod", true));
        if (!write_reference(rng, opt, leaves.back())) return false;
    }
    return true;
}

// The instances of a module at `level`: `fanout` random types of the next
// level, then each leaf by chance.
std::vector<ModuleType> pick_children(Rng& rng, const Options& opt,
                                      const std::vector<std::vector<ModuleType>>& levels, int level,
                                      const std::vector<ModuleType>& leaves) {
    std::vector<ModuleType> children;
    if (level + 1 < opt.depth) {
        const auto& next = levels[static_cast<std::size_t>(level + 1)];
        for (int i = 0; i < opt.fanout; ++i)
            children.push_back(
                next[static_cast<std::size_t>(rng.below(static_cast<int>(next.size())))]);
    }
    for (const ModuleType& l : leaves)
        if (rng.chance(60)) children.push_back(l);
    return children;
}

bool write_modules(Rng& rng, const Options& opt, const std::vector<std::vector<ModuleType>>& levels,
                   const std::vector<ModuleType>& leaves) {
    const long gates = gates_per_module(opt);
    for (int level = 0; level < opt.depth; ++level) {
        for (const ModuleType& m : levels[static_cast<std::size_t>(level)]) {
            const std::vector<ModuleType> children = pick_children(rng, opt, levels, level, leaves);
            ModuleWriter writer(rng, opt, m, children, gates);
            if (!write_text(opt.out + "/" + m.name + ".nld", writer.build())) {
                std::fprintf(stderr, "gen_design: cannot write %s\n", opt.out.c_str());
                return false;
            }
        }
    }
    return true;
}

void print_words(const Options& opt) {
    if (opt.ref)
        std::printf("%s %s -r %s/ref\n", opt.top.c_str(), opt.out.c_str(), opt.out.c_str());
    else
        std::printf("%s %s\n", opt.top.c_str(), opt.out.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    Options opt;
    if (!parse_options(argc, argv, opt)) return usage();
    ::mkdir(opt.out.c_str(), 0777);
    Rng rng{opt.seed * 0x2545f4914f6cdd1dull + 17};
    const auto levels = make_levels(rng, opt);
    std::vector<ModuleType> leaves;
    if (!make_leaves(rng, opt, leaves) || !write_modules(rng, opt, levels, leaves)) return 1;
    print_words(opt);
    return 0;
}
