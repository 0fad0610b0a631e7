#include "driver/args.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "driver/banner.h"

namespace vorp {
namespace {

struct Parsed {
    std::ostringstream err;
    Design d{err};
    int status = -1;

    explicit Parsed(std::vector<const char*> words) {
        try {
            parse_args(d, static_cast<int>(words.size()), words.data());
        } catch (const Fatal& f) {
            status = f.status;
        }
    }
};

std::vector<std::string> dirs(const DirEntry* e) {
    std::vector<std::string> out;
    for (; e; e = e->next) out.push_back(e->dir);
    return out;
}

TEST(Args, FourWordsAreEnough) {
    Parsed p({"top", "dir", "-w", "out"});
    ASSERT_EQ(p.status, -1);
    EXPECT_STREQ(p.d.top_name, "top");
    EXPECT_EQ(dirs(p.d.read_dirs), (std::vector<std::string>{"dir"}));
    EXPECT_EQ(dirs(p.d.write_dirs), (std::vector<std::string>{"out"}));
    EXPECT_EQ(p.d.opt_a, 0);
    EXPECT_EQ(p.d.write_mode, WRITE_HIERARCHY);
}

TEST(Args, ThreeWordsGiveTheUsage) {
    Parsed p({"top", "-w", "out"});
    EXPECT_EQ(p.status, 1);
    EXPECT_EQ(p.err.str(), kUsage);
}

TEST(Args, AuthorAlonePrintsTheCreditFirst) {
    Parsed p({"-author"});
    EXPECT_EQ(p.status, 1);
    EXPECT_EQ(p.err.str(),
              std::string("vorp was designed and programmed by the vorp developers.\n\n") + kUsage);
    Parsed two({"-author", "x"});
    EXPECT_NE(two.err.str().find("designed"), std::string::npos);
    Parsed four({"-author", "a", "b", "-w", "c"});
    ASSERT_EQ(four.status, -1);
    EXPECT_STREQ(four.d.top_name, "-author");
}

TEST(Args, WordAfterWIsNeverInspected) {
    Parsed p({"top", "d", "-w", "-a"});
    ASSERT_EQ(p.status, -1);
    EXPECT_EQ(dirs(p.d.write_dirs), (std::vector<std::string>{"-a"}));
    EXPECT_EQ(p.d.opt_a, 0);
}

TEST(Args, SecondRInsideAReferenceListIsADirectory) {
    Parsed p({"top", "d", "-r", "a", "-r", "b", "-w", "out"});
    ASSERT_EQ(p.status, -1);
    EXPECT_EQ(dirs(p.d.ref_dirs), (std::vector<std::string>{"a", "-r", "b"}));
}

TEST(Args, PlainWordsAfterRBelongToIt) {
    Parsed p({"-r", "x", "top", "d1", "-w", "out"});
    EXPECT_EQ(p.status, 1);
    EXPECT_EQ(p.err.str(), kUsage);
}

TEST(Args, PlainWordAfterTheReadListEnds) {
    EXPECT_EQ(Parsed({"top", "d1", "d2", "-a", "d3", "-w", "o"}).status, 1);
    Parsed ok({"-a", "top", "d1", "d2", "-f", "-a", "-w", "o"});
    ASSERT_EQ(ok.status, -1);
    EXPECT_EQ(dirs(ok.d.read_dirs), (std::vector<std::string>{"d1", "d2"}));
    EXPECT_EQ(ok.d.opt_a, 1);
    EXPECT_EQ(ok.d.write_mode, WRITE_FLAT);
}

TEST(Args, ListsMayNotOpenTwice) {
    EXPECT_EQ(Parsed({"top", "d", "-w", "o", "-w", "p"}).status, 1);
    EXPECT_EQ(Parsed({"top", "d", "-r", "x", "-a", "-r", "y", "-w", "o"}).status, 1);
}

TEST(Args, MissingListsGiveTheUsage) {
    EXPECT_EQ(Parsed({"top", "-a", "-f", "-w", "o"}).status, 1);
    EXPECT_EQ(Parsed({"top", "d1", "d2", "d3"}).status, 1);
    EXPECT_EQ(Parsed({"top", "d1", "-a", "-w"}).status, 1);
    EXPECT_EQ(Parsed({"top", "d1", "-w", "o", "-r"}).status, 1);
}

TEST(Args, OptionsMatchWholeWordsOnly) {
    Parsed p({"top", "-wx", "-w", "o"});
    ASSERT_EQ(p.status, -1);
    EXPECT_EQ(dirs(p.d.read_dirs), (std::vector<std::string>{"-wx"}));
}

TEST(Banner, ExactBytes) {
    std::ostringstream out;
    print_banner(&out, "VORP");
    EXPECT_EQ(out.str(),
              "\n+-------------------------------------------------------------+\n"
              "| VORP            2.4.1 2001/12/03 (i386-FreeBSD-4.4-RELEASE) |\n"
              "|             This program is a part of the ZELTRIVAN system. |\n"
              "|               Inverter reduction for hierarchical netlists. |\n"
              "+-------------------------------------------------------------+\n\n");
}

TEST(Banner, DefaultsAndNoStream) {
    std::ostringstream out;
    print_banner(&out, nullptr);
    EXPECT_NE(out.str().find("| (anonymous)     2.4.1 2001/12/03"), std::string::npos);
    print_banner(nullptr, "VORP");  // nothing to print to, nothing happens
    std::ostringstream longer;
    print_banner(&longer, "X", "10.0.0", "2001/12/03");
    EXPECT_NE(longer.str().find("| X              10.0.0 2001/12/03"), std::string::npos);
}

}  // namespace
}  // namespace vorp
