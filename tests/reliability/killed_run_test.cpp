// Runs killed with SIGKILL while they write: every destination file must
// afterwards be as it was before the run (absent or the old text) or the
// complete new file, byte for byte equal to an undisturbed run's, never a
// truncated one. The kill moments are random, most of them aimed at the
// writing itself (after the first temporary output file appears). The
// temporary file that a killed run leaves is removed by the next run.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/reliability/process.h"
#include "tests/support/fixture.h"

namespace vorp::test {
namespace {

namespace fs = std::filesystem;

// top: a long NAND chain (large output files) fed through `inverters`
// inverters, and two instances of a small sub-module.
void write_design(const TempDir& dir, int inverters, long gates) {
    std::string s = "(def-module top\n (def-pin a type input)\n (def-pin y type output)\n";
    s += " (def-pin z type output)\n (def-comp side s1 s2)\n (def-comp nand--2";
    for (long i = 0; i < gates; ++i) s += " g" + std::to_string(i);
    s += ")\n";
    std::string feed = "a";
    if (inverters > 0) {
        s += " (def-comp inv-";
        for (int i = 0; i < inverters; ++i) s += " v" + std::to_string(i);
        s += ")\n";
        for (int i = 0; i < inverters; ++i) {
            s += " (def-net " + feed + " v" + std::to_string(i) + ".in)\n";
            feed = "v" + std::to_string(i) + ".nout";
        }
    }
    s += " (def-net " + feed + " g0.a g0.b s1.a)\n (def-net s1.y s2.a)\n (def-net s2.y z)\n";
    for (long i = 0; i + 1 < gates; ++i)
        s += " (def-net g" + std::to_string(i) + ".nout g" + std::to_string(i + 1) + ".a g" +
             std::to_string(i + 1) + ".b)\n";
    s += " (def-net g" + std::to_string(gates - 1) + ".nout y))\n";
    dir.write("r/top.nld", s);
    dir.write("r/side.nld",
              "(def-module side\n (def-pin a type input)\n (def-pin y type output)\n"
              " (def-comp nand--2 n)\n (def-net a n.a n.b)\n (def-net n.nout y))\n");
}

std::map<std::string, std::string> files_in(const std::string& dir) {
    std::map<std::string, std::string> files;
    for (const auto& e : fs::directory_iterator(dir))
        files[e.path().filename().string()] = read_file(e.path().string());
    return files;
}

bool is_temporary(const std::string& name) {
    return name.find(".vorp-tmp-") != std::string::npos;
}

bool temporary_present(const std::string& dir) {
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(dir, ec))
        if (is_temporary(e.path().filename().string())) return true;
    return false;
}

// Wait until the child has opened its first output file (or ended);
// true while it still runs.
bool wait_for_writing(pid_t child, const std::string& out) {
    for (;;) {
        siginfo_t info{};
        if (::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            info.si_pid == child)
            return false;
        if (temporary_present(out)) return true;
        ::usleep(200);
    }
}

void kill_while_writing(int inverters) {
    TempDir dir;
    write_design(dir, inverters, 50000);
    const std::vector<std::string> words = {"top", dir.path() + "/r", "-w", dir.path() + "/out"};

    dir.mkdir("out");
    const Outcome full = run_program(vorp_program(), words);
    ASSERT_EQ(full.status, 0) << full.err;
    const std::map<std::string, std::string> complete = files_in(dir.path() + "/out");
    ASSERT_FALSE(complete.empty());

    std::mt19937 rng(12345u + static_cast<unsigned>(inverters));
    int killed_while_writing = 0;
    for (int round = 0; round < 12; ++round) {
        const std::string out = dir.path() + "/out";
        fs::remove_all(out);
        fs::create_directory(out);
        const bool had_old = round % 2 == 1;
        if (had_old)
            for (const auto& [name, text] : complete) dir.write("out/" + name, "old\n");
        const std::string err_path = dir.path() + "/err.txt";
        const pid_t child = start_program(vorp_program(), words, err_path);
        // Every third kill falls anywhere in the run; the others while writing.
        const bool aim = round % 3 != 0;
        if (!aim || wait_for_writing(child, out)) {
            killed_while_writing += aim ? 1 : 0;
            ::usleep(std::uniform_int_distribution<unsigned>(0, aim ? 3000 : 2000000)(rng));
            ::kill(child, SIGKILL);
        }
        const Outcome o = wait_program(child, err_path);
        EXPECT_TRUE(o.signal == SIGKILL || o.status == 0) << o.err;

        for (const auto& [name, text] : files_in(out)) {
            if (is_temporary(name)) continue;  // the killed run's own unfinished file
            const auto expected = complete.find(name);
            ASSERT_NE(expected, complete.end()) << "unexpected file " << name;
            const bool old = had_old && text == "old\n";
            EXPECT_TRUE(old || text == expected->second)
                << name << " is neither the old nor the complete file (" << text.size() << " of "
                << expected->second.size() << " bytes)";
        }
        if (!had_old && o.status == 0) {
            EXPECT_EQ(files_in(out).size(), complete.size());
        }
    }
    ::testing::Test::RecordProperty("killed_while_writing", killed_while_writing);
}

TEST(KilledRun, ReducedDesignFilesAreOldOrComplete) {
    kill_while_writing(2);
}

TEST(KilledRun, CopiedFilesAreOldOrComplete) {
    kill_while_writing(0);
}

std::vector<std::string> temporaries_in(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) {
        std::string name = e.path().filename().string();
        if (is_temporary(name)) names.push_back(std::move(name));
    }
    return names;
}

// The next run that writes a destination removes the temporary file that a
// killed run left beside it; not one whose process still runs, nor a file
// of any other name.
TEST(KilledRun, NextRunRemovesTheTemporaryFileLeftBeside) {
    TempDir dir;
    write_design(dir, 2, 50000);
    const std::string out = dir.mkdir("out");
    const std::vector<std::string> words = {"top", dir.path() + "/r", "-w", out};
    const std::string err_path = dir.path() + "/err.txt";
    std::vector<std::string> left;
    for (int attempt = 0; attempt < 20 && left.empty(); ++attempt) {
        const pid_t child = start_program(vorp_program(), words, err_path);
        if (wait_for_writing(child, out)) ::kill(child, SIGKILL);
        wait_program(child, err_path);
        left = temporaries_in(out);
    }
    ASSERT_EQ(left.size(), 1u) << "no run was killed while writing";
    const std::string killed = left[0];
    const std::string destination = killed.substr(0, killed.find(".vorp-tmp-"));
    const std::string pid = killed.substr(destination.size() + 10);
    const std::vector<std::string> kept = {
        destination + ".vorp-tmp-" + std::to_string(::getpid()),  // this process lives
        killed + ".old", "other.nld.vorp-tmp-" + pid, destination + ".vorp-tmp-0" + pid};
    for (const auto& name : kept) dir.write("out/" + name, "not vorp's to remove\n");

    const Outcome o = run_program(vorp_program(), words);
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_FALSE(fs::exists(out + "/" + killed)) << killed;
    for (const auto& name : kept)
        EXPECT_EQ(read_file(out + "/" + name), "not vorp's to remove\n") << name;
    EXPECT_EQ(temporaries_in(out).size(), kept.size());
}

}  // namespace
}  // namespace vorp::test
