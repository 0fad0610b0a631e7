#include "netlist/loader.h"

#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "db/lists.h"
#include "db/queries.h"
#include "netlist/file_io.h"
#include "netlist/module_copy.h"
#include "netlist/reader.h"

namespace vorp {

namespace {

using ModuleReader = Module* (*)(Design&, std::string_view);

// Try `dirs` in order; the first file that opens is read. Every tried path
// is left in `cur_path`.
Module* read_first(Design& d, const char* name, const DirEntry* dirs, const char* ext,
                   ModuleReader read, int kind) {
    if (!names_a_file(name)) return nullptr;
    std::string text;
    for (const DirEntry* e = dirs; e; e = e->next) {
        d.cur_path = make_path(d, name, e->dir, ext);
        if (!read_whole_file(d.cur_path, text)) continue;
        Module* m = read(d, text);
        m->set_kind(kind);
        *d.err << "\tRead " << d.cur_path << '\n';
        return m;
    }
    return nullptr;
}

// A PCD file anywhere wins over an NLD file anywhere.
Module* load_module(Design& d, const char* name) {
    if (Module* m = read_first(d, name, d.read_dirs, "pcd", read_pcd, MOD_PCD)) return m;
    if (Module* m = read_first(d, name, d.ref_dirs, "pcd", read_pcd, MOD_PCD)) return m;
    if (Module* m = read_first(d, name, d.read_dirs, "nld", read_nld, MOD_NLD)) return m;
    if (Module* m = read_first(d, name, d.ref_dirs, "nld", read_nld, MOD_REFERENCE)) return m;
    *d.err << "Could not find \"" << name << ".pcd/nld\"\n";
    throw Fatal{1};
}

// Modules instantiating their own module or an ancestor would expand for ever.
void check_recursion(const Instance& i) {
    for (const Module* m = i.owner; m; m = m->parent)
        if (same_text(m->name, i.module_name)) throw Fatal{1};
}

// The reader built the rings; the whole check runs again, for its message,
// only when the reader saw an instance connected too often.
void check_read_pins(Design& d, Module& m) {
    if (d.pins_over_limit) check_nets(d, m);
}

int ring_size(const Node* start) {
    int size = 0;
    for_each_in_ring(start, [&](const Node*) { ++size; });
    return size;
}

// First module of each name in list order, kept up to date as modules are
// appended.
using ModuleIndex = std::unordered_map<std::string_view, Module*>;

void append_module(ModuleIndex& index, Tail<Module>& modules, Module* m) {
    modules.append(m);
    if (m->name) index.emplace(m->name, m);
}

Module* find_loaded_module(const ModuleIndex& index, const Instance& i) {
    if (!i.module_name) return nullptr;
    const auto it = index.find(i.module_name);
    return it == index.end() ? nullptr : it->second;
}

}  // namespace

bool names_a_file(const char* name) {
    return !name || !std::strchr(name, '/');
}

char* make_path(Design& d, const char* name, const char* dir, const char* ext) {
    std::string path;
    path.append(dir).append("/").append(name).append(".").append(ext);
    return d.copy_string(path.c_str(), path.size());
}

Module* copy_module(Design& d, const Module& source) {
    return copy_module(d, plan_copy(source));
}

void check_nets(Design& d, Module& m) {
    // While the rings are built each instance's `node` holds its first node
    // in net order, which collects the later ones right after itself (the
    // ring runs first, last, ..., second); the nodes the instances had are
    // put back afterwards.
    std::vector<Node*> had;
    for (Instance* i = m.insts; i; i = i->next) {
        had.push_back(i->node);
        i->node = nullptr;
    }
    for (Net* net = m.nets; net; net = net->next) {
        for (Node* n = net->nodes; n; n = n->next) {
            n->same_inst = n;
            if (!n->inst || n->inst->cell() == CELL_PORT) continue;
            Ref<Node>& first = n->inst->node;
            if (!first) {
                first = n;
                continue;
            }
            n->same_inst = first->same_inst;
            first->same_inst = n;
        }
    }
    Instance* refused = nullptr;
    int count = 0;
    for (Net* net = m.nets; net && !refused; net = net->next) {
        for (Node* n = net->nodes; n && !refused; n = n->next) {
            if (!n->inst || n->inst->node != n) continue;
            const int limit = pin_limit(*n->inst);
            if (limit == 0) continue;
            count = ring_size(n);
            if (count > limit) refused = n->inst;
        }
    }
    std::size_t k = 0;
    for (Instance* i = m.insts; i; i = i->next) i->node = had[k++];
    if (refused) refuse_pin_count(d, *refused, count);
}

void refuse_pin_count(Design& d, const Instance& inst, int count) {
    *d.err << '"' << text_or_null(d.cur_path) << "\", " << text_or_null(inst.name) << " appears "
           << count << " times in def-net\n";
    throw Fatal{1};
}

void load_design(Design& d, const char* top_name) {
    Module* top = nullptr;
    std::string text;
    const DirEntry* dirs = names_a_file(top_name) ? d.read_dirs : nullptr;
    for (const DirEntry* e = dirs; e && !top; e = e->next) {
        d.cur_path = make_path(d, top_name, e->dir, "nld");
        if (!read_whole_file(d.cur_path, text)) continue;
        top = read_nld(d, text);
        *d.err << "\tRead " << d.cur_path << '\n';
    }
    if (!top) {
        *d.err << "Could not find \"" << top_name << ".nld\"\n";
        throw Fatal{1};
    }
    text = std::string();
    top->set_kind(MOD_NLD);
    top->inst_name = top->name;
    top->next = nullptr;
    d.modules = nullptr;
    Tail<Module> modules(d.modules);
    ModuleIndex index;
    append_module(index, modules, top);
    check_read_pins(d, *top);

    // Every copy of one module is built from the same plan.
    std::unordered_map<const Module*, CopyPlan> plans;
    for (Module* m = top; m; m = m->next) {
        if (m->kind() == MOD_PCD) continue;
        for (Instance* i = m->insts; i; i = i->next) {
            if (i->cell() != CELL_SUBMODULE) continue;
            check_recursion(*i);
            Module* sub = nullptr;
            if (const Module* loaded = find_loaded_module(index, *i)) {
                auto [at, fresh] = plans.try_emplace(loaded);
                if (fresh) at->second = plan_copy(*loaded);
                sub = copy_module(d, at->second);
                if (at->second.refused != CopyPlan::kNone)
                    refuse_pin_count(d, *at->second.records[at->second.refused],
                                     at->second.refused_count);
            } else {
                sub = load_module(d, i->module_name);
                check_read_pins(d, *sub);
            }
            sub->parent = m;
            sub->next = nullptr;
            append_module(index, modules, sub);
            i->sub = sub;
            sub->inst = i;
            sub->inst_name = i->name;
        }
    }
}

}  // namespace vorp
