// How one run reduces: chosen once, when the reduction starts, and never
// kept in the design records.
#pragma once

namespace vorp {

// Without the repeat guard a group whose passes cycle is processed for ever
// (used to compare runs that end by themselves).
enum class RepeatGuard { ON, OFF };

struct ReduceParams {
    // Full recounts and full walks of the top module at every trial: the
    // reference the fast reduction is checked against.
    bool literal = false;
    RepeatGuard guard = RepeatGuard::ON;
};

}  // namespace vorp
