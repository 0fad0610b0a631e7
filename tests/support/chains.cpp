#include "tests/support/chains.h"

namespace vorp::test {

std::string numbered_names(const char* stem, long from, long to) {
    std::string s;
    for (long i = from; i < to; ++i) s += " " + std::string(stem) + std::to_string(i);
    return s;
}

namespace {

bool inverter_after(long gate, long gates, long every) {
    return every > 0 && gate + 1 < gates && gate % every == 0;
}

}  // namespace

std::string gate_chain(long gates, long every) {
    std::string s = "(def-module top\n (def-pin a type input)\n (def-pin y type output)\n";
    s += " (def-comp nand--2" + numbered_names("g", 0, gates) + ")\n";
    s += " (def-comp inv- v0 v1";
    for (long i = 0; i < gates; ++i)
        if (inverter_after(i, gates, every)) s += " w" + std::to_string(i);
    s += ")\n (def-net a v0.in)\n (def-net v0.nout v1.in)\n (def-net v1.nout g0.a g0.b)\n";
    for (long i = 0; i + 1 < gates; ++i) {
        const std::string out = "g" + std::to_string(i) + ".nout";
        const std::string next = "g" + std::to_string(i + 1);
        if (inverter_after(i, gates, every)) {
            const std::string w = "w" + std::to_string(i);
            s += " (def-net " + out + " " + w + ".in)\n (def-net " + w + ".nout " + next + ".a " +
                 next + ".b)\n";
        } else {
            s += " (def-net " + out + " " + next + ".a " + next + ".b)\n";
        }
    }
    s += " (def-net g" + std::to_string(gates - 1) + ".nout y))\n";
    return s;
}

long gate_chain_inverters(long gates, long every) {
    long n = 2;
    for (long i = 0; i < gates; ++i) n += inverter_after(i, gates, every);
    return n;
}

long gate_chain_inverters_left(long gates, long every) {
    bool flipped = false;
    for (long i = 0; i < gates; ++i)
        if (inverter_after(i, gates, every)) flipped = !flipped;
    return flipped ? 1 : 0;
}

}  // namespace vorp::test
