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

int copy_file(TestDesign& t, const char* name, int kind) {
    try {
        StaleTempFiles stale;
        copy_module_file(t.d, name, kind, stale);
    } catch (const Fatal& f) {
        return f.status;
    }
    return -1;
}

TEST(CopyWriter, CopyModuleFileByKind) {
    TestDesign t;
    t.add_read_dir("r");
    t.add_ref_dir("x");
    t.load({{"r/top.nld", "(def-module top)\n"},
            {"x/p.pcd", "(def-module p) ; pcd\n"},
            {"x/p.nld", "(def-module p) ; nld in x\n"},
            {"r/p.nld", "(def-module p) ; nld in r\n"}});
    const std::string out = t.dir.path() + "/out";
    t.err.str("");
    EXPECT_EQ(copy_file(t, "p", MOD_PCD), -1);
    EXPECT_EQ(read_file(out + "/p.pcd"), "(def-module p) ; pcd\n");
    // Read directories come before reference directories for either kind.
    EXPECT_EQ(copy_file(t, "p", MOD_REFERENCE), -1);
    EXPECT_EQ(read_file(out + "/p.nld"), "(def-module p) ; nld in r\n");
    std::filesystem::remove(t.dir.path() + "/r/p.nld");
    EXPECT_EQ(copy_file(t, "p", MOD_NLD), -1);
    EXPECT_EQ(read_file(out + "/p.nld"), "(def-module p) ; nld in x\n");
    EXPECT_EQ(t.err.str(),
              "\tWrote " + out + "/p.pcd\n\tWrote " + out + "/p.nld\n\tWrote " + out + "/p.nld\n");
    // Any other kind does nothing at all.
    t.err.str("");
    EXPECT_EQ(copy_file(t, "p", 0), -1);
    EXPECT_EQ(copy_file(t, "missing", 0), -1);
    EXPECT_EQ(t.err.str(), "");
    // A file that is nowhere ends the run without a message.
    EXPECT_EQ(copy_file(t, "missing", MOD_NLD), 1);
    EXPECT_EQ(t.err.str(), "");
}

TEST(CopyWriter, ANameWithASlashIsNoDestination) {
    TestDesign t;
    t.add_read_dir("r");
    t.load({{"r/top.nld", "(def-module top)\n"}, {"r/lib/p.nld", "(def-module p)\n"}});
    t.dir.mkdir("out/lib");
    const std::string out = t.dir.path() + "/out";
    t.err.str("");
    EXPECT_EQ(copy_file(t, "lib/p", MOD_NLD), 1);
    EXPECT_EQ(t.err.str(), "Could not open " + out + "/lib/p.nld\n");
    EXPECT_TRUE(std::filesystem::is_empty(out + "/lib"));
}

TEST(CopyWriter, TopMissingFromTheReadDirectoriesEndsSilently) {
    TestDesign t;
    t.add_read_dir("r");
    t.add_ref_dir("x");
    t.load({{"r/top.nld", "(def-module top)\n"}});
    std::filesystem::rename(t.dir.path() + "/r/top.nld", t.dir.path() + "/x/top.nld");
    t.err.str("");
    EXPECT_EQ(write_unchanged(t), 1);
    EXPECT_EQ(t.err.str(), "");
    EXPECT_FALSE(std::filesystem::exists(t.dir.path() + "/out/top.nld"));
}

TEST(CopyWriter, ReferenceModulesAreCopiedAndTheFirstReadDirectoryWins) {
    TestDesign t;
    t.add_read_dir("r1");
    t.add_read_dir("r2");
    t.add_ref_dir("x");
    t.load({{"r2/top.nld", "(def-module top (def-comp lib l1 l2) (def-comp mid m))\n"},
            {"r2/mid.nld", "(def-module mid (def-comp lib l3))\n"},
            {"x/lib.nld", "(def-module lib)\n; the library\n"}});
    // The top file appears in r1 after loading: the writer takes the first
    // read directory that holds it.
    t.dir.write("r1/top.nld", "(def-module top) ; r1\n");
    t.err.str("");
    ASSERT_EQ(write_unchanged(t), -1);
    const std::string out = t.dir.path() + "/out";
    EXPECT_EQ(read_file(out + "/top.nld"), "(def-module top) ; r1\n");
    EXPECT_EQ(read_file(out + "/lib.nld"), "(def-module lib)\n; the library\n");
    // Module order: top, mid, lib, lib, lib; each name is copied once.
    EXPECT_EQ(t.err.str(), "\tWrote " + out + "/top.nld\n\tWrote " + out + "/mid.nld\n\tWrote " +
                               out + "/lib.nld\n");
}

