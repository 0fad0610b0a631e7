#include "netlist/copy_writer.h"

#include <cstring>
#include <ostream>
#include <string>

#include "netlist/file_io.h"
#include "netlist/loader.h"

namespace vorp {

namespace {

const char* write_dir(const Design& d) {
    return d.write_dirs ? d.write_dirs->dir : nullptr;
}

struct Source {
    const char* dir = nullptr;
    const char* path = nullptr;
    std::string text;
};

bool find_source(Design& d, const char* name, const char* ext, const DirEntry* dirs,
                 Source& source) {
    for (const DirEntry* e = dirs; e; e = e->next) {
        const char* path = make_path(d, name, e->dir, ext);
        if (read_whole_file(path, source.text)) {
            source.dir = e->dir;
            source.path = path;
            return true;
        }
    }
    return false;
}

// Copy the source to `dest` unless it already lies in the write directory.
// The destination is truncated before the source is read, so a file copied
// onto itself through another spelling of its directory ends up empty.
void copy_to(Design& d, const Source& source, const char* dest, StaleTempFiles& stale) {
    if (std::strcmp(source.dir, write_dir(d)) != 0) {
        const bool onto_itself = same_file(source.path, dest);
        OutputFile out;
        open_destination(d, out, dest, stale);
        if (!onto_itself) out.write(source.text);
        out.commit();
    }
    report_wrote(d, dest);
}

}  // namespace

void WrittenNames::append(Design& d, const char* name) {
    Cell* cell = d.make<Cell>();
    cell->name = name;
    (tail ? tail->next : head) = cell;
    tail = cell;
    index.insert(name);
}

bool name_written(const char* name, const WrittenNames& names) {
    return names.index.count(name) != 0;
}

void report_wrote(Design& d, const char* path) {
    *d.err << "\tWrote " << path << '\n';
}

void report_open_failed(Design& d, const char* path) {
    *d.err << "Could not open " << path << '\n';
}

const char* destination_path(Design& d, const char* name, const char* ext) {
    const char* path = make_path(d, name, write_dir(d), ext);
    if (names_a_file(name)) return path;
    report_open_failed(d, path);
    throw Fatal{1};
}

void open_destination(Design& d, OutputFile& out, const char* path, StaleTempFiles& stale) {
    if (!out.open(path)) {
        report_open_failed(d, path);
        throw Fatal{1};
    }
    stale.remove_beside(path);
}

void copy_module_file(Design& d, const char* name, int kind, StaleTempFiles& stale) {
    const char* ext = kind == MOD_PCD                            ? "pcd"
                      : kind == MOD_NLD || kind == MOD_REFERENCE ? "nld"
                                                                 : nullptr;
    if (!ext) return;
    const char* dest = destination_path(d, name, ext);
    Source source;
    if (!find_source(d, name, ext, d.read_dirs, source) &&
        !find_source(d, name, ext, d.ref_dirs, source))
        throw Fatal{1};
    copy_to(d, source, dest, stale);
}

void write_unchanged_design(Design& d) {
    StaleTempFiles stale;
    const char* dest = destination_path(d, d.top_name, "nld");
    Source top;
    if (!find_source(d, d.top_name, "nld", d.read_dirs, top)) throw Fatal{1};
    copy_to(d, top, dest, stale);

    WrittenNames written;
    written.append(d, d.top_name);
    if (!d.modules) return;
    for (const Module* m = d.modules->next; m; m = m->next) {
        if (m->kind() == MOD_PCD || name_written(m->name, written)) continue;
        copy_module_file(d, m->name, m->kind(), stale);
        written.append(d, m->name);
    }
}

}  // namespace vorp
