// The indexed reduction against the literal one: on generated designs, both
// must write the same files and print the same messages, byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "driver/run.h"
#include "reduce/cluster_state.h"
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
};

std::vector<std::string> split_words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string w; in >> w;) words.push_back(w);
    return words;
}

// Run vorp in `dir` on `words` (the write directory is "out").
Outcome run_in(const fs::path& dir, std::vector<std::string> words, bool literal) {
    const fs::path here = fs::current_path();
    fs::current_path(dir);
    fs::remove_all("out");
    fs::create_directory("out");
    words.insert(words.end(), {"-w", "out"});
    std::vector<const char*> argv;
    for (const std::string& w : words) argv.push_back(w.c_str());
    std::ostringstream err;
    Design d(err);
    d.literal_reduction = literal;
    Outcome run;
    run.status = run_vorp(d, static_cast<int>(argv.size()), argv.data());
    run.err = err.str();
    std::vector<fs::path> names;
    for (const auto& e : fs::directory_iterator("out")) names.push_back(e.path());
    std::sort(names.begin(), names.end());
    for (const fs::path& p : names) run.files.emplace_back(p.filename(), read_file(p.string()));
    fs::current_path(here);
    return run;
}

std::string generate(const fs::path& dir, int seed, int cells, const char* profile) {
    std::ostringstream cmd;
    cmd << VORP_GEN_DESIGN << " --out " << (dir / "d").string() << " --seed " << seed << " --cells "
        << cells << " --profile " << profile << " > " << (dir / "words").string();
    if (std::system(cmd.str().c_str()) != 0) return {};
    return read_file((dir / "words").string());
}

int designs() {
    const char* text = std::getenv("VORP_CROSS_CHECK_DESIGNS");
    return text ? std::atoi(text) : 100;
}

TEST(CrossCheck, IndexedReductionWritesWhatTheLiteralOneWrites) {
    const char* profiles[] = {"safe", "full", "tri+power+scan"};
    const char* options[] = {"", "-a", "-f", "-a -f"};
    TempDir tmp;
    int compared = 0;
    for (int k = 0; k < designs(); ++k) {
        const int seed = 1000 + k;
        const int cells = 100 + (seed * 7919) % 2400;
        const std::string words = generate(tmp.path(), seed, cells, profiles[k % 3]);
        ASSERT_FALSE(words.empty()) << "generator failed for seed " << seed;
        for (int o = 0; o < 3; ++o) {
            std::vector<std::string> argv = split_words(options[(k + o) % 4]);
            for (const std::string& w : split_words(words)) argv.push_back(w);
            const Outcome literal = run_in(tmp.path(), argv, true);
            const Outcome indexed = run_in(tmp.path(), argv, false);
            const std::string what =
                "seed " + std::to_string(seed) + " options '" + options[(k + o) % 4] + "'";
            EXPECT_EQ(indexed.status, literal.status) << what;
            EXPECT_EQ(indexed.err, literal.err) << what;
            EXPECT_EQ(indexed.files, literal.files) << what;
            ASSERT_NE(literal.err.find("Number of inverters"), std::string::npos) << what;
            ++compared;
        }
    }
    EXPECT_EQ(compared, designs() * 3);
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
        const std::string words = generate(tmp.path(), seed, 300 + 150 * (k % 12), profiles[k % 4]);
        ASSERT_FALSE(words.empty()) << "generator failed for seed " << seed;
        std::vector<std::string> argv = split_words(options[k % 4]);
        for (const std::string& w : split_words(words)) argv.push_back(w);
        // Every other design keeps every net's shares per cluster.
        const std::size_t big_nets = set_big_net_nodes(0);
        if (k % 2 == 0) set_big_net_nodes(big_nets);
        Outcome checked;
        EXPECT_NO_THROW(checked = run_in(tmp.path(), argv, false)) << "seed " << seed;
        set_big_net_nodes(big_nets);
        const Outcome literal = run_in(tmp.path(), argv, true);
        EXPECT_EQ(checked.err, literal.err) << "seed " << seed;
        EXPECT_EQ(checked.files, literal.files) << "seed " << seed;
    }
    set_cluster_checks(false);
    EXPECT_GT(cluster_checks_done(), checked_before + 100);
}

}  // namespace
}  // namespace vorp
