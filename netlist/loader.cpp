#include "netlist/loader.h"

#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "db/lists.h"
#include "db/queries.h"
#include "netlist/file_io.h"
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

int pin_limit(const Instance& inst) {
    switch (inst.cell()) {
        case CELL_INV:
        case CELL_NINV:
            return 2;
        case CELL_AND:
        case CELL_NAND:
        case CELL_OR:
        case CELL_NOR:
        case CELL_EOR:
        case CELL_ENOR:
            return inst.param() + 1;
        case CELL_AOI:
        case CELL_OAI:
            switch (inst.param()) {
                case 21:
                    return 4;
                case 22:
                case 31:
                case 211:
                    return 5;
                case 32:
                case 221:
                    return 6;
                case 33:
                case 222:
                    return 7;
                default:
                    return 0;
            }
        default:
            return 0;
    }
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

// Name -> first record of a list, in list order.
std::unordered_map<std::string_view, Instance*> first_by_name(Instance* list) {
    std::unordered_map<std::string_view, Instance*> index;
    for (Instance* p = list; p; p = p->next)
        if (p->name) index.emplace(p->name, p);
    return index;
}

Instance* copy_instance(Design& d, const Instance& source, Module* owner) {
    Instance* copy = d.make<Instance>();
    copy->set_cell(source.cell());
    copy->set_param(static_cast<unsigned>(source.param()));
    copy->set_pin_type(source.pin_type());
    copy->set_note(source.note());
    copy->name = d.copy_string(source.name);
    copy->module_name =
        source.cell() == CELL_SUBMODULE ? d.copy_string(source.module_name) : nullptr;
    copy->owner = owner;
    return copy;
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
    Module* m = d.make<Module>();
    m->name = d.copy_string(source.name);
    m->set_kind(source.kind());

    Tail<Instance> ports(m->ports);
    for (const Instance* p = source.ports; p; p = p->next) ports.append(copy_instance(d, *p, m));
    Tail<Instance> insts(m->insts);
    for (const Instance* i = source.insts; i; i = i->next) {
        insts.append(copy_instance(d, *i, m));
        if (i->cell() == CELL_INV) ++d.inverter_count;
    }

    const auto port_index = first_by_name(m->ports);
    const auto inst_index = first_by_name(m->insts);
    auto bind = [](const auto& index, const char* name) -> Instance* {
        if (!name) return nullptr;
        const auto it = index.find(name);
        return it == index.end() ? nullptr : it->second;
    };
    Tail<Net> nets(m->nets);
    for (const Net* n = source.nets; n; n = n->next) {
        Net* net = d.make<Net>();
        nets.append(net);
        Tail<Node> nodes(net->nodes);
        for (const Node* s = n->nodes; s; s = s->next) {
            Node* node = d.make<Node>();
            node->set_pin_type(s->pin_type());
            node->net = net;
            if (on_cell(s, CELL_PORT)) {
                node->inst = bind(port_index, s->pin);
                node->pin = node->inst ? node->inst->name : nullptr;
            } else {
                node->inst = bind(inst_index, s->inst ? s->inst->name : nullptr);
                node->pin = d.copy_string(s->pin);
            }
            if (node->inst) node->inst->node = node;
            nodes.append(node);
        }
    }
    return m;
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
            Node*& first = n->inst->node;
            if (!first) {
                first = n;
                continue;
            }
            n->same_inst = first->same_inst;
            first->same_inst = n;
        }
    }
    const Instance* refused = nullptr;
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
    if (!refused) return;
    *d.err << '"' << text_or_null(d.cur_path) << "\", " << text_or_null(refused->name)
           << " appears " << count << " times in def-net\n";
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
    check_nets(d, *top);

    for (Module* m = top; m; m = m->next) {
        if (m->kind() == MOD_PCD) continue;
        for (Instance* i = m->insts; i; i = i->next) {
            if (i->cell() != CELL_SUBMODULE) continue;
            check_recursion(*i);
            const Module* loaded = find_loaded_module(index, *i);
            Module* sub = loaded ? copy_module(d, *loaded) : load_module(d, i->module_name);
            sub->parent = m;
            sub->next = nullptr;
            append_module(index, modules, sub);
            i->sub = sub;
            sub->inst = i;
            sub->inst_name = i->name;
            check_nets(d, *sub);
        }
    }
}

}  // namespace vorp