TEST(CopyWriter, DirectoriesAreComparedAsText) {
    // Only the file whose directory string equals the write directory is left
    // alone; the others are copied into it.
    TestDesign t;
    t.add_read_dir("r");
    t.add_read_dir("w");
    t.set_write_dir("w");
    t.load({{"r/top.nld", "(def-module top (def-comp sub s))\n"},
            {"w/sub.nld", "(def-module sub)\n"}});
    const std::string w = t.dir.path() + "/w";
    t.dir.write("r/top.nld", "(def-module top (def-comp sub s)) ; changed\n");
    t.err.str("");
    ASSERT_EQ(write_unchanged(t), -1);
    EXPECT_EQ(read_file(w + "/top.nld"), "(def-module top (def-comp sub s)) ; changed\n");
    EXPECT_EQ(read_file(w + "/sub.nld"), "(def-module sub)\n");
    EXPECT_EQ(t.err.str(), "\tWrote " + w + "/top.nld\n\tWrote " + w + "/sub.nld\n");
}

TEST(CopyWriter, ModulesAreCopiedUnderTheirDeclaredNames) {
    // The file sub.nld declares module other; the writer looks for other.nld.
    TestDesign t;
    t.load(
        {{"top.nld", "(def-module top (def-comp sub s))\n"}, {"sub.nld", "(def-module other)\n"}});
    t.err.str("");
    EXPECT_EQ(write_unchanged(t), 1);
    EXPECT_EQ(t.err.str(), "\tWrote " + t.dir.path() + "/out/top.nld\n");
    t.dir.write("other.nld", "(def-module other) ; found\n");
    t.err.str("");
    EXPECT_EQ(write_unchanged(t), -1);
    EXPECT_EQ(read_file(t.dir.path() + "/out/other.nld"), "(def-module other) ; found\n");
}

TEST(CopyWriter, TopPathUsesTheCommandLineName) {
    // top.nld declares module main: paths and the written list use "top".
    TestDesign t;
    t.load({{"top.nld", "(def-module main)\n"}});
    t.err.str("");
    ASSERT_EQ(write_unchanged(t), -1);
    EXPECT_EQ(read_file(t.dir.path() + "/out/top.nld"), "(def-module main)\n");
    EXPECT_FALSE(std::filesystem::exists(t.dir.path() + "/out/main.nld"));
}

TEST(CopyWriter, LargeBinaryFilesCopyExactly) {
    std::string text = "(def-module top)\n";
    for (std::size_t i = 0; text.size() < (2u << 20) + 5; ++i)
        text.push_back(static_cast<char>(i * 131u >> 2));
    TestDesign t;
    t.load({{"top.nld", "(def-module top)\n"}});
    // The writer reads the file again, whatever it holds now.
    t.dir.write("top.nld", text);
    ASSERT_EQ(write_unchanged(t), -1);
    EXPECT_EQ(read_file(t.dir.path() + "/out/top.nld"), text);
}

TEST(CopyWriter, SourceDirectoryCopiesAsAnEmptyFile) {
    TestDesign t;
    t.add_read_dir("r");
    t.add_read_dir("s");
    t.load({{"s/top.nld", "(def-module top (def-comp sub x))\n"},
            {"s/sub.nld", "(def-module sub)\n"}});
    t.dir.mkdir("r/sub.nld");
    ASSERT_EQ(write_unchanged(t), -1);
    EXPECT_EQ(read_file(t.dir.path() + "/out/sub.nld"), "");
    EXPECT_TRUE(std::filesystem::is_regular_file(t.dir.path() + "/out/sub.nld"));
}

}  // namespace
}  // namespace vorp
