#include "tests/reliability/process.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "db/design.h"
#include "driver/run.h"

namespace vorp::test {

namespace {

std::vector<char*> argv_of(const std::string& program, const std::vector<std::string>& words) {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& w : words) argv.push_back(const_cast<char*>(w.c_str()));
    argv.push_back(nullptr);
    return argv;
}

pid_t spawn(const std::string& program, const std::vector<std::string>& words,
            const std::string& err_path, ChildOptions options) {
    std::vector<char*> argv = argv_of(program, words);
    const pid_t child = ::fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        // Only async-signal-safe calls from here on.
        const int fd = ::open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd < 0 || ::dup2(fd, 2) < 0) ::_exit(126);
        if (options.gid >= 0 && ::setgid(static_cast<gid_t>(options.gid)) != 0) ::_exit(126);
        if (options.uid >= 0 && ::setuid(static_cast<uid_t>(options.uid)) != 0) ::_exit(126);
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    return child;
}

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

pid_t start_program(const std::string& program, const std::vector<std::string>& words,
                    const std::string& err_path) {
    return spawn(program, words, err_path, {});
}

Outcome wait_program(pid_t child, const std::string& err_path) {
    int raw = 0;
    while (::waitpid(child, &raw, 0) < 0)
        if (errno != EINTR) throw std::runtime_error("waitpid failed");
    Outcome out;
    if (WIFEXITED(raw)) out.status = WEXITSTATUS(raw);
    if (WIFSIGNALED(raw)) out.signal = WTERMSIG(raw);
    out.err = slurp(err_path);
    return out;
}

Outcome run_program(const std::string& program, const std::vector<std::string>& words,
                    ChildOptions options) {
    char pattern[] = "/tmp/vorp-err-XXXXXX";
    const int fd = ::mkstemp(pattern);
    if (fd < 0) throw std::runtime_error("mkstemp failed");
    ::close(fd);
    Outcome out = wait_program(spawn(program, words, pattern, options), pattern);
    ::unlink(pattern);
    return out;
}

bool unprivileged_user(int& uid, int& gid) {
    if (::geteuid() != 0) return false;
    const passwd* nobody = ::getpwnam("nobody");
    uid = nobody ? static_cast<int>(nobody->pw_uid) : 65534;
    gid = nobody ? static_cast<int>(nobody->pw_gid) : 65534;
    return true;
}

Outcome run_in_process(const std::vector<std::string>& words) {
    std::vector<const char*> argv;
    for (const std::string& w : words) argv.push_back(w.c_str());
    std::ostringstream err;
    Outcome out;
    {
        Design d(err);
        out.status = run_vorp(d, static_cast<int>(argv.size()), argv.data());
    }
    out.err = err.str();
    return out;
}

bool ends_with(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

std::string vorp_program() {
    return VORP_PROGRAM;
}
std::string gen_design_program() {
    return GEN_DESIGN_PROGRAM;
}

}  // namespace vorp::test
