// Fuzz target: one file's bytes through the tools' Liberty reader and the
// recognition of every cell's logic. Every input must be read or be refused
// with a "file:line: " message; nothing may crash, hang or throw anything
// else.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tools/liberty_cells.h"
#include "tools/liberty_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        vorp::liberty::map_libraries({vorp::liberty::read_liberty("fuzz.lib", text)});
    } catch (const vorp::liberty::LibertyError& e) {
        if (std::string(e.what()).rfind("fuzz.lib:", 0) != 0) {
            std::fprintf(stderr, "message without file and line: %s\n", e.what());
            std::abort();
        }
    }
    return 0;
}
