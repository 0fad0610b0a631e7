#include "driver/run.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "driver/args.h"
#include "driver/banner.h"
#include "tests/support/fixture.h"

namespace vorp {
namespace {

using test::read_file;
using test::TempDir;

std::string banner() {
    std::ostringstream out;
    print_banner(&out, "VORP");
    return out.str();
}

struct Outcome {
    std::ostringstream err;
    Design d{err};
    int status;

    explicit Outcome(std::vector<std::string> words) {
        std::vector<const char*> argv;
        for (const std::string& w : words) argv.push_back(w.c_str());
        status = run_vorp(d, static_cast<int>(argv.size()), argv.data());
    }

    // Everything printed after the banner; the banner must come first.
    std::string after_banner() const {
        const std::string text = err.str();
        const std::string head = banner();
        EXPECT_EQ(text.compare(0, head.size(), head), 0) << text;
        return text.substr(head.size());
    }
};

TEST(Run, UsageErrorEndsWithStatusOne) {
    Outcome r({"top", "-w", "out"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.after_banner(), kUsage);
}

TEST(Run, MissingTopEndsWithStatusOne) {
    TempDir t;
    t.mkdir("d");
    Outcome r({"top", t.path() + "/d", "-w", t.path()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.after_banner(), "Start to read NLD/PCD files\nCould not find \"top.nld\"\n");
}

// A design of one module, top.nld in d/, written into out/.
class OneModule : public ::testing::Test {
   protected:
    TempDir t;

    std::vector<std::string> words(const std::string& text) const {
        t.write("d/top.nld", text);
        t.mkdir("out");
        return {"top", t.path() + "/d", "-w", t.path() + "/out"};
    }
    std::string read_report() const {
        return "Start to read NLD/PCD files\n\tRead " + t.path() + "/d/top.nld\nDone\n";
    }
    std::string write_report(int before, int after) const {
        return "\tWrote " + t.path() + "/out/top.nld\nDone\nNumber of inverters\n\t" +
               std::to_string(before) + " ---> " + std::to_string(after) + "\n";
    }
    std::string written() const { return read_file(t.path() + "/out/top.nld"); }
};

TEST_F(OneModule, DesignWithoutInvertersIsCopied) {
    const std::string text =
        "(def-module top (def-pin a type input) (def-pin y type output)\n"
        " (def-comp nand--2 g) (def-net a g.a g.b) (def-net g.nout y))\n";
    Outcome r(words(text));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.after_banner(), read_report() +
                                    "There are 0 inverters\nStart to write NLD/PCD files\n" +
                                    write_report(0, 0));
    EXPECT_EQ(written(), text);
}

TEST_F(OneModule, TwoInvertersInARowAreReducedAway) {
    Outcome r(
        words("(def-module top (def-pin a type input) (def-pin y type output)\n"
              " (def-comp inv- i1 i2)\n"
              " (def-net a i1.in) (def-net i1.nout i2.in) (def-net i2.nout y))\n"));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.after_banner(), read_report() +
                                    "There are 2 inverters\nStart inverter reduction\nDone\n"
                                    "There are 0 inverters\nStart to write NLD files\n" +
                                    write_report(2, 0));
    EXPECT_EQ(written(),
              "(def-module\ttop\n\t(def-pin\ty\ttype output)\n\t(def-pin\ta\ttype input)\n\n\n"
              "\t(def-net\ty\ta)\n)\n");
}

TEST_F(OneModule, NothingGainedWritesTheInputAndReportsBothCounts) {
    const std::string text =
        "(def-module top (def-pin a type input) (def-pin y type output)\n"
        " (def-comp inv- i1) (def-net a i1.in) (def-net i1.nout y))\n";
    Outcome r(words(text));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.after_banner(), read_report() +
                                    "There is 1 inverter\nStart inverter reduction\nDone\n"
                                    "There is 1 inverter\nCould not reduce the number of "
                                    "inverters\nStart to write NLD/PCD files\n" +
                                    write_report(1, 1));
    EXPECT_EQ(written(), text);
}

TEST_F(OneModule, FailedFoldingWritesTheInputWithoutTheWriteHeading) {
    const std::string text =
        "(def-module top (def-pin a type input) (def-pin y type output)\n"
        " (def-comp nand--2 g) (def-comp inv- i1)\n"
        " (def-net a g.a) (def-net g.nout y) (def-net i1.in i1.nout))\n";
    Outcome r(words(text));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.after_banner(), read_report() +
                                    "There is 1 inverter\nSorry, but could not handle the "
                                    "netlists:\n" +
                                    write_report(1, 1));
    EXPECT_EQ(written(), text);
}

TEST(Run, UnwritableOutputEndsWithStatusOne) {
    TempDir t;
    t.write("d/top.nld", "(def-module top (def-pin a type input))\n");
    Outcome r({"top", t.path() + "/d", "-w", t.path() + "/missing"});
    EXPECT_EQ(r.status, 1);
    const std::string out = r.after_banner();
    EXPECT_EQ(out.substr(out.find("Start to write")),
              "Start to write NLD/PCD files\nCould not open " + t.path() + "/missing/top.nld\n");
}

// A sticky inside a reference module: it is resolved like any other, but the
// net it empties was never on the top's list. The removal is reported and
// the run goes on; the reference module is copied as it was read.
TEST(Run, StickyOfAReferenceModuleReportsItsNetAndTheRunGoesOn) {
    TempDir t;
    const std::string ref =
        "(def-module r (def-pin b type bidirect) (def-pin z type output)\n"
        " (def-comp inv- k)\n"
        " (def-net b k.in) (def-net k.nout z))\n";
    t.write("d/top.nld",
            "(def-module top (def-pin a type input) (def-pin y type output)"
            " (def-pin z type output)\n"
            " (def-comp inv- i1 i2) (def-comp r r1)\n"
            " (def-net a i1.in) (def-net i1.nout i2.in) (def-net i2.nout y)"
            " (def-net r1.z z))\n");
    t.write("ref/r.nld", ref);
    t.mkdir("out");
    Outcome r({"top", t.path() + "/d", "-r", t.path() + "/ref", "-w", t.path() + "/out"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.after_banner(),
              "Start to read NLD/PCD files\n\tRead " + t.path() + "/d/top.nld\n\tRead " + t.path() +
                  "/ref/r.nld\nDone\nThere are 3 inverters\nStart inverter reduction\nDone\n"
                  "There is 1 inverter\n"
                  "vorp: inconsistent operation occured: net isolation from a foreign module, "
                  "sorry.\n"
                  "Start to write NLD files\n\tWrote " +
                  t.path() + "/out/top.nld\n\tWrote " + t.path() +
                  "/out/r.nld\nDone\nNumber of inverters\n\t3 ---> 1\n");
    EXPECT_EQ(read_file(t.path() + "/out/r.nld"), ref);
}

}  // namespace
}  // namespace vorp
