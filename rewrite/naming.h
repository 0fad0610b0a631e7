// Which instances and ports survive, and the names of everything the
// rewriting made or renumbered: module copies, combinational cells, new
// ports and the instance pins that face them.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>

#include "db/design.h"

namespace vorp {

// Set `kept` on what a net still touches, then name module copies, group
// and number instances, name new ports and sync sub-module pins.
void mark_kept(Design& d);

// How a generated name joins its base and number: module copies "half-1",
// renumbered cells "nand-3", new ports "in2".
enum NameForm : int {
    NAME_MODULE_COPY = 10,
    NAME_CELL = 11,
    NAME_NEW_PORT = 424,
};
// "<base>-<n>" for module copies, "<base><n>" otherwise.
char* make_name(Design& d, const char* base, long n, NameForm form);

// Numbering that finds no free name below 10,000,000 ends the run with
// status 1 and no message.
void check_name_limit(long n);

// How `name_modules` finds each kept module copy's name while it walks down
// the module list: the first "<name>-<n>", n from 1, that
// `module_name_free` allows. Kept name counts (naming.cpp) answer without
// walking the list per candidate; the literal way (literal_naming.h) asks
// `module_name_free` itself and is the reference the counts are checked
// against.
class CopyNames {
   public:
    virtual ~CopyNames() = default;
    // The walk reaches m, before naming it.
    virtual void reach(const Module& m) = 0;
    virtual char* first_free(Design& d, const Module& m) = 0;
    // m has its final name.
    virtual void pass(const Module& m) = 0;
};
// With `literal`, every candidate is asked of `module_name_free`.
void name_modules(Design& d, bool literal = false);
void name_instances(Design& d, Module& m);
void name_new_ports(Design& d, Module& m);

class TakenNames;
// Number the instances of a gate tree (left, node, right) from n on with
// the first free names; returns the next number. Reaching 10,000,000 ends
// the run with status 1 and no message.
long number_group(Design& d, CellGroup* g, const TakenNames& taken, long n);
void sync_sub_pins(Module& m);

// Names a candidate may not take in one module: its ports (all of them in
// the top module, kept ones elsewhere; or only kept ones for new port names)
// and its sub-module instances. A hash set that answers exactly what a walk
// of the ports and the sub-module groups would.
class TakenNames {
   public:
    TakenNames(const Module& m, bool all_ports);
    bool free(const char* name) const { return !names_.count(name); }
    void take(const char* name) {
        if (name) names_.insert(name);
    }

   private:
    std::unordered_set<std::string_view> names_;
};

}  // namespace vorp
