// How one run reduces: chosen once, when the reduction starts, and never
// kept in the design records.
#pragma once

namespace vorp {

// Without the repeat guard a group whose passes cycle is processed for ever
// (used to compare runs that end by themselves).
enum class RepeatGuard { ON, OFF };

#ifdef VORP_CHECKS
inline constexpr bool kCheckedBuild = true;
#else
inline constexpr bool kCheckedBuild = false;
#endif

struct ReduceParams {
    // The literal path: full recounts and full walks of the top module at
    // every trial, the reference the fast reduction is checked against.
    bool literal = false;
    // After every group step, compare what the fast reduction keeps about
    // the group's trials with the trials made again from scratch (throws
    // `StateCheckFailed` on a difference). On in checked builds.
    bool check_state = kCheckedBuild;
    RepeatGuard guard = RepeatGuard::ON;
};

}  // namespace vorp
