#include "db/check.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <unordered_set>
#include <vector>

#include "db/queries.h"

namespace vorp {

namespace {

// Longer than any list of a real design: a walk past it has met a cycle.
constexpr long kMaxWalk = 1L << 40;

struct Checker {
    const Design& d;
    std::unordered_set<const Node*> listed;
    std::vector<const Net*> unlisted_sources;
    std::ostringstream fault;

    bool fail(const char* what, const void* where) {
        fault << what << " at " << where;
        return false;
    }

    bool check_net(const Module& m, const Net& net) {
        long steps = 0;
        bool has_source = net.source == nullptr;
        for (const Node* n = net.nodes; n; n = n->next) {
            if (++steps > kMaxWalk) return fail("node list does not end", &net);
            if (n->net != &net) return fail("node does not point back at its net", n);
            if (!listed.insert(n).second) return fail("node listed twice", n);
            if (n == net.source) has_source = true;
            // A port named in several connections keeps the last as its node.
            if (on_cell(n, CELL_PORT) && (!n->inst->node || n->inst->node->inst != n->inst))
                return fail("port node is not its port's node", n);
        }
        (void)m;
        if (!has_source) unlisted_sources.push_back(&net);
        return true;
    }

    // Dissolving a sticky drops its pins without choosing a new source, so a
    // net may still name a dropped node; a source listed on another net is
    // a fault.
    bool check_unlisted_sources() {
        for (const Net* net : unlisted_sources)
            if (listed.count(net->source)) return fail("net source is not one of its nodes", net);
        return true;
    }

    bool check_ring(const Node* start) {
        long steps = 0;
        const Node* n = start;
        do {
            if (!n) return fail("same_inst ring is open", start);
            if (n->inst != start->inst) return fail("same_inst ring leaves its instance", start);
            if (++steps > kMaxWalk) return fail("same_inst ring does not close", start);
            n = n->same_inst;
        } while (n != start);
        return true;
    }

    bool run() {
        long modules = 0;
        for (const Module* m = d.modules; m; m = m->next) {
            if (++modules > kMaxWalk) return fail("module list does not end", m);
            long steps = 0;
            for (const Net* net = m->nets; net; net = net->next) {
                if (++steps > kMaxWalk) return fail("net list does not end", m);
                if (!check_net(*m, *net)) return false;
            }
        }
        if (!check_unlisted_sources()) return false;
        for (const Node* n : listed)
            if (n->same_inst && !check_ring(n)) return false;
        return true;
    }
};

}  // namespace

std::string check_design(const Design& d) {
    Checker c{d, {}, {}, {}};
    return c.run() ? std::string() : c.fault.str();
}

void check_after([[maybe_unused]] const Design& d, [[maybe_unused]] const char* stage) {
#ifdef VORP_CHECKS
    const std::string fault = check_design(d);
    if (!fault.empty()) {
        std::fprintf(stderr, "vorp: consistency check failed after %s: %s\n", stage, fault.c_str());
        std::abort();
    }
#endif
}

}  // namespace vorp
