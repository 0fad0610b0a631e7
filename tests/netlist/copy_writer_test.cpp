#include "netlist/copy_writer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/fixture.h"

namespace vorp {
namespace {

using test::read_file;
using test::TestDesign;

int write_unchanged(TestDesign& t) {
    try {
        write_unchanged_design(t.d);
    } catch (const Fatal& f) {
        return f.status;
    }
    return -1;
}

TEST(CopyWriter, CopiesEveryModuleOnceByteForByte) {
    TestDesign t;
    const std::string top =
        "(def-module top\r\n (def-comp sub a b c) (def-comp leaf l))\n; tail\r\n";
    const std::string sub = "(def-module sub)\n";
    t.load({{"top.nld", top}, {"sub.nld", sub}, {"leaf.pcd", "(def-module leaf)\n"}});
    t.err.str("");
    ASSERT_EQ(write_unchanged(t), -1);
    const std::string out = t.dir.path() + "/out";
    EXPECT_EQ(read_file(out + "/top.nld"), top);
    EXPECT_EQ(read_file(out + "/sub.nld"), sub);
    EXPECT_FALSE(std::filesystem::exists(out + "/leaf.pcd"));
    EXPECT_EQ(t.err.str(), "\tWrote " + out + "/top.nld\n\tWrote " + out + "/sub.nld\n");
    // No temporary file is left beside the destinations.
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(out))
        files += entry.is_regular_file();
    EXPECT_EQ(files, 2);
}

TEST(CopyWriter, WriteDirectoryEqualToReadDirectoryCopiesNothing) {
    TestDesign t;
    t.load({{"top.nld", "(def-module top)\n"}});
    t.d.write_dirs->dir = t.d.read_dirs->dir;
    t.err.str("");
    ASSERT_EQ(write_unchanged(t), -1);
    EXPECT_EQ(t.err.str(), "\tWrote " + t.dir.path() + "/top.nld\n");
    EXPECT_EQ(read_file(t.dir.path() + "/top.nld"), "(def-module top)\n");
}

TEST(CopyWriter, CopyOntoItselfUnderAnotherSpellingLeavesItEmpty) {
    TestDesign t;
    t.load({{"top.nld", "(def-module top)\n"}});
    t.d.write_dirs->dir = t.d.copy_string((t.dir.path() + "/.").c_str());
    ASSERT_EQ(write_unchanged(t), -1);
    EXPECT_EQ(read_file(t.dir.path() + "/top.nld"), "");
}

TEST(CopyWriter, DestinationThatCannotBeOpened) {
    TestDesign t;
    t.load({{"top.nld", "(def-module top)\n"}});
    t.dir.mkdir("out/top.nld");
    t.err.str("");
    EXPECT_EQ(write_unchanged(t), 1);
    EXPECT_EQ(t.err.str(), "Could not open " + t.dir.path() + "/out/top.nld\n");
    TestDesign missing;
    missing.load({{"top.nld", "(def-module top)\n"}});
    missing.d.write_dirs->dir = "/nonexistent-vorp-dir";
    missing.err.str("");
    EXPECT_EQ(write_unchanged(missing), 1);
    EXPECT_EQ(missing.err.str(), "Could not open /nonexistent-vorp-dir/top.nld\n");
}

TEST(CopyWriter, ReadOnlyWriteDirectoryKeepsTheOldFile) {
    if (::geteuid() == 0) GTEST_SKIP() << "permissions do not bind the superuser";
    TestDesign t;
    t.load({{"top.nld", "(def-module top)\n"}});
    const std::string out = t.dir.path() + "/out";
    t.dir.write("out/top.nld", "old");
    ::chmod(out.c_str(), 0555);
    EXPECT_EQ(write_unchanged(t), 1);
    ::chmod(out.c_str(), 0755);
    EXPECT_EQ(read_file(out + "/top.nld"), "old");
}

TEST(CopyWriter, VanishedSourceEndsSilently) {
    TestDesign t;
    t.load({{"top.nld", "(def-module top (def-comp sub s))\n"}, {"sub.nld", "(def-module sub)\n"}});
    std::filesystem::remove(t.dir.path() + "/sub.nld");
    t.err.str("");
    EXPECT_EQ(write_unchanged(t), 1);
    EXPECT_EQ(t.err.str(), "\tWrote " + t.dir.path() + "/out/top.nld\n");
}

TEST(CopyWriter, WrittenNamesAreComparedExactly) {
    std::ostringstream err;
    Design d(err);
    WrittenNames names;
    names.append(d, "top");
    names.append(d, "sub");
    EXPECT_TRUE(name_written("sub", names));
    EXPECT_FALSE(name_written("Sub", names));
    EXPECT_STREQ(names.head->name, "top");
    EXPECT_STREQ(names.head->next->name, "sub");
}

}  // namespace
}  // namespace vorp
