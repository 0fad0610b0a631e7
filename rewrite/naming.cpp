#include "rewrite/naming.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "db/queries.h"
#include "rewrite/grouping.h"
#include "rewrite/literal_naming.h"

namespace vorp {

namespace {

void mark_touched(Module& m) {
    for (Net* net = m.nets; net; net = net->next)
        for (Node* n = net->nodes; n; n = n->next)
            if (n->inst) n->inst->set_kept(true);
}

void add_submodule_names(std::unordered_set<std::string_view>& names, const CellGroup* g) {
    for (; g; g = g->next) {
        if (!g->first || g->first->cell() != CELL_SUBMODULE) continue;
        for (const CellGroup* part :
             {g, static_cast<const CellGroup*>(g->left), static_cast<const CellGroup*>(g->right)})
            if (part)
                for (const Instance* i = part->first; i; i = i->next)
                    if (i->name) names.insert(i->name);
    }
}

const char* new_port_base(const Instance& port) {
    switch (port.pin_type()) {
        case KW_BIDIRECT:
        case KW_BIDIRECT_CONNECTED:
        case KW_OUTPUT:
        case KW_OUTPUT_CONNECTED:
        case KW_TRISTATE:
        case KW_TRISTATE_CONNECTED:
            return "out";
        case KW_INPUT:
        case KW_INPUT_CONNECTED:
            return "in";
        case KW_UNUSED:
        case KW_UNUSED_CONNECTED: {
            const Node* peer = port.node ? port.node->peer : nullptr;
            const bool drives = peer && peer->net && peer->net->source == peer;
            return drives ? "out" : "in";
        }
        default:
            return nullptr;
    }
}

}  // namespace

void check_name_limit(long n) {
    constexpr long kNameLimit = 10000000;
    if (n >= kNameLimit) throw Fatal{1};
}

TakenNames::TakenNames(const Module& m, bool all_ports) {
    for (const Instance* p = m.ports; p; p = p->next)
        if (p->name && (all_ports || p->kept())) names_.insert(p->name);
    add_submodule_names(names_, m.cell_groups);
}

char* make_name(Design& d, const char* base, long n, NameForm form) {
    std::string name(base ? base : "");
    if (form == NAME_MODULE_COPY) name += '-';
    name += std::to_string(n);
    return d.copy_string(name.c_str(), name.size());
}

namespace {

// The names `module_name_free` compares, kept as counts while the walk of
// `name_modules` moves down the module list: the current names of the
// modules before the one being named, the names of the other-kind modules
// after it, and every instance name. The same answers without walking the
// module list per candidate.
class ModuleNames final : public CopyNames {
   public:
    explicit ModuleNames(const Design& d) {
        for (const Module* x = d.modules; x; x = x->next) {
            add(inst_names_, x->inst_name);
            if (x != d.top() && x->kind() != MOD_NLD) add(after_, x->name);
        }
        add(before_, d.top()->name);
    }
    void reach(const Module& m) override {
        if (m.kind() != MOD_NLD) remove(after_, m.name);
    }
    void pass(const Module& m) override { add(before_, m.name); }
    // Numbers below `first_try` are passed over: module names hold them.
    char* first_free(Design& d, const Module& m) override {
        look_inside(m);
        long& first = first_try(m.name);
        for (long n = first;; ++n) {
            check_name_limit(n);
            char* candidate = make_name(d, m.name, n, NAME_MODULE_COPY);
            if (free(candidate, m)) return candidate;
            if (n == first && taken_by_modules(candidate)) ++first;
        }
    }

   private:
    // Names of m's registers, bus gates, constants and tristate buffers.
    void look_inside(const Module& m) {
        inside_.clear();
        for (const Instance* i = m.insts; i; i = i->next)
            if (keeps_its_name(i->cell())) add(inside_, i->name);
    }
    bool free(const char* name, const Module& m) const {
        const std::size_t own = same_text(m.inst_name, name) ? 1 : 0;
        return count(inst_names_, name) == own && !taken_by_modules(name) && !count(inside_, name);
    }
    // Taken by a module name: for every module still to be named, since a
    // name leaves the modules after the walk only to join those before it.
    bool taken_by_modules(const char* name) const {
        return count(before_, name) || count(after_, name);
    }
    // Below this number, every name of the form "base-n" is taken by a
    // module name.
    long& first_try(const char* base) { return first_try_.try_emplace(base, 1).first->second; }

