// Module copy names found literally, the reference the kept name counts of
// `name_modules` are checked against: each candidate is compared with every
// module's name and instance name by a walk of the module list.
#pragma once

#include "db/design.h"
#include "rewrite/naming.h"

namespace vorp {

// 1 when a copy of m may be named `name`: no other module's instance name,
// no module name before m (as named so far), no other-kind module name after
// it, no port name when m is the top module, and no name of m's registers,
// bus gates, constants and tristate buffers.
int module_name_free(const Design& d, const char* name, const Module& m);

class LiteralCopyNames final : public CopyNames {
   public:
    void reach(const Module&) override {}
    char* first_free(Design& d, const Module& m) override;
    void pass(const Module&) override {}
};

}  // namespace vorp
