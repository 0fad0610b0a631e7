// The fast reduction against the literal one: on generated designs of every
// profile, flat and hierarchical, with and without -a and -f, both must write
// the same files and print the same messages, byte for byte.
// VORP_CROSS_CHECK_DESIGNS sets the number of designs (three runs each).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "driver/run.h"
#include "reduce/cluster_state.h"
#include "reduce/verdicts.h"
#include "tests/support/fixture.h"

namespace vorp {
namespace {

namespace fs = std::filesystem;
using test::read_file;
using test::TempDir;

struct Outcome {
    std::string err;
    int status = 0;
    std::vector<std::pair<std::string, std::string>> files;  // name, bytes
    std::string state_fault;  // a kept verdict that differed from its trial
};

std::vector<std::string> split_words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string w; in >> w;) words.push_back(w);
    return words;
}

// Run vorp in `dir` on `words` (the write directory is "out").
Outcome run_in(const fs::path& dir, std::vector<std::string> words, const ReduceParams& params) {
    const fs::path here = fs::current_path();
    fs::current_path(dir);
    fs::remove_all("out");
    fs::create_directory("out");
    words.insert(words.end(), {"-w", "out"});
    std::vector<const char*> argv;
    for (const std::string& w : words) argv.push_back(w.c_str());
    std::ostringstream err;
    Design d(err);
    Outcome run;
    try {
        run.status = run_vorp(d, static_cast<int>(argv.size()), argv.data(), params);
    } catch (const StateCheckFailed& fault) {
        run.state_fault = fault.what();
    }
    run.err = err.str();
    std::vector<fs::path> names;
    for (const auto& e : fs::directory_iterator("out")) names.push_back(e.path());
    std::sort(names.begin(), names.end());
    for (const fs::path& p : names) run.files.emplace_back(p.filename(), read_file(p.string()));
    fs::current_path(here);
    return run;
}

// One generated design: a profile, a size, flat (one level) or a hierarchy.
struct Sample {
    int seed = 0;
    int cells = 0;
    int depth = 3;
    const char* profile = "safe";
};

// Every profile in turn; every fifth design flat; one in forty-one (of
// every profile in turn) of ten to twenty thousand cells once the run is
// long enough to afford them.
Sample sample(int k, int count) {
    static const char* const profiles[] = {"safe", "full", "tri", "power",
                                           "scan", "pcd",  "ref", "all"};
    Sample s;
    s.seed = 1000 + k;
    s.profile = profiles[k % 8];
    s.depth = k % 5 == 4 ? 1 : 2 + k % 3;
    s.cells = 100 + (s.seed * 7919) % 2400;
    if (count >= 200 && k % 41 == 40) s.cells = 10000 + (s.seed * 7919) % 10000;
    return s;
}

std::string generate(const fs::path& dir, const Sample& s) {
    std::ostringstream cmd;
    cmd << VORP_GEN_DESIGN << " --out " << (dir / "d").string() << " --seed " << s.seed
        << " --cells " << s.cells << " --depth " << s.depth << " --profile " << s.profile << " > "
        << (dir / "words").string();
    fs::remove_all(dir / "d");
    if (std::system(cmd.str().c_str()) != 0) return {};
    return read_file((dir / "words").string());
}

int designs() {
    const char* text = std::getenv("VORP_CROSS_CHECK_DESIGNS");
    return text ? std::atoi(text) : 100;
}

// Up to this size the fast reduction, with its kept verdicts checked after
// every group step, must write what the literal one writes. The literal
// reduction recounts the whole design per trial and takes minutes from about
// ten thousand cells on; there the checked fast run must write what the
// unchecked one writes (the check leaves no trace) and find no fault.
constexpr int kLiteralCells = 3000;

TEST(CrossCheck, FastReductionWritesWhatTheLiteralOneWrites) {
    const char* options[] = {"", "-a", "-f", "-a -f"};
    TempDir tmp;
    const int count = designs();
    int compared = 0, large = 0;
    for (int k = 0; k < count; ++k) {
        const Sample s = sample(k, count);
        const std::string words = generate(tmp.path(), s);
        ASSERT_FALSE(words.empty()) << "generator failed for seed " << s.seed;
        for (int o = 0; o < 3; ++o) {
            // Each profile meets every option set over the designs.
            const char* option = options[(k / 8 + o) % 4];
            std::vector<std::string> argv = split_words(option);
            for (const std::string& w : split_words(words)) argv.push_back(w);
            const bool small = s.cells <= kLiteralCells;
            const Outcome reference =
                run_in(tmp.path(), argv, {.literal = small, .check_state = false});
            const Outcome fast = run_in(tmp.path(), argv, {.check_state = true});
            const std::string what = "seed " + std::to_string(s.seed) + " profile " + s.profile +
                                     " depth " + std::to_string(s.depth) + " options '" + option +
                                     "'";
            EXPECT_EQ(fast.state_fault, "") << what;
            EXPECT_EQ(fast.status, reference.status) << what;
            EXPECT_EQ(fast.err, reference.err) << what;
            EXPECT_EQ(fast.files, reference.files) << what;
            ASSERT_NE(reference.err.find("Number of inverters"), std::string::npos) << what;
            if (!small) ++large;
            ++compared;
        }
    }
    EXPECT_EQ(compared, count * 3);
    if (count >= 200) {
        EXPECT_GT(large, 0);
    }
}

// After every cluster step the kept clusters (members, deltas, leaders,
// accepted sets) must equal a rebuild from nothing, what flipping each
// cluster really does and the leaders of `build_clusters`; the check throws
// at the first difference.
TEST(CrossCheck, KeptClustersEqualARebuildAfterEveryStep) {
    const char* profiles[] = {"full", "all", "safe", "tri+power+scan"};
    const char* options[] = {"-a", "", "-a -f", "-f"};
    TempDir tmp;
    set_cluster_checks(true);
    const long checked_before = cluster_checks_done();
    for (int k = 0; k < std::max(4, designs() * 2 / 5); ++k) {
        const int seed = 5000 + k;
        const std::string words = generate(
            tmp.path(),
            Sample{.seed = seed, .cells = 300 + 150 * (k % 12), .profile = profiles[k % 4]});
        ASSERT_FALSE(words.empty()) << "generator failed for seed " << seed;
        std::vector<std::string> argv = split_words(options[k % 4]);
        for (const std::string& w : split_words(words)) argv.push_back(w);
        // Every other design keeps every net's shares per cluster.
        const std::size_t big_nets = set_big_net_nodes(0);
        if (k % 2 == 0) set_big_net_nodes(big_nets);
        Outcome checked;
        EXPECT_NO_THROW(checked = run_in(tmp.path(), argv, {})) << "seed " << seed;
        set_big_net_nodes(big_nets);
        const Outcome literal = run_in(tmp.path(), argv, {.literal = true});
        EXPECT_EQ(checked.err, literal.err) << "seed " << seed;
        EXPECT_EQ(checked.files, literal.files) << "seed " << seed;
    }
    set_cluster_checks(false);
    EXPECT_GT(cluster_checks_done(), checked_before + 100);
}

}  // namespace
}  // namespace vorp
