#include "netlist/text_writer.h"

#include <vector>

#include "db/queries.h"
#include "netlist/copy_writer.h"
#include "netlist/loader.h"

namespace vorp {

namespace {

const char* keyword_text(int code) {
    return text_or_null(keyword_name(code, KeywordTable));
}
const char* cell_text(int code) {
    return text_or_null(keyword_name(code, CellTable));
}

void write_comp(OutputFile& out, const char* cell, const Instance* inst) {
    out.write("\t(def-comp\t");
    out.write(cell);
    out.put('\t');
    out.write(text_or_null(inst->name));
    out.write(")\n");
}

void write_port(OutputFile& out, const Instance* port) {
    out.write("\t(def-pin\t");
    out.write(text_or_null(port->name));
    out.write("\ttype ");
    out.write(keyword_text(port->pin_type()));
    if (port->note() != 0) {
        out.write("\tnote\t");
        out.write(keyword_text(port->note()));
    }
    out.write(")\n");
}

void write_net(OutputFile& out, const Net* net) {
    out.write("\t(def-net");
    for (const Node* n = net->nodes; n; n = n->next) {
        out.put('\t');
        if (on_cell(n, CELL_PORT)) {
            out.write(text_or_null(n->pin));
        } else {
            out.write(n->inst ? text_or_null(n->inst->name) : "(null)");
            out.put('.');
            out.write(text_or_null(n->pin));
        }
    }
    out.write(")\n");
}

void write_gate_chain(OutputFile& out, const CellGroup* g) {
    const char* cell = cell_text(g->first->cell());
    for (const Instance* i = g->first; i; i = i->next) {
        out.write("\t(def-comp\t");
        out.write(cell);
        out.put('-');
        out.write_int(i->param());
        out.put('\t');
        out.write(text_or_null(i->name));
        out.write(")\n");
    }
}

void write_module_file(Design& d, const Module& m, const char* name, StaleTempFiles& stale) {
    const char* path = destination_path(d, name, "nld");
    OutputFile out;
    open_destination(d, out, path, stale);
    write_module(out, d, m);
    out.commit();
    report_wrote(d, path);
}

}  // namespace

void write_group(OutputFile& out, const CellGroup* g) {
    if (!g || !g->first) return;
    const int cell = g->first->cell();
    if (is_gate(cell)) {
        // In order: smaller sizes first. An explicit stack keeps deep trees
        // off the call stack.
        std::vector<const CellGroup*> stack;
        const CellGroup* at = g;
        while (at || !stack.empty()) {
            for (; at; at = at->left) stack.push_back(at);
            at = stack.back();
            stack.pop_back();
            if (at->first) write_gate_chain(out, at);
            at = at->right;
        }
        return;
    }
    const char* text = cell == CELL_SUBMODULE
                           ? text_or_null(g->first->sub ? g->first->sub->name : nullptr)
                           : cell_text(cell);
    for (const Instance* i = g->first; i; i = i->next) write_comp(out, text, i);
}

void write_module(OutputFile& out, const Design& d, const Module& m) {
    out.write("(def-module\t");
    out.write(text_or_null(m.name));
    out.put('\n');
    const bool is_top = &m == d.modules;
    for (const Instance* p = m.ports; p; p = p->next)
        if (is_top || p->kept()) write_port(out, p);
    out.put('\n');
    for (const CellGroup* g = m.cell_groups; g; g = g->next) write_group(out, g);
    out.put('\n');
    for (const Net* net = m.nets; net; net = net->next) write_net(out, net);
    out.write(")\n");
}

void write_reduced_design(Design& d) {
    StaleTempFiles stale;
    write_module_file(d, *d.top(), d.top_name, stale);
    WrittenNames written;
    written.append(d, d.top_name);
    for (const Module* m = d.top()->next; m; m = m->next) {
        if (d.write_mode == WRITE_HIERARCHY) {
            if (m->kind() == MOD_NLD) {
                if (m->inst && m->inst->kept()) write_module_file(d, *m, m->name, stale);
            } else if (m->kind() == MOD_REFERENCE && !name_written(m->name, written)) {
                copy_module_file(d, m->name, MOD_REFERENCE, stale);
                written.append(d, m->name);
            }
        } else if (m->inst && m->inst->kept() && m->kind() != MOD_NLD) {
            // Tested by instance name, recorded by module name: a module used
            // by several kept instances is copied once for each of them.
            const Instance* inst = m->inst;
            if (!name_written(inst->name, written)) {
                copy_module_file(d, inst->module_name, inst->sub ? inst->sub->kind() : 0, stale);
                written.append(d, inst->module_name);
            }
        }
    }
}

}  // namespace vorp
