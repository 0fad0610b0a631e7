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
    Outcome run;
    run.status = run_vorp(d, static_cast<int>(argv.size()), argv.data(), {.literal = literal});
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

}  // namespace
}  // namespace vorp
