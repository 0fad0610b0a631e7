// The run fuzzer's text form and mutator: printing and parsing give each
// other back, every edit keeps the text in the regular form, and splitting
// an input into files follows the module openings and placement lines.
#include <gtest/gtest.h>

#include <string>

#include "tests/fuzz/design_mutations.h"
#include "tests/fuzz/design_text.h"

namespace vorp::fuzz {
namespace {

const char* const kTwoModules =
    "; vorp -a\n"
    "(def-module top\n"
    " (def-pin a type input)\n"
    " (def-pin y type output note global)\n"
    " (def-comp inv- i1 i2)\n"
    " (def-comp sub s)\n"
    " (def-net a i1.in)\n"
    " (def-net i1.nout s.p)\n"
    " (def-net s.q i2.in)\n"
    " (def-net i2.nout y)\n"
    ")\n"
    "; pcd\n"
    "(def-module sub\n"
    " (def-pin p type input)\n"
    " (def-pin q type output)\n"
    ")\n";

TEST(FuzzDesignText, PrintsWhatItParsed) {
    const auto design = parse_design_text(kTwoModules);
    ASSERT_TRUE(design);
    EXPECT_TRUE(design->opt_a);
    EXPECT_FALSE(design->opt_f);
    ASSERT_EQ(design->modules.size(), 2u);
    EXPECT_EQ(design->modules[1].placement, Placement::read_pcd);
    EXPECT_EQ(design->modules[0].nets.size(), 4u);
    EXPECT_EQ(design->modules[0].nets[1][1].inst, "s");
    EXPECT_EQ(design->modules[0].nets[1][1].pin, "p");
    EXPECT_EQ(design->modules[0].pins[1].note, "global");
    EXPECT_EQ(print_design_text(*design), kTwoModules);
}

TEST(FuzzDesignText, RefusesWhatIsNotInTheRegularForm) {
    EXPECT_FALSE(parse_design_text(""));
    EXPECT_FALSE(parse_design_text("(def-module top (timing 1))"));
    EXPECT_FALSE(parse_design_text("(def-module top (def-pin a type input type output))"));
    EXPECT_FALSE(parse_design_text("(def-module top (def-net a."));
}

TEST(FuzzDesignText, SplitsAtModuleOpenings) {
    const RunFiles run = split_into_files(kTwoModules);
    EXPECT_TRUE(run.opt_a);
    ASSERT_EQ(run.files.size(), 2u);
    EXPECT_EQ(run.files[0].name, "top");
    EXPECT_EQ(run.files[1].name, "sub");
    EXPECT_EQ(run.files[1].placement, Placement::read_pcd);
    EXPECT_EQ(run.files[0].text + run.files[1].text, kTwoModules);
}

TEST(FuzzDesignText, KeepsUnsplittableTextAsTheTopFile) {
    const RunFiles run = split_into_files("(def-module ../x)\n(def-module");
    ASSERT_EQ(run.files.size(), 1u);
    EXPECT_EQ(run.files[0].name, "top");
    EXPECT_EQ(run.files[0].text, "(def-module ../x)\n(def-module");
}

TEST(FuzzMutator, EveryEditKeepsTheRegularForm) {
    auto design = parse_design_text(kTwoModules);
    ASSERT_TRUE(design);
    FuzzRng rng{7};
    bool changed = false;
    for (int i = 0; i < 2000; ++i) {
        const std::string before = print_design_text(*design);
        mutate_design(*design, rng);
        const std::string after = print_design_text(*design);
        changed = changed || after != before;
        const auto again = parse_design_text(after);
        ASSERT_TRUE(again) << after;
        ASSERT_EQ(print_design_text(*again), after);
        if (after.size() > 8000) design = parse_design_text(kTwoModules);
    }
    EXPECT_TRUE(changed);
}

}  // namespace
}  // namespace vorp::fuzz
