// Lookups and a flattening runner shared by the flattening tests: designs are
// loaded from inline NLD texts and inspected record by record.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>

#include "db/design.h"
#include "flatten/flatten.h"
#include "tests/support/fixture.h"

namespace vorp::test {

inline bool same(const char* a, const char* b) {
    return a && b && std::strcmp(a, b) == 0;
}

// The node of pin `pin` of the instance named `inst` on any net of `m`; with
// no pin, the node of the port named `inst`.
inline Node* node_of(const Module& m, const char* inst, const char* pin = nullptr) {
    for (Net* net = m.nets; net; net = net->next)
        for (Node* n = net->nodes; n; n = n->next) {
            if (!n->inst || !same(n->inst->name, inst)) continue;
            const bool port = n->inst->cell() == CELL_PORT;
            if (pin ? !port && same(n->pin, pin) : port) return n;
        }
    return nullptr;
}

// The net at position `index` of the module's list, or null.
inline Net* net_at(const Module& m, int index) {
    Net* net = m.nets;
    while (net && index-- > 0) net = net->next;
    return net;
}

// The first record of a list (instances or ports) with this name.
inline Instance* named(Instance* list, const char* name) {
    for (; list; list = list->next)
        if (same(list->name, name)) return list;
    return nullptr;
}

// Names of the instances of a list, in order, blank-separated; "-" stands
// for a record with no name.
inline std::string names(const Instance* list) {
    std::string out;
    for (; list; list = list->next) {
        if (!out.empty()) out += " ";
        out += list->name ? list->name : "-";
    }
    return out;
}

// Every node of every net of a module gets the polarity (a/b).
inline void set_all_pols(Module& m, int a, int b) {
    for (Net* net = m.nets; net; net = net->next)
        for (Node* n = net->nodes; n; n = n->next) n->set_pols(a, b);
}

// The address of a record as the net dump prints it.
inline std::string address(const void* p) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%p", p);
    return buffer;
}

// Load the files (the top module is "top") and flatten; flat's result.
inline int load_and_flat(TestDesign& t, const Files& files) {
    t.load(files);
    return flat(t.d);
}

}  // namespace vorp::test
