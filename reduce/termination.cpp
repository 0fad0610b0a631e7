#include "reduce/termination.h"

namespace vorp {

bool Termination::checkpoint(CallSite site, Mode mode, bool sweep_changed) {
    if (stopped_) return false;
    const unsigned tag =
        static_cast<unsigned>(site) * 4 + static_cast<unsigned>(mode) * 2 + (sweep_changed ? 1 : 0);
    if (!seen_.insert(Key{h1_, h2_, tag}).second) stopped_ = true;
    return !stopped_;
}

}  // namespace vorp