    using Counts = std::unordered_map<std::string_view, std::size_t>;
    static void add(Counts& c, const char* name) {
        if (name) ++c[name];
    }
    static void remove(Counts& c, const char* name) {
        if (name && !--c[name]) c.erase(name);
    }
    static std::size_t count(const Counts& c, const char* name) {
        const auto it = c.find(name);
        return it == c.end() ? 0 : it->second;
    }
    Counts inst_names_, before_, after_, inside_;
    std::unordered_map<std::string_view, long> first_try_;
};

}  // namespace

void name_modules(Design& d, bool literal) {
    std::unique_ptr<CopyNames> names;
    if (literal)
        names = std::make_unique<LiteralCopyNames>();
    else
        names = std::make_unique<ModuleNames>(d);
    for (Module* m = d.top()->next; m; m = m->next) {
        names->reach(*m);
        if (m->kind() == MOD_NLD && m->inst && m->inst->kept()) m->name = names->first_free(d, *m);
        names->pass(*m);
    }
}

long number_group(Design& d, CellGroup* g, const TakenNames& taken, long n) {
    for (; g; g = g->right) {
        n = number_group(d, g->left, taken, n);
        const char* base = text_or_null(keyword_name(g->first->cell(), CellTable));
        for (Instance* i = g->first; i; i = i->next) {
            for (;;) {
                check_name_limit(n);
                char* candidate = make_name(d, base, n, NAME_CELL);
                ++n;
                if (taken.free(candidate)) {
                    i->name = candidate;
                    break;
                }
            }
        }
    }
    return n;
}

void name_instances(Design& d, Module& m) {
    // Renumbering never changes a port's or a sub-module instance's name, so
    // the taken names can be gathered once.
    const TakenNames taken(m, &m == d.top());
    for (CellGroup* g = m.cell_groups; g; g = g->next)
        if (is_numbered_cell(g->first->cell())) number_group(d, g, taken, 1);
}

void name_new_ports(Design& d, Module& m) {
    TakenNames taken(m, false);
    long in_n = 1, out_n = 1;
    for (Instance* p = m.ports; p; p = p->next) {
        if (p->name) continue;
        const char* base = new_port_base(*p);
        if (!base) continue;
        long& counter = base[0] == 'i' ? in_n : out_n;
        char* candidate;
        for (;;) {
            check_name_limit(counter);
            candidate = make_name(d, base, counter, NAME_NEW_PORT);
            if (taken.free(candidate)) break;
            ++counter;
        }
        p->name = candidate;
        if (p->node) p->node->pin = candidate;
        if (p->kept()) taken.take(candidate);
    }
}

void sync_sub_pins(Module& m) {
    for (Net* net = m.nets; net; net = net->next) {
        if (!is_signal_net(net)) continue;
        for (Node* n = net->nodes; n; n = n->next)
            if (on_cell(n, CELL_SUBMODULE) && n->inst->sub && n->inst->sub->kind() == MOD_NLD &&
                n->peer)
                n->pin = n->peer->pin;
    }
}

void mark_kept(Design& d) {
    Module& top = *d.top();
    if (d.write_mode == WRITE_FLAT) {
        for (Instance* i = top.insts; i; i = i->next) i->set_kept(false);
        mark_touched(top);
        build_cell_groups(d, top);
        name_instances(d, top);
        return;
    }
    for (Module* m = d.modules; m; m = m->next) {
        if (m->kind() != MOD_NLD) continue;
        if (m != &top)
            for (Instance* p = m->ports; p; p = p->next) p->set_kept(false);
        for (Instance* i = m->insts; i; i = i->next) i->set_kept(false);
        mark_touched(*m);
    }
    name_modules(d);
    for (Module* m = d.modules; m; m = m->next) {
        if (m->kind() != MOD_NLD) continue;
        build_cell_groups(d, *m);
        name_instances(d, *m);
        name_new_ports(d, *m);
    }
    for (Module* m = d.modules; m; m = m->next)
        if (m->kind() == MOD_NLD) sync_sub_pins(*m);
}

}  // namespace vorp
