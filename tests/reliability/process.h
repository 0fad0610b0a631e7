// Running vorp for the reliability tests: as a child process where a real
// process is needed (killed runs, runs under an ordinary user's
// permissions), or in this process on its default stack.
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

// One whole run in this process, messages captured.
Outcome run_in_process(const std::vector<std::string>& words);

// True when `text` ends with `tail`.
bool ends_with(const std::string& text, const std::string& tail);

// Paths of the programs under test, from the build.
std::string vorp_program();
std::string gen_design_program();

}  // namespace vorp::test
