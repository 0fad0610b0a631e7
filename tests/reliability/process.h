// Running the vorp program as a child process, for the tests that need a
// real process: killed runs, and runs under an ordinary user's permissions.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace vorp::test {

struct Outcome {
    int status = -1;  // exit status; -1 when the child did not exit
    int signal = 0;   // the signal that ended it, if one did
    std::string err;  // its standard error text
};

struct ChildOptions {
    // Run as this user and group instead of the caller's (when the caller
    // may change them); -1 keeps the caller's.
    int uid = -1;
    int gid = -1;
};

// Run `program` with `words` and wait for it. Cost: one fork and exec.
Outcome run_program(const std::string& program, const std::vector<std::string>& words,
                    ChildOptions options = {});

// Start `program` with `words`, standard error to `err_path`; the caller
// waits for (or kills) the returned process.
pid_t start_program(const std::string& program, const std::vector<std::string>& words,
                    const std::string& err_path);

// Wait for a started child; fills status or signal.
Outcome wait_program(pid_t child, const std::string& err_path);

// The uid and gid of an unprivileged user when the tests run as the
// superuser and can take them on in a child; none otherwise.
bool unprivileged_user(int& uid, int& gid);

// Paths of the programs under test, from the build.
std::string vorp_program();
std::string gen_design_program();

}  // namespace vorp::test
