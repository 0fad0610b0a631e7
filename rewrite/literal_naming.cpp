#include "rewrite/literal_naming.h"

#include "db/queries.h"

namespace vorp {

// Any module and name; the walk sees the modules as they are named so far.
int module_name_free(const Design& d, const char* name, const Module& m) {
    bool before = true;
    for (const Module* x = d.modules; x; x = x->next) {
        if (x == &m) {
            before = false;
            continue;
        }
        if (same_text(x->inst_name, name)) return 0;
        if (same_text(x->name, name) && (before || x->kind() != MOD_NLD)) return 0;
    }
    if (&m == d.top())
        for (const Instance* p = m.ports; p; p = p->next)
            if (same_text(p->name, name)) return 0;
    for (const Instance* i = m.insts; i; i = i->next)
        if (keeps_its_name(i->cell()) && same_text(i->name, name)) return 0;
    return 1;
}

// A kept copy of a flattened module, named after the copies before it.
char* LiteralCopyNames::first_free(Design& d, const Module& m) {
    for (long n = 1;; ++n) {
        check_name_limit(n);
        char* candidate = make_name(d, m.name, n, NAME_MODULE_COPY);
        if (module_name_free(d, candidate, m)) return candidate;
    }
}

}  // namespace vorp
