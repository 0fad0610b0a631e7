// Fuzz target: one file's bytes through the lexer and both readers, then the
// loader's net check and the record checker on what was read. Every input
// must either be read or end the run with a status; nothing may crash, leak
// or read outside the text.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "db/check.h"
#include "db/design.h"
#include "netlist/loader.h"
#include "netlist/reader.h"

namespace {

using Reader = vorp::Module* (*)(vorp::Design&, std::string_view);

void read_one(Reader read, const char* path, std::string_view text) {
    std::ostringstream err;
    vorp::Design d(err);
    d.cur_path = path;
    try {
        vorp::Module* m = read(d, text);
        if (!m) return;
        m->set_kind(vorp::MOD_NLD);
        d.modules = m;
        vorp::check_nets(d, *m);
    } catch (const vorp::Fatal& fault) {
        if (fault.status != 1) std::abort();  // input faults end with status 1
        return;
    }
    const std::string broken = vorp::check_design(d);
    if (!broken.empty()) {
        std::fprintf(stderr, "records broken after reading: %s\n", broken.c_str());
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    read_one(vorp::read_nld, "fuzz.nld", text);
    read_one(vorp::read_pcd, "fuzz.pcd", text);
    return 0;
}
