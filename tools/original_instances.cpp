#include "tools/original_instances.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "db/lists.h"

namespace vorp::tools {

namespace {

bool is_gate(const Instance& inst) {
    return inst.cell() >= CELL_INV && inst.cell() <= CELL_OAI;
}

// One side of the matching: the name each instance is known by (its own for
// kept names, the original's for a matched gate; none for other gates).
struct Side {
    const Module& module;
    std::unordered_map<const Instance*, std::string> known;
};

std::string instance_name(const Instance& inst) {
    return inst.name ? inst.name : "";
}

// The named neighbours on a net, sorted: ports by name, instances by the
// name they are known by.
std::string net_signature(const Net& net, const Side& side) {
    std::vector<std::string> anchors;
    for (const Node* n = net.nodes; n; n = n->next) {
        if (!n->inst) continue;
        const std::string pin = n->pin ? n->pin : "";
        if (n->inst->cell() == CELL_PORT) {
            anchors.push_back("port " + pin);
            continue;
        }
        const auto it = side.known.find(n->inst);
        if (it != side.known.end()) anchors.push_back(it->second + "." + pin);
    }
    std::sort(anchors.begin(), anchors.end());
    std::string out;
    for (const std::string& a : anchors) out += a + " ";
    return out;
}

// A gate's cell with each pin's net signature; empty when no pin has a
// named neighbour (such a gate is never told apart).
std::string gate_key(const Instance& gate, const Side& side) {
    std::vector<std::string> pins;
    bool anchored = false;
    for_each_in_ring(gate.node, [&](const Node* n) {
        const std::string sig = n->net ? net_signature(*n->net, side) : "";
        anchored = anchored || !sig.empty();
        pins.push_back(std::string(n->pin ? n->pin : "") + "=" + sig);
    });
    if (!anchored) return "";
    std::sort(pins.begin(), pins.end());
    std::string key = std::to_string(gate.cell()) + "/" + std::to_string(gate.param());
    for (const std::string& p : pins) key += "|" + p;
    return key;
}

// The unmatched gates of a side by key, only the keys borne once.
std::unordered_map<std::string, const Instance*> unique_keys(const Side& side) {
    std::unordered_map<std::string, const Instance*> out;
    std::unordered_map<std::string, int> count;
    for (const Instance* i = side.module.insts; i; i = i->next) {
        if (!is_gate(*i) || side.known.count(i)) continue;
        const std::string key = gate_key(*i, side);
        if (key.empty()) continue;
        if (++count[key] == 1) out[key] = i;
    }
    for (const auto& [key, n] : count)
        if (n > 1) out.erase(key);
    return out;
}

void know_kept_names(Side& side) {
    for (const Instance* i = side.module.insts; i; i = i->next)
        if (!is_gate(*i)) side.known[i] = instance_name(*i);
}

}  // namespace

std::map<const Instance*, std::string> match_gates(const Module& reduced, const Module& original) {
    Side r{reduced, {}}, o{original, {}};
    know_kept_names(r);
    know_kept_names(o);
    std::map<const Instance*, std::string> out;
    for (bool added = true; added;) {
        added = false;
        const auto theirs = unique_keys(o);
        for (const auto& [key, gate] : unique_keys(r)) {
            const auto it = theirs.find(key);
            if (it == theirs.end()) continue;
            const std::string name = instance_name(*it->second);
            out[gate] = name;
            r.known[gate] = name;
            o.known[it->second] = name;
            added = true;
        }
    }
    return out;
}

}  // namespace vorp::tools
