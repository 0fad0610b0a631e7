// Every golden case whose run rewrote the design is read back: its expected
// write directory is loaded as the read directory, under the same top name,
// and must load without a reader or loader fault. The case's own read and
// reference directories serve as reference directories, so that black boxes
// (PCD modules, never written in the default mode) and, with -f, the
// modules that mode does not write are found as they were.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "db/lists.h"
#include "netlist/loader.h"
#include "tests/support/fixture.h"

namespace vorp {
namespace {

namespace fs = std::filesystem;

// Written designs that the reader refuses, each by the name of its
// behaviour in docs/behaviours.md.
const std::map<std::string, std::string> kUnreadable = {
    {"rewrite_register_output_as_clock",
     "register-output-as-clock: the top port y moved onto a clock net inside the copy sub-1"},
    {"rewrite_vdd_without_vss",
     "vdd-without-vss: the VSS port among the instances is written as a def-comp of (null)"},
    {"rewrite_flat_mode_inverter_in_copy",
     "flat-mode-inverter-in-copy: the inverter's pins are written as \"(null).in\" and "
     "\"(null).nout\""},
    {"rewrite_register_named_like_inverter",
     "register-named-like-generated-cell: a register and an inverter share the name inv-1"},
    {"rewrite_sticky_inverter",
     "twisted-sticky-inverter-doubled and kept-sticky-output-pin: the kept sticky's output "
     "pin \"o\""},
    {"rewrite_sticky_buffer", "kept-sticky-output-pin: the kept sticky's output pin \"o\""},
    {"reduce_flat",
     "flat-mode-open-port: the unconnected port q of h2's copy written as a top pin"},
};

struct Case {
    std::string name;
    fs::path dir;
    std::string top;
    std::vector<std::string> dirs;  // read and reference directories of the run
};

std::vector<std::string> words_of(const fs::path& args) {
    std::ifstream in(args);
    std::vector<std::string> words;
    for (std::string w; std::getline(in, w);) words.push_back(w);
    return words;
}

// Cases whose run printed the rewriting's heading and ended with status 0.
std::vector<Case> rewritten_cases() {
    const char* source = std::getenv("VORP_SOURCE_DIR");
    const fs::path root = fs::path(source ? source : ".") / "tests" / "golden";
    std::vector<Case> cases;
    for (const auto& entry : fs::directory_iterator(root)) {
        const fs::path dir = entry.path();
        if (!fs::exists(dir / "args") || !fs::is_directory(dir / "expected" / "out")) continue;
        if (test::read_file((dir / "expected" / "status").string()) != "0\n") continue;
        const std::string err = test::read_file((dir / "expected" / "stderr").string());
        if (err.find("Start to write NLD files\n") == std::string::npos) continue;
        Case c{dir.filename().string(), dir, "", {}};
        const auto words = words_of(dir / "args");
        for (std::size_t i = 0; i < words.size(); ++i) {
            const std::string& w = words[i];
            if (w == "-w") {
                ++i;
            } else if (w == "-f" || w == "-a" || w == "-r") {
                continue;
            } else if (c.top.empty()) {
                c.top = w;
            } else {
                c.dirs.push_back((dir / w).string());
            }
        }
        cases.push_back(c);
    }
    return cases;
}

void add_dir(Design& d, DirEntry*& list, const std::string& path) {
    DirEntry* e = d.make<DirEntry>();
    e->dir = d.copy_string(path.c_str());
    push_back(list, e);
}

TEST(ReadBack, EveryRewrittenGoldenOutputLoadsAgain) {
    const auto cases = rewritten_cases();
    ASSERT_GE(cases.size(), 20u);
    int loaded = 0;
    for (const Case& c : cases) {
        std::ostringstream err;
        Design d(err);
        add_dir(d, d.read_dirs, (c.dir / "expected" / "out").string());
        for (const std::string& dir : c.dirs) add_dir(d, d.ref_dirs, dir);
        d.top_name = d.copy_string(c.top.c_str());
        bool faulted = false;
        try {
            load_design(d, d.top_name);
        } catch (const Fatal& f) {
            faulted = true;
            EXPECT_EQ(f.status, 1) << c.name;
        }
        const bool expected_fault = kUnreadable.count(c.name) != 0;
        EXPECT_EQ(faulted, expected_fault)
            << c.name
            << (expected_fault ? " was expected to fail: " + kUnreadable.at(c.name)
                               : " does not load again:\n" + err.str());
        loaded += !faulted;
    }
    EXPECT_EQ(loaded + static_cast<int>(kUnreadable.size()), static_cast<int>(cases.size()));
}

}  // namespace
}  // namespace vorp
